#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/nls/code_pages.h"

#include <gtest/gtest.h>
#include <string>

namespace {

namespace plat = basalt::platform;
using Units = std::basic_string<plat::WCHAR>;

constexpr plat::DWORD strict = plat::MB_PRECOMPOSED | plat::MB_ERR_INVALID_CHARS;

Units toUnits(plat::UINT page, const std::string& bytes, plat::DWORD flags = strict) {
  plat::WCHAR buffer[16];
  const int count = plat::MultiByteToWideChar(page, flags, bytes.data(),
                                              static_cast<int>(bytes.size()), buffer, 16);
  return Units(buffer, buffer + count);
}

// The bytes, with "(default)" behind them when the default character stood in for one
// (which Windows doesn't say for UTF-8).
std::string toBytes(plat::UINT page, const Units& units) {
  char buffer[16];
  plat::BOOL usedDefault = plat::FALSE;
  const int count =
      plat::WideCharToMultiByte(page, 0, units.data(), static_cast<int>(units.size()), buffer, 16,
                                nullptr, page == plat::CP_UTF8 ? nullptr : &usedDefault);
  return std::string(buffer, buffer + count) + (usedDefault ? "(default)" : "");
}

TEST(CodePages, SingleBytePageMapsBothWays) {
  EXPECT_EQ(toUnits(1252, "\x80\xE9z"), (Units{0x20AC, 0xE9, 'z'}));
  EXPECT_EQ(toBytes(1252, Units{0x20AC, 0xE9, 'z'}), "\x80\xE9z");
  EXPECT_EQ(toUnits(28591, "\x80\xE9"), (Units{0x80, 0xE9}));
  // The bytes 1252 leaves undefined are the C1 controls, both ways.
  EXPECT_EQ(toUnits(1252, "\x81\x9D"), (Units{0x81, 0x9D}));
  EXPECT_EQ(toBytes(1252, Units{0x81, 0x9D}), "\x81\x9D");
  EXPECT_EQ(toUnits(1251, "\xC0"), (Units{0x410}));
  // No form in the page: the default character, and the caller is told.
  EXPECT_EQ(toBytes(1252, Units{0x3042}), "?(default)");
  EXPECT_FALSE(plat::IsDBCSLeadByteEx(1252, 0x82));

  // iconv's converters for 1258 and 1255 hold base letters back for combining marks and write
  // some letters as a base and a mark; one character must still be one byte each way.
  EXPECT_EQ(toUnits(1258, "\xC3"), (Units{0x0102}));
  EXPECT_EQ(toUnits(1255, "\xE0"), (Units{0x05D0}));
  EXPECT_EQ(toBytes(1258, Units{0x00C3}), "?(default)"); // only as 'A' and a combining tilde
}

TEST(CodePages, DoubleBytePagesTakeTwoBytesPerCharacter) {
  EXPECT_TRUE(plat::IsDBCSLeadByteEx(932, 0x82));
  EXPECT_TRUE(plat::IsDBCSLeadByteEx(932, 0xE0));
  EXPECT_FALSE(plat::IsDBCSLeadByteEx(932, 0xB1)); // half-width katakana stand alone
  EXPECT_FALSE(plat::IsDBCSLeadByteEx(932, 'A'));
  EXPECT_EQ(toUnits(932, "\x82\xA0"
                         "A\xB1"),
            (Units{0x3042, 'A', 0xFF71}));
  EXPECT_EQ(toBytes(932, Units{0x3042, 'A', 0xFF71}), "\x82\xA0"
                                                      "A\xB1");
  EXPECT_EQ(toUnits(936, "\xD6\xD0"), (Units{0x4E2D}));
  EXPECT_EQ(toUnits(949, "\xC7\xD1"), (Units{0xD55C}));
  EXPECT_EQ(toUnits(950, "\xA4\xA4"), (Units{0x4E2D}));
  EXPECT_EQ(toBytes(949, Units{0xD55C}), "\xC7\xD1");

  // A lead byte at the end starts no character.
  plat::SetLastError(0);
  EXPECT_EQ(toUnits(932, "A\x82"), Units());
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_NO_UNICODE_TRANSLATION);
  EXPECT_EQ(toUnits(932, "A\x82", plat::MB_PRECOMPOSED), (Units{'A', 0xFFFD}));
}

TEST(CodePages, Utf8IsStrict) {
  EXPECT_EQ(toUnits(plat::CP_UTF8, "\xC3\xA9\xF0\x9F\x98\x80"), (Units{0xE9, 0xD83D, 0xDE00}));
  EXPECT_EQ(toBytes(plat::CP_UTF8, Units{0xE9, 0xD83D, 0xDE00}), "\xC3\xA9\xF0\x9F\x98\x80");
  EXPECT_EQ(toBytes(plat::CP_UTF8, Units{0xDC00, 'a'}), "?a"); // a lone surrogate
  for (const char* malformed : {"\xC0\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xE2\x82"}) {
    EXPECT_EQ(toUnits(plat::CP_UTF8, malformed), Units()) << malformed;
  }
  EXPECT_EQ(toUnits(plat::CP_UTF8, "\xC0\x80", plat::MB_PRECOMPOSED), (Units{0xFFFD, 0xFFFD}));
}

} // namespace
