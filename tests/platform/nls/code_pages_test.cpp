// What the library's text can't see of the conversions: the code of a strict failure, which
// it turns into replacements of its own, and the replacements of the lenient form that paths
// use. Each page's characters are checked through KELPString in tests/text.

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
