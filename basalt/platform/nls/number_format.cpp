#include "basalt/platform/nls/number_format.h"

#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/nls/locale_identifiers.h"

#include <string>
#include <unicode/uloc.h>
#include <unicode/unum.h>
#include <vector>

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

// The integer digits with separators, grouped as NUMBERFMTW::Grouping says.
WideText groupedInteger(const std::string& integer, UINT grouping, const WCHAR* separator) {
  std::vector<std::size_t> sizes; // nearest the decimal separator first
  for (const char digit : std::to_string(grouping)) {
    sizes.push_back(static_cast<std::size_t>(digit - '0'));
  }
  const bool repeat = sizes.back() != 0;
  if (!repeat) {
    sizes.pop_back();
  }
  std::vector<std::size_t> groups; // from the right
  std::size_t left = integer.size();
  for (std::size_t k = 0; left > 0; ++k) {
    std::size_t size = k < sizes.size() ? sizes[k] : (repeat ? sizes.back() : 0);
    if (size == 0 || size > left) {
      size = left;
    }
    groups.push_back(size);
    left -= size;
  }
  WideText text;
  std::size_t at = 0;
  for (auto group = groups.rbegin(); group != groups.rend(); ++group) {
    if (at != 0) {
      text += separator;
    }
    text.append(integer.begin() + static_cast<std::ptrdiff_t>(at),
                integer.begin() + static_cast<std::ptrdiff_t>(at + *group));
    at += *group;
  }
  return text;
}

WideText formatNumber(DecimalText number, const NUMBERFMTW& format) {
  roundFraction(number, format.NumDigits);
  if (number.integer.empty() && (format.LeadingZero != 0 || format.NumDigits == 0)) {
    number.integer = "0";
  }
  if ((number.integer + number.fraction).find_first_not_of('0') == std::string::npos) {
    number.negative = false;
  }
  WideText text = groupedInteger(number.integer, format.Grouping, format.lpThousandSep);
  if (format.NumDigits > 0) {
    text += format.lpDecimalSep;
    text.append(number.fraction.begin(), number.fraction.end());
  }
  if (!number.negative) {
    return text;
  }
  static const char* const negativeForms[][2] = {
      {"(", ")"}, {"-", ""}, {"- ", ""}, {"", "-"}, {"", " -"}};
  const char* const* form = negativeForms[format.NegativeOrder];
  const std::string before = form[0];
  const std::string after = form[1];
  return WideText(before.begin(), before.end()) + text + WideText(after.begin(), after.end());
}

bool validFormat(const NUMBERFMTW& format) {
  return format.lpDecimalSep != nullptr && format.lpThousandSep != nullptr &&
         format.NumDigits <= 9 && format.NegativeOrder <= 4;
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

// A locale's number rules from ICU, with Latin digits as Windows writes them. format points
// into the separators, so the record is used where it is made and never copied.
struct LocaleRules {
  WideText decimalSeparator;
  WideText groupSeparator;
  NUMBERFMTW format{};
};

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
  UINT grouping = 0;
  if (grouped && primary > 0 && primary <= 9) {
    const bool second = secondary > 0 && secondary <= 9 && secondary != primary;
    grouping = static_cast<UINT>(second ? primary * 10 + secondary : primary);
  }
  rules.format = {2, 1, grouping, rules.decimalSeparator.data(), rules.groupSeparator.data(), 1};
  return true;
}

int fail(DWORD error) {
  SetLastError(error);
  return 0;
}

} // namespace

int GetNumberFormatW(LCID locale, DWORD flags, LPCWSTR value, const NUMBERFMTW* format,
                     LPWSTR numberText, int size) {
  if (value == nullptr || size < 0 || (size > 0 && numberText == nullptr)) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  if (format != nullptr ? flags != 0 : (flags & ~LOCALE_NOUSEROVERRIDE) != 0) {
    return fail(ERROR_INVALID_FLAGS);
  }
  const std::string icuLocale = icuLocaleName(locale);
  if (icuLocale.empty() || (format != nullptr && !validFormat(*format))) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  LocaleRules rules;
  if (format == nullptr && !readLocaleRules(icuLocale, rules)) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  DecimalText number;
  if (!parseNumber(value, number)) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  const WideText text = formatNumber(number, format != nullptr ? *format : rules.format);
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
