#include "basalt/platform/automation_strings.h"
#include "basalt/text/kelp_string.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>

namespace {

using Units = std::basic_string<unsigned short>;

Units units(std::initializer_list<unsigned short> list) {
  return Units(list);
}

TEST(KELPString, ZeroUnitsFollowEachOperationsRule) {
  EXPECT_TRUE(KELPString(static_cast<unsigned short>(0)).empty());
  KELPString text("ab");
  text = static_cast<unsigned short>(0);
  EXPECT_TRUE(text.empty());
  text += static_cast<unsigned short>(0);
  EXPECT_EQ(text.size(), 1u);

  const Units withZero = units({'a', 'b', 0, 'c'});
  EXPECT_EQ(KELPString(withZero).size(), 2u);        // by reference: first zero
  EXPECT_EQ(KELPString(Units(withZero)).size(), 4u); // by value: every unit
  const KELPString whole(withZero.data(), 4);
  EXPECT_EQ(KELPString(whole).size(), 4u); // copies carry zero units
  KELPString assigned;
  assigned = whole;
  EXPECT_EQ(assigned, whole);
  KELPString appended;
  appended += whole; // appending stops at the first zero
  EXPECT_EQ(appended.size(), 2u);
  KELPString bytes(std::string("a\0b", 3));
  EXPECT_EQ(bytes, KELPString(units({'a', 0, 'b'})));
  // The narrow form keeps them too.
  EXPECT_EQ(KELPString(units({0, 'a'})).string(), std::string(1, '\0'));
  EXPECT_EQ(bytes.string(), std::string("a\0b", 3));
  Units wide = units({'x'});
  EXPECT_EQ(bytes.fillWString(wide), units({'a', 0, 'b'}));
}

TEST(KELPString, NullArgumentsCountAsEmpty) {
  const char* noText = nullptr;
  const unsigned short* noUnits = nullptr;
  EXPECT_TRUE(KELPString(noText).empty());
  EXPECT_TRUE(KELPString(noText, 5).empty());
  EXPECT_TRUE(KELPString(noUnits).empty());
  EXPECT_TRUE(KELPString(noUnits, 5).empty());
  KELPString text("kept");
  text.append(noText, 5);
  text.append(noText);
  text += noText;
  EXPECT_EQ(text.string(), "kept");
  text = noText;
  EXPECT_TRUE(text.empty());
  text = "again";
  text = noUnits;
  EXPECT_TRUE(text.empty());
  EXPECT_EQ(KELPString().c_str()[0], 0);
  EXPECT_EQ(strNULL[0], 0);
}

TEST(KELPString, ToUTF8EncodesEachUnitAndNeverOverrunsTheBuffer) {
  // A, e acute, euro sign, then a surrogate pair as two 3-byte forms.
  const KELPString text(units({0x41, 0xE9, 0x20AC, 0xD83D, 0xDE00}));
  char buffer[32];
  std::memset(buffer, 'x', sizeof(buffer));
  ASSERT_EQ(text.toUTF8(buffer, 20), 12u);
  EXPECT_EQ(std::string(buffer, 12), "\x41\xC3\xA9\xE2\x82\xAC\xED\xA0\xBD\xED\xB8\x80");
  EXPECT_EQ(std::string(buffer + 12, 8), std::string(8, '\0'));
  EXPECT_EQ(buffer[20], 'x');

  // Too little room: only whole units, the rest zero, nothing past size.
  std::memset(buffer, 'x', sizeof(buffer));
  EXPECT_EQ(text.toUTF8(buffer, 5), 3u);
  EXPECT_EQ(std::string(buffer, 5), std::string("\x41\xC3\xA9\0\0", 5));
  EXPECT_EQ(buffer[5], 'x');
  std::memset(buffer, 'x', sizeof(buffer));
  EXPECT_EQ(text.toUTF8(buffer, 0), 0u);
  EXPECT_EQ(buffer[0], 'x');
  // Exactly the room the text needs: whole, but without a terminator.
  EXPECT_EQ(KELPString("ab").toUTF8(buffer, 2), 2u);
}

TEST(KELPString, AutomationStringsAndCopiesCarryEveryUnit) {
  const KELPString text(units({'a', 0, 'b'}));
  unsigned short* bstr = nullptr;
  text.createBSTR(&bstr);
  ASSERT_NE(bstr, nullptr);
  std::uint32_t byteLength = 0;
  std::memcpy(&byteLength, reinterpret_cast<unsigned char*>(bstr) - 4, 4);
  EXPECT_EQ(byteLength, 6u);
  EXPECT_EQ(bstr[3], 0);
  KELPString back("previous");
  EXPECT_EQ(back.fillFromBSTR(bstr), 3u);
  EXPECT_EQ(back, text);
  basalt::platform::SysFreeString(bstr);

  KELPString().createBSTR(&bstr);
  ASSERT_NE(bstr, nullptr);
  EXPECT_EQ(basalt::platform::SysStringLen(bstr), 0u);
  basalt::platform::SysFreeString(bstr);

  EXPECT_EQ(back.fillFromBSTR(nullptr), 0u);
  EXPECT_EQ(back, text);

  unsigned short* copy = text.strdup();
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(Units(copy, 4), units({'a', 0, 'b', 0}));
  std::free(copy);
}

} // namespace
