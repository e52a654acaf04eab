#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/nls/locale.h"
#include "tests/support/scratch_directory.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <string>

namespace {

namespace plat = basalt::platform;

// "language page" of the locale the environment describes now: the functions read it on
// every call.
std::string locale() {
  plat::WCHAR name[4] = {};
  plat::WCHAR page[7] = {};
  plat::GetLocaleInfoW(plat::LOCALE_USER_DEFAULT, plat::LOCALE_SABBREVLANGNAME, name, 4);
  plat::GetLocaleInfoW(plat::LOCALE_USER_DEFAULT, plat::LOCALE_IDEFAULTANSICODEPAGE, page, 7);
  EXPECT_EQ(plat::_wtoi(page), static_cast<int>(plat::GetACP()));
  return std::string(name, name + 3) + " " + std::to_string(plat::_wtoi(page));
}

TEST(Locale, LanguageAndCodePageComeFromThePosixLocaleAndItsOverrides) {
  // Unset for the test, and put back after it.
  const basalt::test::EnvironmentVariable unset[] = {{"LC_ALL", nullptr},
                                                     {"LC_CTYPE", nullptr},
                                                     {"LC_MESSAGES", nullptr},
                                                     {"LANG", nullptr},
                                                     {"BASALT_CODEPAGE", nullptr}};
  const struct {
    const char* lang;
    const char* locale;
  } cases[] = {
      {"en_US.UTF-8", "ENU 65001"}, {"en_GB.ISO-8859-1", "ENG 28591"},
      {"de_DE", "DEU 1252"},        {"fr_FR.UTF-8@euro", "FRA 65001"},
      {"ja_JP.SJIS", "JPN 932"},    {"ja_JP", "JPN 932"},
      {"zh_CN.GBK", "CHS 936"},     {"C", "ENU 65001"},
      {"de_XX.UTF-8", "DEU 65001"}, {"xx_YY", "ENU 1252"},
  };
  for (const auto& c : cases) {
    ::setenv("LANG", c.lang, 1);
    EXPECT_EQ(locale(), c.locale) << c.lang;
  }
  ::setenv("LANG", "de_DE.UTF-8", 1);
  EXPECT_EQ(plat::GetUserDefaultLCID(), 0x0407u);

  ::setenv("LANG", "ja_JP.SJIS", 1);
  ::setenv("LC_CTYPE", "de_DE.ISO-8859-1", 1);
  ::setenv("LC_MESSAGES", "fr_FR.UTF-8", 1);
  EXPECT_EQ(locale(), "FRA 28591"); // the language follows messages, the page character types
  ::setenv("LC_ALL", "en_GB.UTF-8", 1);
  EXPECT_EQ(locale(), "ENG 65001");
  ::setenv("BASALT_CODEPAGE", "932", 1);
  EXPECT_EQ(locale(), "ENG 932");
  // A value that names no page the conversions know would lose text: the locale decides.
  for (const char* unusable : {"not a number", "12345", "-1"}) {
    ::setenv("BASALT_CODEPAGE", unusable, 1);
    EXPECT_EQ(locale(), "ENG 65001") << unusable;
  }
}

} // namespace
