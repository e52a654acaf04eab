#ifndef BASALT_PLATFORM_COM_AUTOMATION_STRINGS_H
#define BASALT_PLATFORM_COM_AUTOMATION_STRINGS_H

// Automation strings (BSTR) with the original layout: a 32-bit byte length in front of the
// units and a zero unit behind them. The pointer is to the first unit.
// Any thread may call these; a string belongs to one thread at a time.

#include "basalt/export.h"
#include "basalt/platform/base/win_types.h"

namespace basalt::platform {

// Copies length units of text (none when text is null); null when memory runs out.
BASALT_API BSTR SysAllocStringLen(const WCHAR* text, UINT length);
// The length in units; 0 for null.
BASALT_API UINT SysStringLen(BSTR text);
// Frees a string from SysAllocStringLen; null is allowed.
BASALT_API void SysFreeString(BSTR text);

} // namespace basalt::platform

#endif
