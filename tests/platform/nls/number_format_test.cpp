// What the library's KELPGetNumberFormat never asks for: callers' rules, flags, short
// buffers, and the error codes it turns into a refusal. The locales' forms are checked
// through it in tests/text.

#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/nls/locale.h"
#include "basalt/platform/nls/number_format.h"
#include "tests/support/scratch_directory.h"

#include <gtest/gtest.h>
#include <string>

namespace plat = basalt::platform;

namespace {

using basalt::test::w;

// The formatted text, or "error N" with the last error.
std::u16string format(plat::LCID locale, const char16_t* value,
                      const plat::NUMBERFMTW* rules = nullptr, plat::DWORD flags = 0) {
  plat::WCHAR buffer[64];
  plat::SetLastError(0);
  const int written = plat::GetNumberFormatW(locale, flags, w(value), rules, buffer, 64);
  if (written == 0) {
    const std::string error = "error " + std::to_string(plat::GetLastError());
    return std::u16string(error.begin(), error.end());
  }
  return std::u16string(buffer, buffer + written - 1);
}

TEST(GetNumberFormatW, BuffersLocalesFlagsAndBadValuesGiveWindowsErrors) {
  plat::WCHAR buffer[9];
  plat::SetLastError(0);
  EXPECT_EQ(plat::GetNumberFormatW(0x0409, 0, w(u"1234.5"), nullptr, buffer, 8), 0);
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_INSUFFICIENT_BUFFER);
  for (const auto& [value, room, size] :
       {std::tuple<const char16_t*, plat::WCHAR*, int>{u"1", nullptr, 9},
        {u"1", buffer, -1},
        {nullptr, buffer, 9}}) {
    plat::SetLastError(0);
    EXPECT_EQ(plat::GetNumberFormatW(0x0409, 0, w(value), nullptr, room, size), 0);
    EXPECT_EQ(plat::GetLastError(), plat::ERROR_INVALID_PARAMETER);
  }
  EXPECT_EQ(format(0x1234, u"1"), u"error 87");
  EXPECT_EQ(format(0x0409, u"1e3"), u"error 87");
  EXPECT_EQ(format(0x0409, u"\u0661"), u"error 87"); // only Latin digits
  EXPECT_EQ(format(0x0409, u"1", nullptr, 0x1), u"error 1004");
  EXPECT_EQ(format(0x0409, u"1", nullptr, plat::LOCALE_NOUSEROVERRIDE), u"1.00");
  // The default identifiers stand for the user's locale.
  EXPECT_EQ(format(plat::LOCALE_USER_DEFAULT, u"-1234.5"),
            format(plat::GetUserDefaultLCID(), u"-1234.5"));
}

TEST(GetNumberFormatW, CallersRulesGroupRoundAndPlaceTheSign) {
  plat::WCHAR dot[] = {'.', 0};
  plat::WCHAR comma[] = {',', 0};
  plat::NUMBERFMTW rules{1, 0, 32, dot, comma, 0};
  EXPECT_EQ(format(0x0409, u"123456789.25", &rules), u"12,34,56,789.3");
  EXPECT_EQ(format(0x0409, u"-1", &rules), u"(1.0)");
  EXPECT_EQ(format(0x0409, u".5", &rules), u".5");
  rules.Grouping = 30;
  rules.NegativeOrder = 4;
  EXPECT_EQ(format(0x0409, u"-1234567", &rules), u"1234,567.0 -");
  rules.Grouping = 0;
  rules.NumDigits = 0;
  rules.NegativeOrder = 2;
  EXPECT_EQ(format(0x0409, u"-1234.5", &rules), u"- 1235");
  EXPECT_EQ(format(0x0409, u"-0.4", &rules), u"0");
  EXPECT_EQ(format(0x0409, u"1", &rules, plat::LOCALE_NOUSEROVERRIDE), u"error 1004");
  rules.NegativeOrder = 5;
  EXPECT_EQ(format(0x0409, u"1", &rules), u"error 87");
  rules.NegativeOrder = 1;
  rules.lpThousandSep = nullptr;
  EXPECT_EQ(format(0x0409, u"1", &rules), u"error 87");
}

} // namespace
