// The text-to-number readers on any text, radix and point. A text that reads as an integer
// must write out and read back to the same value; the real writer gets every double,
// infinities and NaNs included.

#include "basalt/platform/com/automation_strings.h"
#include "basalt/platform/com/variant.h"
#include "basalt/text/string_converters.h"
#include "fuzz_text.h"

#include <cstdint>
#include <cstring>

namespace plat = basalt::platform;
using namespace StringConverters;

namespace {

void checkIntegerRoundTrip(std::int32_t value, std::int32_t radix) {
  KELPString text;
  convertIntegerToString(value, text, radix);
  std::int32_t back = ~value;
  require(convertStringToInteger(back, text, radix) && back == value, "signed round trip");
}

void checkUnsignedRoundTrip(std::uint32_t value, std::int32_t radix) {
  KELPString text;
  convertUnsignedLongToString(value, text, radix);
  std::uint32_t back = ~value;
  require(convertStringToUnsignedInteger(back, text, radix) && back == value,
          "unsigned round trip");
}

void readVariantString(const KELPString& text) {
  plat::VARIANT value;
  plat::VariantInit(&value);
  value.vt = plat::VT_BSTR;
  text.createBSTR(&value.bstrVal);
  plat::VARIANT result;
  convertVariantStringToInteger(value, result);
  convertVariantStringToFloat(value, result);
  convertVariantStringToDouble(value, result);
  plat::VariantClear(&value);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  // Radixes outside 2 to 16 are fed too: they must fail or stay harmless.
  const auto radix = input.ConsumeIntegralInRange<std::int32_t>(-1, 18);
  const auto point = input.ConsumeIntegral<unsigned char>();
  const auto maxDigits = input.ConsumeIntegralInRange<std::int32_t>(-2, 1200);
  double written = 0;
  if (input.remaining_bytes() >= sizeof(written)) {
    const auto bits = input.ConsumeIntegral<std::uint64_t>();
    std::memcpy(&written, &bits, sizeof(written));
  }
  const KELPString text(consumeUnits(input, 64));
  const bool writable = radix >= 2 && radix <= 16;

  std::int32_t digit = 0;
  convertStringToDigit(digit, text);

  std::int32_t value = 0;
  if (convertStringToInteger(value, text, radix) && writable) {
    checkIntegerRoundTrip(value, radix);
  }
  std::uint32_t unsignedValue = 0;
  if (convertStringToUnsignedInteger(unsignedValue, text, radix) && writable) {
    checkUnsignedRoundTrip(unsignedValue, radix);
  }

  double real = 0;
  float single = 0;
  convertStringToReal(real, text, radix, point);
  convertStringToReal(single, text, radix, point);
  readVariantString(text);

  KELPString realText(text);
  convertRealToString(written, realText, radix, maxDigits);
  realText.clear();
  convertRealToString(static_cast<float>(written), realText, radix, maxDigits);
  return 0;
}
