#include "basalt/platform/automation_strings.h"
#include "basalt/text/string_converters.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>

namespace plat = basalt::platform;
using namespace StringConverters;

namespace {

using Units = std::basic_string<unsigned short>;

Units units(const char* ascii) {
  return Units(ascii, ascii + std::char_traits<char>::length(ascii));
}

TEST(StringConverters, DigitsAreSixteenCharactersReadInEitherCase) {
  KELPString text("keep");
  EXPECT_TRUE(convertDigitToString(15, text));
  EXPECT_EQ(text.wstring(), units("F"));
  EXPECT_FALSE(convertDigitToString(16, text));
  EXPECT_FALSE(convertDigitToString(-1, text));
  EXPECT_EQ(text.wstring(), units("F"));

  std::int32_t digit = 99;
  EXPECT_TRUE(convertStringToDigit(digit, KELPString("fz")));
  EXPECT_EQ(digit, 15);
  EXPECT_FALSE(convertStringToDigit(digit, KELPString("g")));
  EXPECT_FALSE(convertStringToDigit(digit, KELPString()));
  EXPECT_EQ(digit, 15);
}

TEST(StringConverters, IntegersToText) {
  KELPString text;
  EXPECT_EQ(convertIntegerToString(0, text, 10), 1);
  EXPECT_EQ(text.wstring(), units("0"));
  EXPECT_EQ(convertIntegerToString(-255, text, 16), 2);
  EXPECT_EQ(text.wstring(), units("-FF"));
  EXPECT_EQ(convertIntegerToString(std::numeric_limits<std::int32_t>::min(), text, 10), 10);
  EXPECT_EQ(text.wstring(), units("-2147483648"));
  EXPECT_EQ(convertIntegerToString(-1, text, 2), 1);
  EXPECT_EQ(text.wstring(), units("-1"));
  EXPECT_EQ(convertUnsignedLongToString(4294967295U, text, 16), 8);
  EXPECT_EQ(text.wstring(), units("FFFFFFFF"));
  EXPECT_EQ(convertUnsignedLongToString(4294967295U, text, 2), 32);
  EXPECT_EQ(convertIntegerToString(7, text, 1), 0);
  EXPECT_TRUE(text.empty());
  EXPECT_EQ(convertUnsignedLongToString(7, text, 17), 0);
}

TEST(StringConverters, TextToIntegersTakesOnlyDigitsAndOneLeadingMinus) {
  struct Case {
    const char* text;
    std::int32_t radix;
    bool parses;
    std::int32_t value;
  };
  const Case cases[] = {
      {"FF", 16, true, 255},
      {"ff", 16, true, 255},
      {"FF", 10, false, 0},
      {" 1", 10, false, 0},
      {"+1", 10, false, 0},
      {"1-", 10, false, 0},
      {"--1", 10, false, 0},
      {"-", 10, true, 0},
      {"", 10, false, 0},
      {"1", 17, false, 0},
      {"-10", 2, true, -2},
      {"4294967296", 10, true, 0},
      {"2147483648", 10, true, std::numeric_limits<std::int32_t>::min()},
      {"-80000000", 16, true, std::numeric_limits<std::int32_t>::min()},
  };
  for (const Case& c : cases) {
    std::int32_t value = 77;
    EXPECT_EQ(convertStringToInteger(value, KELPString(c.text), c.radix), c.parses) << c.text;
    EXPECT_EQ(value, c.parses ? c.value : 77) << c.text;
  }

  std::uint32_t value = 77;
  EXPECT_TRUE(convertStringToUnsignedInteger(value, KELPString(), 10));
  EXPECT_EQ(value, 0U);
  EXPECT_TRUE(convertStringToUnsignedInteger(value, KELPString("ffffffff"), 16));
  EXPECT_EQ(value, 0xFFFFFFFFU);
  EXPECT_TRUE(convertStringToUnsignedInteger(value, KELPString("100000001"), 16));
  EXPECT_EQ(value, 1U);
  EXPECT_FALSE(convertStringToUnsignedInteger(value, KELPString("-1"), 10));
  EXPECT_FALSE(convertStringToUnsignedInteger(value, KELPString("1"), 17));
  EXPECT_EQ(value, 1U);
}

// Clients store these texts: the form is pinned.
TEST(StringConverters, RealTextForm) {
  struct Case {
    double value;
    std::int32_t radix;
    std::int32_t maxDigits;
    const char* text;
    std::int32_t digits;
  };
  const Case cases[] = {
      {0.0, 10, 16, ".0", 0},
      {1.0, 10, 16, "1.0", 1},
      {1.5, 10, 16, "1.50", 2},
      {100.0, 10, 16, "100.0", 3},
      {-2.25, 10, 16, "-2.250", 3},
      {0.5, 10, 16, ".50", 1},
      {123456789.0, 10, 8, "123456789", 9},
      {12345678.9, 10, 8, "12345678", 8},
      {1.5, 2, 16, "1.10", 2},
      {255.75, 16, 16, "FF.C0", 3},
      {2.0 / 3.0, 10, 4, ".66660", 4},
      {0.1, 10, 16, ".10", 1},
  };
  for (const Case& c : cases) {
    KELPString text;
    EXPECT_EQ(convertRealToString(c.value, text, c.radix, c.maxDigits), c.digits) << c.text;
    EXPECT_EQ(text.wstring(), units(c.text)) << c.text;
  }

  // The digits go around what the text holds.
  KELPString text("|");
  convertRealToString(-1.5, text, 10, 16);
  EXPECT_EQ(text.wstring(), units("-1|.50"));

  // The float form stops at 8 digits and never rounds the last one.
  text.clear();
  EXPECT_EQ(convertRealToString(0.1F, text, 10, 8), 8);
  EXPECT_EQ(text.wstring(), units(".100000000"));

  for (const double odd : {std::nan(""), std::numeric_limits<double>::infinity(),
                           -std::numeric_limits<double>::infinity()}) {
    text.clear();
    EXPECT_EQ(convertRealToString(odd, text, 10, 16), 0);
    EXPECT_EQ(text.wstring(), units("-.0"));
  }
}

TEST(StringConverters, TextToReal) {
  struct Case {
    const char* text;
    std::int32_t radix;
    char point;
    bool parses;
    double value;
  };
  const Case cases[] = {
      {"1.5", 10, '.', true, 1.5}, {"5.", 10, '.', true, 5.0},   {"-.5", 10, '.', true, -0.5},
      {"1,5", 10, ',', true, 1.5}, {"A.8", 16, '.', true, 10.5}, {"123", 10, '.', true, 123},
      {".5", 10, '.', false, 0},   {"1.2.3", 10, '.', false, 0}, {"1e5", 10, '.', false, 0},
      {"", 10, '.', false, 0},     {"1.5", 10, ',', false, 0},   {"+1", 10, '.', false, 0},
      {"9", 8, '.', false, 0},
  };
  for (const Case& c : cases) {
    double value = 77;
    EXPECT_EQ(convertStringToReal(value, KELPString(c.text), c.radix, c.point), c.parses) << c.text;
    EXPECT_EQ(value, c.parses ? c.value : 77) << c.text;
  }
  double negativeZero = 1;
  EXPECT_TRUE(convertStringToReal(negativeZero, KELPString("-"), 10, '.'));
  EXPECT_EQ(negativeZero, 0.0);
  EXPECT_TRUE(std::signbit(negativeZero));

  float single = 0;
  EXPECT_TRUE(convertStringToReal(single, KELPString("0.1"), 10, '.'));
  EXPECT_EQ(single, 0.1F);
}

plat::VARIANT stringVariant(const char* text) {
  plat::VARIANT variant;
  plat::VariantInit(&variant);
  variant.vt = plat::VT_BSTR;
  KELPString(text).createBSTR(&variant.bstrVal);
  return variant;
}

// The text of the new string in result, which is released.
Units takeText(plat::VARIANT& result) {
  EXPECT_EQ(result.vt, plat::VT_BSTR);
  EXPECT_NE(result.bstrVal, nullptr);
  Units text(result.bstrVal, plat::SysStringLen(result.bstrVal));
  plat::VariantClear(&result);
  return text;
}

TEST(StringConverters, VariantsToText) {
  plat::VARIANT value;
  plat::VariantInit(&value);
  plat::VARIANT result;
  value.vt = plat::VT_I4;
  value.lVal = -42;
  EXPECT_EQ(convertVariantToString(value, result), 2);
  EXPECT_EQ(takeText(result), units("-42"));
  value.vt = plat::VT_R4;
  value.fltVal = 0.1F;
  EXPECT_EQ(convertVariantToString(value, result), 8);
  EXPECT_EQ(takeText(result), units(".100000000"));
  value.vt = plat::VT_R8;
  value.dblVal = 1.5;
  EXPECT_EQ(convertVariantToString(value, result), 2);
  EXPECT_EQ(takeText(result), units("1.50"));
  value.vt = plat::VT_BOOL;
  value.boolVal = plat::VARIANT_TRUE;
  EXPECT_EQ(convertVariantToString(value, result), -1);
  EXPECT_EQ(takeText(result), Units());
}

TEST(StringConverters, VariantStringsToNumbers) {
  plat::VARIANT value = stringVariant("42");
  plat::VARIANT result;
  EXPECT_TRUE(convertVariantStringToInteger(value, result));
  EXPECT_EQ(result.vt, plat::VT_I4);
  EXPECT_EQ(result.lVal, 42);
  plat::VariantClear(&value);

  value = stringVariant("-2.25");
  EXPECT_TRUE(convertVariantStringToFloat(value, result));
  EXPECT_EQ(result.vt, plat::VT_R4);
  EXPECT_EQ(result.fltVal, -2.25F);
  EXPECT_TRUE(convertVariantStringToDouble(value, result));
  EXPECT_EQ(result.vt, plat::VT_R8);
  EXPECT_EQ(result.dblVal, -2.25);
  EXPECT_FALSE(convertVariantStringToInteger(value, result));
  EXPECT_EQ(result.vt, plat::VT_EMPTY);
  plat::VariantClear(&value);

  // Only a string is read; a number in the variant is no text.
  value.vt = plat::VT_I4;
  value.lVal = 0x1234;
  EXPECT_FALSE(convertVariantStringToDouble(value, result));
  EXPECT_EQ(result.vt, plat::VT_EMPTY);
}

plat::GUID makeGuid(plat::DWORD data1, plat::WORD data2, plat::WORD data3,
                    std::initializer_list<plat::BYTE> data4) {
  plat::GUID guid{data1, data2, data3, {}};
  std::copy(data4.begin(), data4.end(), guid.Data4);
  return guid;
}

bool same(const plat::GUID& a, const plat::GUID& b) {
  return a.Data1 == b.Data1 && a.Data2 == b.Data2 && a.Data3 == b.Data3 &&
         std::memcmp(a.Data4, b.Data4, 8) == 0;
}

// Clients store these texts: the form is pinned.
TEST(StringConverters, GuidTextForm) {
  const plat::GUID guid =
      makeGuid(0x00112233, 0x4455, 0x6677, {0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF});
  KELPString text("old");
  EXPECT_TRUE(convertGUIDToString(guid, text));
  EXPECT_EQ(text.wstring(), units("112233-4455-6677-88,99,AA,BB,CC,DD,EE,FF"));
  plat::GUID back{};
  EXPECT_TRUE(convertStringToGUID(text, back));
  EXPECT_TRUE(same(back, guid));

  EXPECT_TRUE(convertGUIDToString(makeGuid(0, 0, 0, {}), text));
  EXPECT_EQ(text.wstring(), units("0-0-0-0,0,0,0,0,0,0,0"));

  const plat::GUID extreme = makeGuid(0xFFFFFFFF, 0xFFFF, 0x8000, {0xFF, 0, 1, 2, 3, 4, 5, 0x80});
  EXPECT_TRUE(convertGUIDToString(extreme, text));
  EXPECT_EQ(text.wstring(), units("FFFFFFFF-FFFF-8000-FF,0,1,2,3,4,5,80"));
  EXPECT_TRUE(convertStringToGUID(text, back));
  EXPECT_TRUE(same(back, extreme));
}

TEST(StringConverters, GuidReaderToleratesEverything) {
  const plat::GUID filled = makeGuid(1, 2, 3, {9, 9, 9, 9, 9, 9, 9, 9});
  plat::GUID guid = filled;
  EXPECT_TRUE(convertStringToGUID(KELPString(), guid));
  EXPECT_TRUE(same(guid, makeGuid(0, 0, 0, {9, 9, 9, 9, 9, 9, 9, 9})));

  guid = filled;
  EXPECT_TRUE(convertStringToGUID(KELPString("zz-ab-cd-e,,1,2,3,4,5,6,7,8"), guid));
  EXPECT_TRUE(same(guid, makeGuid(0, 0xAB, 0xCD, {0xE, 0, 1, 2, 3, 4, 5, 6})));

  guid = filled;
  EXPECT_TRUE(convertStringToGUID(KELPString("10000-1FFFF-2-1FF"), guid));
  EXPECT_TRUE(same(guid, makeGuid(0x10000, 0xFFFF, 2, {0xFF, 9, 9, 9, 9, 9, 9, 9})));

  // The braced form isn't this one: "{" fails the first field and the last group, with no
  // commas, holds a '-'.
  guid = filled;
  EXPECT_TRUE(convertStringToGUID(KELPString("{00112233-4455-6677-8899-AABBCCDDEEFF}"), guid));
  EXPECT_TRUE(same(guid, makeGuid(0, 0x4455, 0x6677, {0, 9, 9, 9, 9, 9, 9, 9})));
}

} // namespace
