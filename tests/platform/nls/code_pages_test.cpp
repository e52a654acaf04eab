// The native text of the code pages the library's own text doesn't reach in the test
// processes (932 and UTF-8 are checked through KELPString in tests/text).

#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/nls/code_pages.h"

#include <gtest/gtest.h>
#include <string>

namespace {

namespace plat = basalt::platform;
using Units = std::basic_string<plat::WCHAR>;

Units toUnits(plat::UINT page, const std::string& bytes, plat::DWORD flags) {
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

TEST(CodePages, PagesMapCharactersBothWays) {
  const struct {
    plat::UINT page;
    std::string bytes;
    Units units;
  } cases[] = {
      {1252, "\x80\xE9z", {0x20AC, 0xE9, 'z'}},
      {1252, "\x81\x9D", {0x81, 0x9D}}, // the bytes 1252 leaves undefined are the C1 controls
      {28591, "\x80\xE9", {0x80, 0xE9}},
      {1251, "\xC0", {0x410}},
      // iconv's converters for 1258 and 1255 hold base letters back for combining marks and
      // write some letters as a base and a mark; one character must still be one byte.
      {1258, "\xC3", {0x0102}},
      {1255, "\xE0", {0x05D0}},
      {936, "\xD6\xD0", {0x4E2D}},
      {949, "\xC7\xD1", {0xD55C}},
      {950, "\xA4\xA4", {0x4E2D}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(toUnits(c.page, c.bytes, plat::MB_ERR_INVALID_CHARS), c.units) << c.page;
    EXPECT_EQ(toBytes(c.page, c.units), c.bytes) << c.page;
  }
  // No form in the page: the default character, and the caller is told.
  EXPECT_EQ(toBytes(1252, Units{0x3042}), "?(default)");
  EXPECT_EQ(toBytes(1258, Units{0x00C3}), "?(default)");       // only as 'A' and a combining tilde
  EXPECT_EQ(toBytes(plat::CP_UTF8, Units{0xDC00, 'a'}), "?a"); // a lone surrogate
  EXPECT_FALSE(plat::IsDBCSLeadByteEx(1252, 0x82));
  EXPECT_TRUE(plat::IsDBCSLeadByteEx(932, 0xE0));
}

TEST(CodePages, MalformedBytesFailWhenStrictAndBecomeReplacementsOtherwise) {
  // A lead byte at the end, an overlong form, an encoded surrogate, past U+10FFFF, a cut form.
  for (const auto& [page, bytes] : {std::pair<plat::UINT, const char*>{932, "A\x82"},
                                    {plat::CP_UTF8, "\xC0\x80"},
                                    {plat::CP_UTF8, "\xED\xA0\x80"},
                                    {plat::CP_UTF8, "\xF4\x90\x80\x80"},
                                    {plat::CP_UTF8, "\xE2\x82"}}) {
    plat::SetLastError(0);
    EXPECT_EQ(toUnits(page, bytes, plat::MB_ERR_INVALID_CHARS), Units()) << bytes;
    EXPECT_EQ(plat::GetLastError(), plat::ERROR_NO_UNICODE_TRANSLATION) << bytes;
  }
  EXPECT_EQ(toUnits(932, "A\x82", plat::MB_PRECOMPOSED), (Units{'A', 0xFFFD}));
  EXPECT_EQ(toUnits(plat::CP_UTF8, "\xC0\x80", plat::MB_PRECOMPOSED), (Units{0xFFFD, 0xFFFD}));
}

} // namespace
