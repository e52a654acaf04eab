#include "basalt/platform/nls/number_format.h"

#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/nls/locale_identifiers.h"

#include <string>
#include <unicode/uloc.h>
#include <unicode/unum.h>

namespace basalt::platform {
namespace {

using WideText = std::basic_string<WCHAR>;

// The value as digit text, without leading zeros in the integer part.
struct DecimalText {
  bool negative = false;
  std::string integer;
  std::string fraction;
};

bool parseNumber(LPCWSTR value, DecimalText& number) {
  const WCHAR* unit = value;
  number.negative = *unit == '-';
  if (number.negative) {
    ++unit;
  }
  bool point = false;
  bool digits = false;
  for (; *unit != 0; ++unit) {
    if (*unit >= '0' && *unit <= '9') {
      (point ? number.fraction : number.integer).push_back(static_cast<char>(*unit));
      digits = true;
    } else if (*unit == '.' && !point) {
      point = true;
    } else {
      return false;
    }
  }
  number.integer.erase(0, number.integer.find_first_not_of('0'));
  return digits;
}

// Cuts the fraction to places digits, half away from zero, and pads it with zeros.
void roundFraction(DecimalText& number, std::size_t places) {
  if (number.fraction.size() > places) {
    const bool up = number.fraction[places] >= '5';
    number.fraction.resize(places);
    if (up) {
      std::string digits = number.integer + number.fraction;
      std::size_t i = digits.size();
      while (i > 0 && digits[i - 1] == '9') {
        digits[--i] = '0';
      }
      if (i == 0) {
        digits.insert(digits.begin(), '1');
      } else {
        ++digits[i - 1];
      }
      number.integer = digits.substr(0, digits.size() - places);
      number.fraction = digits.substr(digits.size() - places);
    }
  }
  number.fraction.append(places - number.fraction.size(), '0');
}

// A locale's number rules from ICU, with Latin digits as Windows writes them. A group size of
// 0 means no grouping; the secondary size repeats to the left of the primary group.
struct LocaleRules {
  WideText decimalSeparator;
  WideText groupSeparator;
  std::size_t primaryGroup = 0;
  std::size_t secondaryGroup = 0;
};

// The integer digits with the locale's group separators.
WideText groupedInteger(const std::string& integer, const LocaleRules& rules) {
  WideText text;
  std::size_t size = rules.primaryGroup;
  std::size_t end = integer.size();
  while (size != 0 && end > size) {
    text.insert(0, WideText(integer.begin() + static_cast<std::ptrdiff_t>(end - size),
                            integer.begin() + static_cast<std::ptrdiff_t>(end)));
    text.insert(0, rules.groupSeparator);
    end -= size;
    size = rules.secondaryGroup;
  }
  return WideText(integer.begin(), integer.begin() + static_cast<std::ptrdiff_t>(end)) + text;
}

WideText formatNumber(DecimalText number, const LocaleRules& rules) {
  constexpr std::size_t fractionDigits = 2;
  roundFraction(number, fractionDigits);
  if (number.integer.empty()) {
    number.integer = "0";
  }
  if ((number.integer + number.fraction).find_first_not_of('0') == std::string::npos) {
    number.negative = false;
  }
  WideText text = groupedInteger(number.integer, rules) + rules.decimalSeparator;
  text.append(number.fraction.begin(), number.fraction.end());
  return number.negative ? static_cast<WCHAR>('-') + text : text;
}

WideText symbol(const UNumberFormat* formatter, UNumberFormatSymbol which, UErrorCode& status) {
  UChar text[16];
  const int32_t length = unum_getSymbol(formatter, which, text, 16, &status);
  if (U_FAILURE(status) || length >= 16) {
    status = U_BUFFER_OVERFLOW_ERROR;
    return {};
  }
  return WideText(text, text + length);
}

bool readLocaleRules(const std::string& icuLocale, LocaleRules& rules) {
  char name[ULOC_FULLNAME_CAPACITY];
  if (icuLocale.size() >= sizeof name) {
    return false;
  }
  icuLocale.copy(name, icuLocale.size());
  name[icuLocale.size()] = '\0';
  UErrorCode status = U_ZERO_ERROR;
  uloc_setKeywordValue("numbers", "latn", name, sizeof name, &status);
  UNumberFormat* formatter = unum_open(UNUM_DECIMAL, nullptr, 0, name, nullptr, &status);
  if (U_FAILURE(status)) {
    return false;
  }
  rules.decimalSeparator = symbol(formatter, UNUM_DECIMAL_SEPARATOR_SYMBOL, status);
  rules.groupSeparator = symbol(formatter, UNUM_GROUPING_SEPARATOR_SYMBOL, status);
  const bool grouped = unum_getAttribute(formatter, UNUM_GROUPING_USED) != 0;
  const int32_t primary = unum_getAttribute(formatter, UNUM_GROUPING_SIZE);
  const int32_t secondary = unum_getAttribute(formatter, UNUM_SECONDARY_GROUPING_SIZE);
  unum_close(formatter);
  if (U_FAILURE(status)) {
    return false;
  }
  if (grouped && primary > 0) {
    rules.primaryGroup = static_cast<std::size_t>(primary);
    rules.secondaryGroup = static_cast<std::size_t>(secondary > 0 ? secondary : primary);
  }
  return true;
}

int fail(DWORD error) {
  SetLastError(error);
  return 0;
}

} // namespace

int GetNumberFormatW(LCID locale, DWORD /*flags*/, LPCWSTR value, const NUMBERFMTW* format,
                     LPWSTR numberText, int size) {
  if (value == nullptr || format != nullptr || size < 0 || (size > 0 && numberText == nullptr)) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  LocaleRules rules;
  DecimalText number;
  const std::string icuLocale = icuLocaleName(locale);
  if (icuLocale.empty() || !readLocaleRules(icuLocale, rules) || !parseNumber(value, number)) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  const WideText text = formatNumber(number, rules);
  const int needed = static_cast<int>(text.size()) + 1;
  if (size == 0) {
    return needed;
  }
  if (size < needed) {
    return fail(ERROR_INSUFFICIENT_BUFFER);
  }
  text.copy(numberText, text.size());
  numberText[text.size()] = 0;
  return needed;
}

} // namespace basalt::platform
