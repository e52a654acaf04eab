#ifndef BASALT_PLATFORM_NLS_NUMBER_FORMAT_H
#define BASALT_PLATFORM_NLS_NUMBER_FORMAT_H

// Number text in a locale's form, with the rules taken from ICU's locale data.

#include "basalt/platform/base/win_types.h"

namespace basalt::platform {

// A caller's own rules, which this layer doesn't take.
struct NUMBERFMTW;

// Formats value, which may hold an optional leading '-', digits and at most one '.' and
// nothing else, by the locale's rules: its decimal and grouping separators and grouping from
// ICU (Latin digits), two fraction digits, a leading zero and a leading '-'. Rounds half away
// from zero on the digits; a result of zero has no sign. flags are ignored and format must be
// null. With size 0 returns the units needed, terminator included, and writes nothing;
// otherwise the units written. 0 on failure, with ERROR_INVALID_PARAMETER (bad value, locale,
// format or buffer) or ERROR_INSUFFICIENT_BUFFER.
int GetNumberFormatW(LCID locale, DWORD flags, LPCWSTR value, const NUMBERFMTW* format,
                     LPWSTR numberText, int size);

} // namespace basalt::platform

#endif
