// What the library's KELPGetNumberFormat can't ask for, and a value it doesn't try: the locales'
// forms and the refused values are checked through it in tests/text.

#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/nls/number_format.h"
#include "tests/support/scratch_directory.h"

#include <gtest/gtest.h>

namespace plat = basalt::platform;

namespace {

TEST(GetNumberFormatW, RefusalsGiveWindowsErrors) {
  plat::WCHAR buffer[9];
  const struct {
    plat::LCID locale;
    plat::DWORD flags;
    const char16_t* value;
    int size;
    plat::DWORD error;
  } cases[] = {
      {0x0409, 0, u"1234.5", 8, plat::ERROR_INSUFFICIENT_BUFFER}, // "1,234.50" and a terminator
      {0x0409, 0, u"\u0661", 9, plat::ERROR_INVALID_PARAMETER},   // only Latin digits
      {0x0409, 0, nullptr, 9, plat::ERROR_INVALID_PARAMETER},
      {0x0409, 0, u"1", -1, plat::ERROR_INVALID_PARAMETER},
      {0x1234, 0, u"1", 9, plat::ERROR_INVALID_PARAMETER},
      {0x0409, 0x80000000, u"1", 9, plat::ERROR_INVALID_FLAGS},
  };
  for (const auto& c : cases) {
    plat::SetLastError(0);
    EXPECT_EQ(plat::GetNumberFormatW(c.locale, c.flags, basalt::test::w(c.value), nullptr, buffer,
                                     c.size),
              0);
    EXPECT_EQ(plat::GetLastError(), c.error) << c.error;
  }
}

} // namespace
