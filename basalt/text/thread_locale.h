#ifndef BASALT_TEXT_THREAD_LOCALE_H
#define BASALT_TEXT_THREAD_LOCALE_H

#include "basalt/export.h"
#include "basalt/text/kelp_string.h"

#include <cstdint>

// The calling thread's locale, a Windows locale identifier (0x0409 for en_US). A thread starts
// with the user's default, from the process's locale environment. Only KELPGetNumberFormat
// reads it; nothing else in the library depends on it.
// Any thread may call these: each changes or reads only its own thread's locale.

// 1 if the locale was set, 0 if the platform refused it (the locale stays as it was).
BASALT_API int KELPSetThreadLocale(std::uint32_t locale);
BASALT_API std::uint32_t KELPGetThreadLocale();

// Formats number (an optional '-', digits, at most one '.') by the number rules of the
// thread's locale, such as "1234.5" as "1.234,50" in German. 1 if formatted was set; 0 for
// text that is no such number, formatted keeping its text.
BASALT_API int KELPGetNumberFormat(const KELPString& number, KELPString& formatted);

#endif
