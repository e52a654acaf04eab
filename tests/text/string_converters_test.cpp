#include "basalt/platform/com/automation_strings.h"
#include "basalt/text/string_converters.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>

namespace plat = basalt::platform;
using namespace StringConverters;

namespace {

// "count text" of a conversion into a text that held "old".
template <class Value> std::string numberText(Value value, std::int32_t radix, int maxDigits = 0) {
  KELPString text("old");
  std::int32_t count = 0;
  if constexpr (std::is_floating_point_v<Value>) {
    text.clear();
    count = convertRealToString(value, text, radix, maxDigits);
  } else if constexpr (std::is_signed_v<Value>) {
    count = convertIntegerToString(value, text, radix);
  } else {
    count = convertUnsignedLongToString(value, text, radix);
  }
  return std::to_string(count) + " " + text.string();
}

// The value read from text, or "no" with the value left as it was (77).
template <class Value> std::string parsed(const char* text, std::int32_t radix, char point = '.') {
  Value value = 77;
  bool read = false;
  if constexpr (std::is_floating_point_v<Value>) {
    read = convertStringToReal(value, KELPString(text), radix, point);
  } else if constexpr (std::is_signed_v<Value>) {
    read = convertStringToInteger(value, KELPString(text), radix);
  } else {
    read = convertStringToUnsignedInteger(value, KELPString(text), radix);
  }
  return read ? testing::PrintToString(value) : value == 77 ? "no" : "no, but changed";
}

TEST(StringConverters, DigitsAreSixteenCharactersReadInEitherCase) {
  KELPString text("keep");
  EXPECT_TRUE(convertDigitToString(15, text));
  EXPECT_FALSE(convertDigitToString(16, text));
  EXPECT_FALSE(convertDigitToString(-1, text));
  EXPECT_EQ(text, "F");
  std::int32_t digit = 99;
  EXPECT_TRUE(convertStringToDigit(digit, KELPString("fz")));
  EXPECT_EQ(digit, 15);
  EXPECT_FALSE(convertStringToDigit(digit, KELPString("g")));
  EXPECT_FALSE(convertStringToDigit(digit, KELPString()));
  EXPECT_EQ(digit, 15);
}

TEST(StringConverters, IntegersToTextAndBackTakeOnlyDigitsAndOneLeadingMinus) {
  EXPECT_EQ(numberText(0, 10), "1 0");
  EXPECT_EQ(numberText(-255, 16), "2 -FF");
  EXPECT_EQ(numberText(std::numeric_limits<std::int32_t>::min(), 10), "10 -2147483648");
  EXPECT_EQ(numberText(4294967295U, 16), "8 FFFFFFFF");
  EXPECT_EQ(numberText(4294967295U, 2), "32 " + std::string(32, '1'));
  EXPECT_EQ(numberText(7, 1), "0 ");
  EXPECT_EQ(numberText(7U, 17), "0 ");

  EXPECT_EQ(parsed<std::int32_t>("ff", 16), "255");
  EXPECT_EQ(parsed<std::int32_t>("FF", 10), "no");
  EXPECT_EQ(parsed<std::int32_t>("+1", 10), "no");
  EXPECT_EQ(parsed<std::int32_t>("--1", 10), "no");
  EXPECT_EQ(parsed<std::int32_t>("-", 10), "0");
  EXPECT_EQ(parsed<std::int32_t>("", 10), "no");
  EXPECT_EQ(parsed<std::int32_t>("-10", 2), "-2");
  // Past 32 bits the value wraps.
  EXPECT_EQ(parsed<std::int32_t>("4294967296", 10), "0");
  EXPECT_EQ(parsed<std::int32_t>("2147483648", 10), "-2147483648");
  EXPECT_EQ(parsed<std::int32_t>("-80000000", 16), "-2147483648");

  EXPECT_EQ(parsed<std::uint32_t>("", 10), "0");
  EXPECT_EQ(parsed<std::uint32_t>("100000001", 16), "1");
  EXPECT_EQ(parsed<std::uint32_t>("-1", 10), "no");
  EXPECT_EQ(parsed<std::uint32_t>("1", 17), "no");
}

// Clients store these texts: the form is pinned.
TEST(StringConverters, RealsToTextAndBack) {
  EXPECT_EQ(numberText(0.0, 10, 16), "0 .0");
  EXPECT_EQ(numberText(100.0, 10, 16), "3 100.0");
  EXPECT_EQ(numberText(-2.25, 10, 16), "3 -2.250");
  EXPECT_EQ(numberText(0.5, 10, 16), "1 .50");
  EXPECT_EQ(numberText(123456789.0, 10, 8), "9 123456789");
  EXPECT_EQ(numberText(12345678.9, 10, 8), "8 12345678");
  EXPECT_EQ(numberText(255.75, 16, 16), "3 FF.C0");
  EXPECT_EQ(numberText(2.0 / 3.0, 10, 4), "4 .66660");
  for (const double odd : {std::nan(""), -std::numeric_limits<double>::infinity()}) {
    EXPECT_EQ(numberText(odd, 10, 16), "0 -.0");
  }
  // The digits go around what the text holds.
  KELPString text("|");
  convertRealToString(-1.5, text, 10, 16);
  EXPECT_EQ(text, "-1|.50");

  EXPECT_EQ(parsed<double>("1.5", 10), "1.5");
  EXPECT_EQ(parsed<double>("5.", 10), "5");
  EXPECT_EQ(parsed<double>("-.5", 10), "-0.5");
  EXPECT_EQ(parsed<double>("1,5", 10, ','), "1.5");
  EXPECT_EQ(parsed<double>("A.8", 16), "10.5");
  EXPECT_EQ(parsed<double>("-", 10), "-0");
  EXPECT_EQ(parsed<float>("0.1", 10), testing::PrintToString(0.1F));
  for (const char* bad : {".5", "1.2.3", "1e5", "", "+1", "9"}) {
    EXPECT_EQ(parsed<double>(bad, 8), "no") << bad;
  }
  EXPECT_EQ(parsed<double>("1.5", 10, ','), "no");
}

// "count text" of the new string, which is released.
std::string variantText(plat::VARTYPE vt, double number) {
  plat::VARIANT value;
  plat::VariantInit(&value);
  value.vt = vt;
  vt == plat::VT_I4   ? value.lVal = static_cast<plat::LONG>(number)
  : vt == plat::VT_R4 ? value.fltVal = static_cast<float>(number)
                      : value.dblVal = number;
  plat::VARIANT result;
  const std::int32_t count = convertVariantToString(value, result);
  EXPECT_EQ(result.vt, plat::VT_BSTR);
  const std::string text = KELPString(result.bstrVal, plat::SysStringLen(result.bstrVal)).string();
  plat::VariantClear(&result);
  return std::to_string(count) + " " + text;
}

// "type value" of what a converter made of a string variant holding text, or of a number
// variant when text is null.
template <typename Convert> std::string fromString(Convert convert, const char* text) {
  plat::VARIANT value;
  plat::VariantInit(&value);
  value.vt = text == nullptr ? plat::VT_I4 : plat::VT_BSTR;
  text == nullptr ? static_cast<void>(value.lVal = 0x1234)
                  : KELPString(text).createBSTR(&value.bstrVal);
  plat::VARIANT result;
  const bool converted = convert(value, result);
  plat::VariantClear(&value);
  const std::string number = result.vt == plat::VT_R4   ? testing::PrintToString(result.fltVal)
                             : result.vt == plat::VT_R8 ? testing::PrintToString(result.dblVal)
                             : result.vt == plat::VT_I4 ? std::to_string(result.lVal)
                                                        : "";
  return (converted ? "" : "no ") + std::to_string(result.vt) + " " + number;
}

TEST(StringConverters, VariantsToTextAndBack) {
  EXPECT_EQ(variantText(plat::VT_I4, -42), "2 -42");
  // The float form stops at 8 digits and never rounds the last one.
  EXPECT_EQ(variantText(plat::VT_R4, 0.1F), "8 .100000000");
  EXPECT_EQ(variantText(plat::VT_R8, 1.5), "2 1.50");
  EXPECT_EQ(variantText(plat::VT_BOOL, 0), "-1 ");

  const auto toFloat = convertVariantStringToFloat;
  const auto toDouble = convertVariantStringToDouble;
  const auto toInteger = convertVariantStringToInteger;
  EXPECT_EQ(fromString(toFloat, "-2.25"), std::to_string(plat::VT_R4) + " -2.25");
  EXPECT_EQ(fromString(toDouble, "-2.25"), std::to_string(plat::VT_R8) + " -2.25");
  EXPECT_EQ(fromString(toInteger, "-2.25"), "no " + std::to_string(plat::VT_EMPTY) + " ");
  EXPECT_EQ(fromString(toInteger, "42"), std::to_string(plat::VT_I4) + " 42");
  // Only a string is read; a number in the variant is no text.
  EXPECT_EQ(fromString(toDouble, nullptr), "no " + std::to_string(plat::VT_EMPTY) + " ");
}

// The GUID read from text, in the writer's form; the GUID starts with a value in every field.
std::string readGuid(const char* text) {
  plat::GUID guid{1, 2, 3, {9, 9, 9, 9, 9, 9, 9, 9}};
  EXPECT_TRUE(convertStringToGUID(KELPString(text), guid)) << text;
  KELPString written;
  EXPECT_TRUE(convertGUIDToString(guid, written));
  return written.string();
}

// Clients store these texts: the form is pinned. The reader tolerates everything.
TEST(StringConverters, GuidsToTextAndBack) {
  const plat::GUID guid{
      0x00112233, 0x4455, 0x6677, {0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF}};
  KELPString text("old");
  EXPECT_TRUE(convertGUIDToString(guid, text));
  EXPECT_EQ(text, "112233-4455-6677-88,99,AA,BB,CC,DD,EE,FF");
  for (const char* written :
       {"112233-4455-6677-88,99,AA,BB,CC,DD,EE,FF", "FFFFFFFF-FFFF-8000-FF,0,1,2,3,4,5,80"}) {
    EXPECT_EQ(readGuid(written), written);
  }
  EXPECT_EQ(readGuid(""), "0-0-0-9,9,9,9,9,9,9,9");
  EXPECT_EQ(readGuid("zz-ab-cd-e,,1,2,3,4,5,6,7,8"), "0-AB-CD-E,0,1,2,3,4,5,6");
  EXPECT_EQ(readGuid("10000-1FFFF-2-1FF"), "10000-FFFF-2-FF,9,9,9,9,9,9,9");
  // The braced form isn't this one: "{" fails the first field and the last group, with no
  // commas, holds a '-'.
  EXPECT_EQ(readGuid("{00112233-4455-6677-8899-AABBCCDDEEFF}"), "0-4455-6677-0,9,9,9,9,9,9,9");
}

} // namespace
