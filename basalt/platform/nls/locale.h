#ifndef BASALT_PLATFORM_NLS_LOCALE_H
#define BASALT_PLATFORM_NLS_LOCALE_H

// The process locale, derived from the POSIX locale environment (LC_ALL, then LC_CTYPE or
// LC_MESSAGES, then LANG); C and POSIX count as en_US with UTF-8. BASALT_CODEPAGE overrides
// the code page when it names one that the conversions support.

#include "basalt/platform/base/win_types.h"

namespace basalt::platform {

constexpr LCID LOCALE_USER_DEFAULT = 0x400;
constexpr DWORD LOCALE_SABBREVLANGNAME = 0x3;
constexpr DWORD LOCALE_IDEFAULTANSICODEPAGE = 0x1004;

// Writes the item as wide text with its terminator and returns the units written, or 0 with
// the buffer untouched when the item is unknown or doesn't fit (the library's buffers always
// fit; there is no asking for the size).
int GetLocaleInfoW(LCID locale, DWORD type, WCHAR* buffer, int size);

// The process's ANSI code page.
UINT GetACP();

// The user's default locale identifier, such as 0x0409 for en_US.
LCID GetUserDefaultLCID();

// The runtime library's wide text to integer: optional blanks, sign and decimal digits;
// 0 for text that is no number.
int _wtoi(const WCHAR* text);

} // namespace basalt::platform

#endif
