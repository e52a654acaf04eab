#include "basalt/platform/locale.h"
#include "basalt/platform/number_format.h"
#include "basalt/platform/thread_state.h"

#include <gtest/gtest.h>
#include <string>

namespace plat = basalt::platform;

namespace {

using Wide = std::basic_string<plat::WCHAR>;

Wide wide(const char* text) {
  return Wide(text, text + std::char_traits<char>::length(text));
}

// The formatted text, or "error N" with the last error.
std::string format(plat::LCID locale, const char* value, const plat::NUMBERFMTW* rules = nullptr,
                   plat::DWORD flags = 0) {
  const Wide input = wide(value);
  plat::WCHAR buffer[64];
  plat::SetLastError(0);
  const int written = plat::GetNumberFormatW(locale, flags, input.c_str(), rules, buffer, 64);
  if (written == 0) {
    return "error " + std::to_string(plat::GetLastError());
  }
  return std::string(buffer, buffer + written - 1);
}

TEST(GetNumberFormatW, SizeZeroAsksForTheLengthAndShortBuffersFail) {
  const Wide input = wide("1234.5");
  EXPECT_EQ(plat::GetNumberFormatW(0x0409, 0, input.c_str(), nullptr, nullptr, 0), 9);
  plat::WCHAR buffer[9] = {'x', 'x', 'x', 'x', 'x', 'x', 'x', 'x', 'x'};
  plat::SetLastError(0);
  EXPECT_EQ(plat::GetNumberFormatW(0x0409, 0, input.c_str(), nullptr, buffer, 8), 0);
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(plat::GetNumberFormatW(0x0409, 0, input.c_str(), nullptr, buffer, 9), 9);
  EXPECT_EQ(Wide(buffer), wide("1,234.50"));

  plat::SetLastError(0);
  EXPECT_EQ(plat::GetNumberFormatW(0x0409, 0, input.c_str(), nullptr, nullptr, 9), 0);
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_INVALID_PARAMETER);
  EXPECT_EQ(plat::GetNumberFormatW(0x0409, 0, input.c_str(), nullptr, buffer, -1), 0);
  EXPECT_EQ(plat::GetNumberFormatW(0x0409, 0, nullptr, nullptr, buffer, 9), 0);
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_INVALID_PARAMETER);
}

TEST(GetNumberFormatW, LocalesFlagsAndBadValuesGiveWindowsErrors) {
  EXPECT_EQ(format(0x1234, "1"), "error 87");
  EXPECT_EQ(format(0x0409, "1", nullptr, 0x1), "error 1004");
  EXPECT_EQ(format(0x0409, "1", nullptr, plat::LOCALE_NOUSEROVERRIDE), "1.00");
  for (const char* bad : {"", "-", "--1", "0-", "0..", " 0.1", "23,53", "1e3"}) {
    EXPECT_EQ(format(0x0409, bad), "error 87") << bad;
  }
  // The default identifiers stand for the user's locale.
  EXPECT_EQ(format(plat::LOCALE_USER_DEFAULT, "-1234.5"),
            format(plat::GetUserDefaultLCID(), "-1234.5"));
}

TEST(GetNumberFormatW, CallersRulesGroupRoundAndPlaceTheSign) {
  plat::WCHAR dot[] = {'.', 0};
  plat::WCHAR comma[] = {',', 0};
  plat::NUMBERFMTW rules{1, 0, 32, dot, comma, 0};
  EXPECT_EQ(format(0x0409, "123456789.25", &rules), "12,34,56,789.3");
  EXPECT_EQ(format(0x0409, "-1", &rules), "(1.0)");
  EXPECT_EQ(format(0x0409, ".5", &rules), ".5");
  rules.Grouping = 30;
  rules.NegativeOrder = 4;
  EXPECT_EQ(format(0x0409, "-1234567", &rules), "1234,567.0 -");
  rules.Grouping = 0;
  rules.NumDigits = 0;
  rules.NegativeOrder = 2;
  EXPECT_EQ(format(0x0409, "-1234.5", &rules), "- 1235");
  EXPECT_EQ(format(0x0409, "-0.4", &rules), "0");
  EXPECT_EQ(format(0x0409, "1", &rules, plat::LOCALE_NOUSEROVERRIDE), "error 1004");
  rules.NegativeOrder = 5;
  EXPECT_EQ(format(0x0409, "1", &rules), "error 87");
  rules.NegativeOrder = 1;
  rules.lpThousandSep = nullptr;
  EXPECT_EQ(format(0x0409, "1", &rules), "error 87");
}

} // namespace
