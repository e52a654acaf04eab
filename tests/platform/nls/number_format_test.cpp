#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/nls/locale.h"
#include "basalt/platform/nls/number_format.h"

#include <gtest/gtest.h>
#include <string>

namespace plat = basalt::platform;

namespace {

using Wide = std::basic_string<plat::WCHAR>;

Wide wide(const char16_t* text) {
  return Wide(text, text + std::char_traits<char16_t>::length(text));
}

// The formatted text, or "error N" with the last error.
std::u16string format(plat::LCID locale, const char16_t* value,
                      const plat::NUMBERFMTW* rules = nullptr, plat::DWORD flags = 0) {
  plat::WCHAR buffer[64];
  plat::SetLastError(0);
  const int written = plat::GetNumberFormatW(locale, flags, wide(value).c_str(), rules, buffer, 64);
  if (written == 0) {
    const std::string error = "error " + std::to_string(plat::GetLastError());
    return std::u16string(error.begin(), error.end());
  }
  return std::u16string(buffer, buffer + written - 1);
}

TEST(GetNumberFormatW, LocalesGiveSeparatorsAndGrouping) {
  EXPECT_EQ(format(0x0409, u"1234.5"), u"1,234.50");
  EXPECT_EQ(format(0x0407, u"-1234567"), u"-1.234.567,00");
  EXPECT_EQ(format(0x0807, u"1234567.891"), u"1\u2019234\u2019567.89");
  EXPECT_EQ(format(0x040C, u"-12345"), u"-12\u202F345,00");
  EXPECT_EQ(format(0x4009, u"123456789"), u"12,34,56,789.00");
  EXPECT_EQ(format(0x4009, u"999"), u"999.00");
  // The default identifiers stand for the user's locale.
  EXPECT_EQ(format(plat::LOCALE_USER_DEFAULT, u"-1234.5"),
            format(plat::GetUserDefaultLCID(), u"-1234.5"));
}

TEST(GetNumberFormatW, RoundsHalfAwayFromZeroOnTheDigits) {
  EXPECT_EQ(format(0x0409, u"9.995"), u"10.00");
  EXPECT_EQ(format(0x0409, u"-999.995"), u"-1,000.00");
  EXPECT_EQ(format(0x0409, u"0.994999999999999999999"), u"0.99");
  EXPECT_EQ(format(0x0409, u"2.675"), u"2.68"); // 2.67499... as a double
  EXPECT_EQ(format(0x0409, u".5"), u"0.50");
  EXPECT_EQ(format(0x0409, u"0007."), u"7.00");
  EXPECT_EQ(format(0x0409, u"-0.001"), u"0.00");
  EXPECT_EQ(format(0x0409, u"123456789012345678901234567890"),
            u"123,456,789,012,345,678,901,234,567,890.00");
}

TEST(GetNumberFormatW, SizeZeroAsksForTheLengthAndShortBuffersFail) {
  const Wide input = wide(u"1234.5");
  EXPECT_EQ(plat::GetNumberFormatW(0x0409, 0, input.c_str(), nullptr, nullptr, 0), 9);
  plat::WCHAR buffer[9] = {'x', 'x', 'x', 'x', 'x', 'x', 'x', 'x', 'x'};
  plat::SetLastError(0);
  EXPECT_EQ(plat::GetNumberFormatW(0x0409, 0, input.c_str(), nullptr, buffer, 8), 0);
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(plat::GetNumberFormatW(0x0409, 0, input.c_str(), nullptr, buffer, 9), 9);
  EXPECT_EQ(Wide(buffer), wide(u"1,234.50"));

  plat::SetLastError(0);
  EXPECT_EQ(plat::GetNumberFormatW(0x0409, 0, input.c_str(), nullptr, nullptr, 9), 0);
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_INVALID_PARAMETER);
  EXPECT_EQ(plat::GetNumberFormatW(0x0409, 0, input.c_str(), nullptr, buffer, -1), 0);
  EXPECT_EQ(plat::GetNumberFormatW(0x0409, 0, nullptr, nullptr, buffer, 9), 0);
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_INVALID_PARAMETER);
}

TEST(GetNumberFormatW, LocalesFlagsAndBadValuesGiveWindowsErrors) {
  EXPECT_EQ(format(0x1234, u"1"), u"error 87");
  EXPECT_EQ(format(0x0409, u"1", nullptr, 0x1), u"error 1004");
  EXPECT_EQ(format(0x0409, u"1", nullptr, plat::LOCALE_NOUSEROVERRIDE), u"1.00");
  for (const char16_t* bad : {u"", u"-", u".", u"-.", u"--1", u"0-", u"+1", u"1.2.3", u" 0.1",
                              u"1 ", u"23,53", u"1e3", u"\u0661"}) {
    EXPECT_EQ(format(0x0409, bad), u"error 87") << ::testing::PrintToString(std::u16string(bad));
  }
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
