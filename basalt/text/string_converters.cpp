#include "basalt/text/string_converters.h"

#include <cmath>
#include <type_traits>

namespace plat = basalt::platform;

namespace StringConverters {
namespace {

constexpr unsigned char alphabet[] = "0123456789ABCDEF";

bool radixHasDigits(std::int32_t radix) {
  return radix >= 2 && radix <= 16;
}

// The value of a digit unit in either case, -1 for any other unit.
std::int32_t digitValue(unsigned short unit) {
  if (unit >= '0' && unit <= '9') {
    return unit - '0';
  }
  if (unit >= 'A' && unit <= 'F') {
    return unit - 'A' + 10;
  }
  if (unit >= 'a' && unit <= 'f') {
    return unit - 'a' + 10;
  }
  return -1;
}

bool isDigitOfRadix(unsigned short unit, std::int32_t radix, std::int32_t& digit) {
  digit = digitValue(unit);
  return digit >= 0 && digit < radix;
}

// Puts the digits of magnitude in front of end; returns where they start.
template <class Radix>
unsigned short* putDigits(std::uint32_t magnitude, Radix radix, unsigned short* end) {
  do {
    *--end = alphabet[magnitude % radix];
    magnitude /= radix;
  } while (magnitude != 0);
  return end;
}

// text becomes the digits of magnitude behind an optional '-'; returns the number of digits.
std::int32_t writeDigits(bool negative, std::uint32_t magnitude, KELPString& text,
                         std::int32_t radix) {
  if (!radixHasDigits(radix)) {
    text.clear();
    return 0;
  }
  unsigned short units[33]; // 32 binary digits and a sign
  unsigned short* const end = units + sizeof(units) / sizeof(units[0]);
  // The radixes in common use get a constant divisor.
  unsigned short* first;
  switch (radix) {
  case 10:
    first = putDigits(magnitude, std::integral_constant<std::uint32_t, 10>(), end);
    break;
  case 16:
    first = putDigits(magnitude, std::integral_constant<std::uint32_t, 16>(), end);
    break;
  default:
    first = putDigits(magnitude, static_cast<std::uint32_t>(radix), end);
    break;
  }
  const auto digits = static_cast<std::int32_t>(end - first);
  if (negative) {
    *--first = '-';
  }
  text.assign(first, end);
  return digits;
}

// Adds up the digits of text[first, size()) from the last one down, wrapping at 32 bits; the
// weight of the next higher place is left in weight.
bool sumDigits(const KELPString& text, std::size_t first, std::int32_t radix, std::uint32_t& sum,
               std::uint32_t& weight) {
  for (std::size_t i = text.size(); i > first; --i) {
    std::int32_t digit;
    if (!isDigitOfRadix(text[i - 1], radix, digit)) {
      return false;
    }
    sum += static_cast<std::uint32_t>(digit) * weight;
    weight *= static_cast<std::uint32_t>(radix);
  }
  return true;
}

// The text of a VT_BSTR value; any other type reads as empty.
KELPString variantText(const tagVARIANT& value) {
  KELPString text;
  if (value.vt == plat::VT_BSTR) {
    text.fillFromBSTR(value.bstrVal);
  }
  return text;
}

// The units from at up to separator or the end; at moves behind the separator.
KELPString nextField(const KELPString& text, std::size_t& at, unsigned short separator) {
  std::size_t end = at;
  while (end < text.size() && text[end] != separator) {
    ++end;
  }
  KELPString field(text.data() + at, static_cast<unsigned int>(end - at));
  at = end < text.size() ? end + 1 : end;
  return field;
}

} // namespace

bool convertDigitToString(std::int32_t digit, KELPString& text) {
  if (digit < 0 || digit > 15) {
    return false;
  }
  text = static_cast<unsigned short>(alphabet[digit]);
  return true;
}

bool convertStringToDigit(std::int32_t& digit, const KELPString& text) {
  const std::int32_t value = text.empty() ? -1 : digitValue(text[0]);
  if (value < 0) {
    return false;
  }
  digit = value;
  return true;
}

std::int32_t convertIntegerToString(std::int32_t value, KELPString& text, std::int32_t radix) {
  const auto bits = static_cast<std::uint32_t>(value);
  return writeDigits(value < 0, value < 0 ? 0U - bits : bits, text, radix);
}

std::int32_t convertUnsignedLongToString(std::uint32_t value, KELPString& text,
                                         std::int32_t radix) {
  return writeDigits(false, value, text, radix);
}

bool convertStringToInteger(std::int32_t& value, const KELPString& text, std::int32_t radix) {
  if (radix > 16 || text.empty()) {
    return false;
  }
  std::uint32_t sum = 0;
  std::uint32_t weight = 1;
  if (!sumDigits(text, 1, radix, sum, weight)) {
    return false;
  }
  if (text[0] == '-') {
    sum = 0U - sum;
  } else {
    std::int32_t digit;
    if (!isDigitOfRadix(text[0], radix, digit)) {
      return false;
    }
    sum += static_cast<std::uint32_t>(digit) * weight;
  }
  value = static_cast<std::int32_t>(sum);
  return true;
}

bool convertStringToUnsignedInteger(std::uint32_t& value, const KELPString& text,
                                    std::int32_t radix) {
  if (radix > 16) {
    return false;
  }
  std::uint32_t sum = 0;
  std::uint32_t weight = 1;
  if (!sumDigits(text, 0, radix, sum, weight)) {
    return false;
  }
  value = sum;
  return true;
}

std::int32_t convertRealToString(double value, KELPString& text, std::int32_t radix,
                                 std::int32_t maxDigits) {
  if (!radixHasDigits(radix)) {
    return 0;
  }
  if (!std::isfinite(value)) {
    // The digit loops have no end for these; the text says "no number" the one way it can.
    text.insert(text.begin(), '-');
    text += static_cast<unsigned short>('.');
    text += static_cast<unsigned short>('0');
    return 0;
  }
  const bool negative = value < 0;
  if (negative) {
    value = -value;
  }
  KELPString::Base integer; // least significant digit first
  std::int32_t counter = 0;
  for (double whole = std::floor(value); whole >= 1;) {
    const auto digit = static_cast<std::int32_t>(std::fmod(whole, radix));
    integer.push_back(static_cast<unsigned short>(alphabet[digit]));
    whole = std::floor((whole - digit) / radix + 0.5);
    ++counter;
  }
  text.insert(text.begin(), integer.rbegin(), integer.rend());
  if (counter < maxDigits) {
    text += static_cast<unsigned short>('.');
    for (double fraction = value - std::floor(value); fraction > 0 && counter < maxDigits;) {
      fraction *= radix;
      text += static_cast<unsigned short>(alphabet[static_cast<std::int32_t>(fraction)]);
      ++counter;
      fraction -= std::floor(fraction);
    }
    text += static_cast<unsigned short>('0');
  }
  if (negative) {
    text.insert(text.begin(), '-');
  }
  return counter;
}

std::int32_t convertRealToString(float value, KELPString& text, std::int32_t radix,
                                 std::int32_t maxDigits) {
  return convertRealToString(static_cast<double>(value), text, radix, maxDigits);
}

bool convertStringToReal(double& value, const KELPString& text, std::int32_t radix,
                         unsigned short point) {
  if (text.empty()) {
    return false;
  }
  const std::size_t found = text.Base::find(point);
  const auto position = static_cast<long>(found == KELPString::npos ? text.size() : found);
  double sum = 0;
  std::int32_t digit;
  const bool negative = text[0] == '-';
  if (!negative) {
    if (!isDigitOfRadix(text[0], radix, digit)) {
      return false;
    }
    sum += digit * std::pow(radix, position - 1);
  }
  const auto size = static_cast<long>(text.size());
  for (long i = 1; i < size; ++i) {
    if (i == position) {
      continue;
    }
    if (!isDigitOfRadix(text[i], radix, digit)) {
      return false;
    }
    // Places before the point count down to 0, places behind it from -1.
    const long exponent = i < position ? position - 1 - i : position - i;
    sum += digit * std::pow(radix, exponent);
  }
  value = negative ? sum * -1.0 : sum;
  return true;
}

bool convertStringToReal(float& value, const KELPString& text, std::int32_t radix,
                         unsigned short point) {
  double parsed;
  if (!convertStringToReal(parsed, text, radix, point)) {
    return false;
  }
  value = static_cast<float>(parsed);
  return true;
}

std::int32_t convertVariantToString(tagVARIANT value, tagVARIANT& result) {
  KELPString text;
  std::int32_t digits = -1;
  switch (value.vt) {
  case plat::VT_I4:
    digits = convertIntegerToString(value.lVal, text, 10);
    break;
  case plat::VT_R4:
    digits = convertRealToString(value.fltVal, text, 10, 8);
    break;
  case plat::VT_R8:
    digits = convertRealToString(value.dblVal, text, 10, 16);
    break;
  default:
    break;
  }
  plat::VariantInit(&result);
  result.vt = plat::VT_BSTR;
  text.createBSTR(&result.bstrVal);
  return digits;
}

bool convertVariantStringToInteger(tagVARIANT value, tagVARIANT& result) {
  plat::VariantInit(&result);
  std::int32_t number;
  if (!convertStringToInteger(number, variantText(value), 10)) {
    return false;
  }
  result.vt = plat::VT_I4;
  result.lVal = number;
  return true;
}

bool convertVariantStringToDouble(tagVARIANT value, tagVARIANT& result) {
  plat::VariantInit(&result);
  double number;
  if (!convertStringToReal(number, variantText(value), 10, '.')) {
    return false;
  }
  result.vt = plat::VT_R8;
  result.dblVal = number;
  return true;
}

bool convertVariantStringToFloat(tagVARIANT value, tagVARIANT& result) {
  if (!convertVariantStringToDouble(value, result)) {
    return false;
  }
  const auto number = static_cast<float>(result.dblVal);
  plat::VariantInit(&result);
  result.vt = plat::VT_R4;
  result.fltVal = number;
  return true;
}

bool convertGUIDToString(const _GUID& guid, KELPString& text) {
  KELPString result;
  KELPString field;
  convertUnsignedLongToString(guid.Data1, field, 16);
  result += field;
  result += static_cast<unsigned short>('-');
  convertIntegerToString(guid.Data2, field, 16);
  result += field;
  result += static_cast<unsigned short>('-');
  convertIntegerToString(guid.Data3, field, 16);
  result += field;
  for (int i = 0; i < 8; ++i) {
    result += static_cast<unsigned short>(i == 0 ? '-' : ',');
    convertIntegerToString(guid.Data4[i], field, 16);
    result += field;
  }
  text.swap(result);
  return true;
}

bool convertStringToGUID(const KELPString& text, _GUID& guid) {
  std::size_t at = 0;
  std::uint32_t data1 = 0;
  convertStringToUnsignedInteger(data1, nextField(text, at, '-'), 16);
  guid.Data1 = data1;
  std::int32_t data2 = 0;
  convertStringToInteger(data2, nextField(text, at, '-'), 16);
  guid.Data2 = static_cast<plat::WORD>(data2);
  std::int32_t data3 = 0;
  convertStringToInteger(data3, nextField(text, at, '-'), 16);
  guid.Data3 = static_cast<plat::WORD>(data3);
  // Fields past the eighth have no byte to go to.
  for (std::size_t byte = 0; at < text.size(); ++byte) {
    std::int32_t value = 0;
    convertStringToInteger(value, nextField(text, at, ','), 16);
    if (byte < sizeof(guid.Data4)) {
      guid.Data4[byte] = static_cast<plat::BYTE>(value);
    }
  }
  return true;
}

} // namespace StringConverters
