#ifndef BASALT_TEXT_FORMATTED_TEXT_H
#define BASALT_TEXT_FORMATTED_TEXT_H

// KELPString::build into a caller's wide buffer. buffer needs room for size units and a
// terminator; at most size units are copied, the rest is lost without notice. The result is
// the number of units copied, so 0 doesn't tell an empty text from a fault.
// Any thread may call these, each on a buffer of its own.
//
// A wide format goes through native text first, so it is a 7-bit format too; a null wide
// format counts as empty and gives one zero unit.

#include "basalt/export.h"
#include "basalt/text/kelp_string.h"

#include <cstdarg>

// A bad format (a null one included) gives 0 and leaves buffer untouched. A null buffer gives 0
// after the format has run.
BASALT_API int suprintf(unsigned short* buffer, unsigned int size, const char* format, ...);
BASALT_API int suprintf(unsigned short* buffer, unsigned int size, const unsigned short* format,
                        ...);
BASALT_API int vsnuprintf(unsigned short* buffer, unsigned int size, const unsigned short* format,
                          va_list arguments);
// Unlike the others, this form copies and terminates the text built up to a fault; a null
// format gives an empty text.
BASALT_API int vsnuprintf(unsigned short* buffer, unsigned int size, const char* format,
                          va_list arguments);

#endif
