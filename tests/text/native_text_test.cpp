// The native code page is settled once per process from the locale read at load, so each
// code page is checked in a child process of this test program started with that locale.

#include "basalt/text/kelp_string.h"
#include "basalt/text/system_locale_info.h"
#include "tests/support/child_process.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <string>

namespace {

using Units = std::basic_string<unsigned short>;

const char* expectedCodePage() {
  return std::getenv("BASALT_TEST_EXPECT_CODEPAGE");
}

// Runs only in the child processes of NativeText.FollowsTheLocaleReadAtLoad, whose locale
// environment was set before the library loaded; it is registered there alone.
class NativeTextInChild : public ::testing::Test {
public:
  void TestBody() override;
};

void NativeTextInChild::TestBody() {
  ASSERT_EQ(getSystemCodePage(), std::atoi(expectedCodePage()));
  EXPECT_STREQ(getSystemLanguage(), std::getenv("BASALT_TEST_EXPECT_LANGUAGE"));
  switch (getSystemCodePage()) {
  case 932: {
    // A two-byte character becomes one unit; what follows is unaffected.
    const KELPString text("\x82\xA0"
                          "A\xB1");
    EXPECT_EQ(text, KELPString(Units{0x3042, 'A', 0xFF71}));
    EXPECT_EQ(text.string(), "\x82\xA0"
                             "A\xB1");
    // A lead byte with nothing behind it starts no character, and a unit the page can't
    // show comes out as its default character.
    EXPECT_EQ(KELPString("A\x82"), KELPString(Units{'A', 0xFFFD}));
    EXPECT_EQ(KELPString(Units{'a', 0x00E9}).string(), "a?");
    break;
  }
  case 65001: {
    const KELPString text("caf\xC3\xA9 \xF0\x9F\x98\x80");
    EXPECT_EQ(text, KELPString(Units{'c', 'a', 'f', 0xE9, ' ', 0xD83D, 0xDE00}));
    EXPECT_EQ(text.string(), "caf\xC3\xA9 \xF0\x9F\x98\x80");
    // Each byte that starts no character gives one replacement, and the text goes on.
    EXPECT_EQ(KELPString("a\xC0\x80z"), KELPString(Units{'a', 0xFFFD, 0xFFFD, 'z'}));
    break;
  }
  default:
    FAIL() << "no case for code page " << getSystemCodePage();
  }
}

const bool childTestRegistered =
    expectedCodePage() != nullptr &&
    ::testing::RegisterTest("NativeTextInChild", "ConvertsInTheProcessCodePage", nullptr, nullptr,
                            __FILE__, __LINE__,
                            []() -> ::testing::Test* { return new NativeTextInChild; }) != nullptr;

TEST(NativeText, FollowsTheLocaleReadAtLoad) {
  struct Case {
    const char* lang;
    const char* codePage;
    const char* language;
  };
  for (const Case& c : {Case{"ja_JP.SJIS", "932", "JPN"}, Case{"fr_FR.UTF-8", "65001", "FRA"}}) {
    // BASALT_CODEPAGE decides the page, LANG the language.
    const basalt::test::ChildResult child = basalt::test::runChild(
        {"/proc/self/exe", "--gtest_filter=NativeTextInChild.*"},
        {std::string("LANG=") + c.lang,
         "LC_ALL=", "LC_CTYPE=", "LC_MESSAGES=", std::string("BASALT_CODEPAGE=") + c.codePage,
         std::string("BASALT_TEST_EXPECT_CODEPAGE=") + c.codePage,
         std::string("BASALT_TEST_EXPECT_LANGUAGE=") + c.language});
    EXPECT_EQ(child.exitCode, 0) << c.lang << "\n" << child.output;
    EXPECT_NE(child.output.find("[  PASSED  ] 1 test"), std::string::npos) << child.output;
  }
}

} // namespace
