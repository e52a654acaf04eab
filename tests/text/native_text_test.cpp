// The native code page and language are settled once per process from the locale read at
// load, so each locale is checked in a child process of this test program started with it.

#include "basalt/platform/nls/locale.h"
#include "basalt/text/kelp_string.h"
#include "basalt/text/system_locale_info.h"
#include "basalt/text/thread_locale.h"
#include "tests/support/child_process.h"

#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

namespace {

using Units = std::basic_string<unsigned short>;

// "language page locale" as the child must find them.
const char* expectedLocale() {
  return std::getenv("BASALT_TEST_EXPECT_LOCALE");
}

// Runs only in the child processes of NativeText.FollowsTheLocaleReadAtLoad, whose locale
// environment was set before the library loaded; it is registered there alone.
class NativeTextInChild : public ::testing::Test {
public:
  void TestBody() override;
};

void NativeTextInChild::TestBody() {
  // Text in the pages of the test locales: "both" ways, or "to units" or "to bytes" only.
  const struct {
    int page;
    const char* way;
    std::string bytes;
    Units units;
  } pageTexts[] = {
      {932, "both", "\x82\xA0\x41\xB1", {0x3042, 0x41, 0xFF71}}, // two bytes, one unit
      {932, "to units", "A\x82", {'A', 0xFFFD}}, // a lead byte with nothing behind it
      {932, "to bytes", "a?", {'a', 0x00E9}},    // no form in the page: the default character
      {65001, "both", "caf\xC3\xA9 \xF0\x9F\x98\x80", {'c', 'a', 'f', 0xE9, ' ', 0xD83D, 0xDE00}},
      // Each byte that starts no character gives one replacement, and the text goes on.
      {65001, "to units", "a\xC0\x80z", {'a', 0xFFFD, 0xFFFD, 'z'}},
      {65001, "to bytes", "?a", {0xDC00, 'a'}}, // a lone surrogate
      {1252, "both", "\x80\xE9z", {0x20AC, 0xE9, 'z'}},
      {1252, "both", "\x81\x9D", {0x81, 0x9D}}, // the bytes 1252 leaves undefined are C1 controls
      {1252, "to bytes", "?", {0x3042}},
      {28591, "both", "\x80\xE9", {0x80, 0xE9}},
      {1251, "both", "\xC0", {0x410}},
      // iconv's converters for 1258 and 1255 hold base letters back for combining marks and
      // write some letters as a base and a mark; one character must still be one byte.
      {1258, "both", "\xC3", {0x0102}},
      {1258, "to bytes", "?", {0x00C3}}, // only as 'A' and a combining tilde
      {1255, "both", "\xE0", {0x05D0}},
      {936, "both", "\xD6\xD0", {0x4E2D}},
      {949, "both", "\xC7\xD1", {0xD55C}},
      {950, "both", "\xA4\xA4", {0x4E2D}},
  };
  char locale[8];
  std::snprintf(locale, sizeof locale, "%04X", KELPGetThreadLocale());
  ASSERT_EQ(std::string(getSystemLanguage()) + " " + std::to_string(getSystemCodePage()) + " " +
                locale,
            expectedLocale());
  // Paths are converted in the layer's page: it must be the library's.
  EXPECT_EQ(basalt::platform::GetACP(), static_cast<unsigned int>(getSystemCodePage()));
  for (const auto& text : pageTexts) {
    if (text.page != getSystemCodePage()) {
      continue;
    }
    const std::string way = text.way;
    if (way != "to bytes") {
      EXPECT_EQ(KELPString(text.bytes.c_str()), KELPString(text.units)) << text.bytes;
    }
    if (way != "to units") {
      EXPECT_EQ(KELPString(text.units).string(), text.bytes) << text.bytes;
    }
  }
}

// Registered at static initialisation, as gtest's own TEST does.
const bool childTestRegistered = // NOLINT(cert-err58-cpp)
    expectedLocale() != nullptr &&
    ::testing::RegisterTest("NativeTextInChild", "ConvertsInTheProcessCodePage", nullptr, nullptr,
                            __FILE__, __LINE__,
                            []() -> ::testing::Test* { return new NativeTextInChild; }) != nullptr;

// LC_ALL before LC_CTYPE or LC_MESSAGES before LANG; the language follows messages and the page
// character types, unless BASALT_CODEPAGE names a page the conversions know.
TEST(NativeText, FollowsTheLocaleReadAtLoad) {
  const struct {
    const char* environment; // NAME=value pairs; the others are unset
    const char* locale;
  } cases[] = {
      {"LANG=en_US.UTF-8", "ENU 65001 0409"},
      {"LANG=en_GB.ISO-8859-1", "ENG 28591 0809"},
      {"LANG=de_DE", "DEU 1252 0407"},
      {"LANG=fr_FR.UTF-8@euro", "FRA 65001 040C"},
      {"LANG=ja_JP.SJIS", "JPN 932 0411"},
      {"LANG=ja_JP", "JPN 932 0411"},
      {"LANG=zh_CN.GBK", "CHS 936 0804"},
      {"LANG=zh_TW", "CHT 950 0404"},
      {"LANG=ko_KR", "KOR 949 0412"},
      {"LANG=ru_RU", "RUS 1251 0419"},
      {"LANG=he_IL", "HEB 1255 040D"},
      {"LANG=vi_VN", "VIT 1258 042A"},
      {"LANG=C", "ENU 65001 0409"},
      {"LANG=de_XX.UTF-8", "DEU 65001 0407"},
      {"LANG=xx_YY", "ENU 1252 0409"},
      {"LANG=ja_JP.SJIS LC_CTYPE=de_DE.ISO-8859-1 LC_MESSAGES=fr_FR.UTF-8", "FRA 28591 040C"},
      {"LANG=ja_JP.SJIS LC_CTYPE=de_DE.ISO-8859-1 LC_ALL=en_GB.UTF-8", "ENG 65001 0809"},
      {"LC_ALL=en_GB.UTF-8 BASALT_CODEPAGE=932", "ENG 932 0809"},
      {"LANG=fr_FR.UTF-8 BASALT_CODEPAGE=65001", "FRA 65001 040C"},
      // A page the conversions don't know would lose text: the locale decides.
      {"LC_ALL=en_GB.UTF-8 BASALT_CODEPAGE=abc", "ENG 65001 0809"},
      {"LC_ALL=en_GB.UTF-8 BASALT_CODEPAGE=12345", "ENG 65001 0809"},
      {"LC_ALL=en_GB.UTF-8 BASALT_CODEPAGE=-1", "ENG 65001 0809"},
  };
  for (const auto& c : cases) {
    std::vector<std::string> environment{
        "LANG=", "LC_ALL=", "LC_CTYPE=", "LC_MESSAGES=", "BASALT_CODEPAGE="};
    std::istringstream given(c.environment);
    for (std::string pair; given >> pair;) {
      for (std::string& variable : environment) {
        variable = pair.rfind(variable, 0) == 0 ? pair : variable;
      }
    }
    environment.push_back(std::string("BASALT_TEST_EXPECT_LOCALE=") + c.locale);
    const basalt::test::ChildResult child = basalt::test::runChild(
        {"/proc/self/exe", "--gtest_filter=NativeTextInChild.*"}, environment);
    EXPECT_EQ(child.exitCode, 0) << c.environment << "\n" << child.output;
    EXPECT_NE(child.output.find("[  PASSED  ] 1 test"), std::string::npos) << child.output;
  }
}

} // namespace
