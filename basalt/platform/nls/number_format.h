#ifndef BASALT_PLATFORM_NLS_NUMBER_FORMAT_H
#define BASALT_PLATFORM_NLS_NUMBER_FORMAT_H

// Number text in a locale's form, with the rules taken from ICU's locale data.

#include "basalt/platform/base/win_types.h"

namespace basalt::platform {

constexpr DWORD LOCALE_NOUSEROVERRIDE = 0x80000000;

// A caller's own rules. Grouping holds the group sizes as decimal digits, nearest the
// separator first: 3 groups by threes, 32 gives 12,34,56,789, and a last digit 0 stops the
// repetition (30 gives 123456,789). NegativeOrder: 0 (1.1), 1 -1.1, 2 - 1.1, 3 1.1-, 4 1.1 -.
struct NUMBERFMTW {
  UINT NumDigits; // fraction digits, at most 9
  UINT LeadingZero;
  UINT Grouping;
  LPWSTR lpDecimalSep;
  LPWSTR lpThousandSep;
  UINT NegativeOrder;
};

// Formats value, which may hold an optional leading '-', digits and at most one '.' and
// nothing else. Without a format the rules are the locale's: its decimal and grouping
// separators and grouping from ICU (Latin digits), two fraction digits, a leading zero and a
// leading '-'. Rounds half away from zero on the digits; a result of zero has no sign.
// With size 0 returns the units needed, terminator included, and writes nothing; otherwise
// the units written. 0 on failure, with ERROR_INVALID_PARAMETER (bad value, locale, format or
// buffer), ERROR_INVALID_FLAGS (flags other than LOCALE_NOUSEROVERRIDE, or any with a format)
// or ERROR_INSUFFICIENT_BUFFER.
int GetNumberFormatW(LCID locale, DWORD flags, LPCWSTR value, const NUMBERFMTW* format,
                     LPWSTR numberText, int size);

} // namespace basalt::platform

#endif
