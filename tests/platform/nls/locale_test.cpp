#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/nls/locale.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <string>

namespace {

namespace plat = basalt::platform;

// The locale functions read the environment on every call; each test sets what it needs.
class Locale : public ::testing::Test {
protected:
  void SetUp() override {
    for (const char* name : {"LC_ALL", "LC_CTYPE", "LC_MESSAGES", "LANG", "BASALT_CODEPAGE"}) {
      unsetenv(name);
    }
  }

  static std::string abbreviation() {
    plat::WCHAR buffer[4] = {};
    plat::GetLocaleInfoW(plat::LOCALE_USER_DEFAULT, plat::LOCALE_SABBREVLANGNAME, buffer, 4);
    return std::string(buffer, buffer + std::char_traits<plat::WCHAR>::length(buffer));
  }

  static int codePage() {
    plat::WCHAR buffer[7] = {};
    plat::GetLocaleInfoW(plat::LOCALE_USER_DEFAULT, plat::LOCALE_IDEFAULTANSICODEPAGE, buffer, 7);
    return plat::_wtoi(buffer);
  }
};

TEST_F(Locale, LanguageAndCodePageComeFromThePosixLocale) {
  struct Case {
    const char* lang;
    const char* abbreviation;
    int codePage;
  };
  for (const Case& c : {
           Case{"en_US.UTF-8", "ENU", 65001},
           Case{"en_GB.ISO-8859-1", "ENG", 28591},
           Case{"de_DE", "DEU", 1252},
           Case{"fr_FR.UTF-8@euro", "FRA", 65001},
           Case{"ja_JP.SJIS", "JPN", 932},
           Case{"ja_JP", "JPN", 932},
           Case{"zh_CN.GBK", "CHS", 936},
           Case{"C", "ENU", 65001},
           Case{"de_XX.UTF-8", "DEU", 65001},
           Case{"xx_YY", "ENU", 1252},
       }) {
    setenv("LANG", c.lang, 1);
    EXPECT_EQ(abbreviation(), c.abbreviation) << c.lang;
    EXPECT_EQ(codePage(), c.codePage) << c.lang;
    EXPECT_EQ(static_cast<int>(plat::GetACP()), c.codePage) << c.lang;
  }
  setenv("LANG", "de_DE.UTF-8", 1);
  EXPECT_EQ(plat::GetUserDefaultLCID(), 0x0407u);
}

TEST_F(Locale, CategoriesAndOverridesTakePrecedenceAndShortBuffersFail) {
  setenv("LANG", "ja_JP.SJIS", 1);
  setenv("LC_CTYPE", "de_DE.ISO-8859-1", 1);
  setenv("LC_MESSAGES", "fr_FR.UTF-8", 1);
  EXPECT_EQ(abbreviation(), "FRA"); // the language follows messages
  EXPECT_EQ(codePage(), 28591);     // the code page follows character types
  setenv("LC_ALL", "en_GB.UTF-8", 1);
  EXPECT_EQ(abbreviation(), "ENG");
  EXPECT_EQ(codePage(), 65001);
  setenv("BASALT_CODEPAGE", "932", 1);
  EXPECT_EQ(codePage(), 932);
  // A value that names no page the conversions know would lose text: the locale decides.
  for (const char* unusable : {"not a number", "12345", "-1"}) {
    setenv("BASALT_CODEPAGE", unusable, 1);
    EXPECT_EQ(codePage(), 65001) << unusable;
  }

  // A short buffer fails and is left untouched.
  plat::WCHAR buffer[3] = {'x', 'x', 'x'};
  plat::SetLastError(0);
  EXPECT_EQ(
      plat::GetLocaleInfoW(plat::LOCALE_USER_DEFAULT, plat::LOCALE_SABBREVLANGNAME, buffer, 3), 0);
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(buffer[0], 'x');
  // Size 0 asks for the room needed.
  EXPECT_EQ(
      plat::GetLocaleInfoW(plat::LOCALE_USER_DEFAULT, plat::LOCALE_SABBREVLANGNAME, nullptr, 0), 4);
  EXPECT_EQ(plat::GetLocaleInfoW(plat::LOCALE_USER_DEFAULT, 0x9999, buffer, 3), 0);
}

} // namespace
