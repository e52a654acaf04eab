#include "basalt/platform/nls/locale.h"
#include "basalt/text/thread_locale.h"

#include <gtest/gtest.h>
#include <thread>

namespace {

constexpr std::uint32_t german = 0x0407;
constexpr std::uint32_t french = 0x040C;

TEST(ThreadLocale, BelongsToTheThreadAndNewThreadsStartWithTheUserDefault) {
  const std::uint32_t userDefault = basalt::platform::GetUserDefaultLCID();
  std::thread([&] {
    EXPECT_EQ(KELPGetThreadLocale(), userDefault);
    EXPECT_EQ(KELPSetThreadLocale(german), 1);
    EXPECT_EQ(KELPGetThreadLocale(), german);
    std::thread([&] { EXPECT_EQ(KELPGetThreadLocale(), userDefault); }).join();
    // A refused locale keeps what was there; the default identifiers stand for the user's.
    EXPECT_EQ(KELPSetThreadLocale(0x1234), 0);
    EXPECT_EQ(KELPGetThreadLocale(), german);
    EXPECT_EQ(KELPSetThreadLocale(0x0400), 1);
    EXPECT_EQ(KELPGetThreadLocale(), userDefault);
  }).join();
}

// Numbers in the thread locale's form, rounded half away from zero on the digits; a refused
// number leaves the text as it was.
TEST(ThreadLocale, NumbersTakeTheFormOfTheThreadsLocale) {
  const struct {
    std::uint32_t locale;
    const char16_t* number;
    const char16_t* text;
  } cases[] = {
      {0x0409, u"1234.5", u"1,234.50"},
      {german, u"-1234567", u"-1.234.567,00"},
      {0x0807, u"1234567.891", u"1\u2019234\u2019567.89"},
      {french, u"-12345", u"-12\u202F345,00"},
      {0x4009, u"123456789", u"12,34,56,789.00"},
      {0x4009, u"999", u"999.00"},
      {0x0409, u"9.995", u"10.00"},
      {0x0409, u"-999.995", u"-1,000.00"},
      {0x0409, u"0.994999999999999999999", u"0.99"},
      {0x0409, u"2.675", u"2.68"}, // 2.67499... as a double
      {0x0409, u".5", u"0.50"},
      {0x0409, u"0007.", u"7.00"},
      {0x0409, u"-0.001", u"0.00"},
      {0x0409, u"123456789012345678901234567890", u"123,456,789,012,345,678,901,234,567,890.00"},
  };
  const char16_t* const refused[] = {u"",      u"-",     u".",     u"-.",    u"--1",
                                     u"0-",    u"+1",    u"1.2.3", u" 0.1",  u"1 ",
                                     u"23,53", u"1,234", u"1e3",   u"\u0661"};
  const auto formatted = [](const char16_t* number) {
    KELPString text("unchanged");
    const int done =
        KELPGetNumberFormat(KELPString(reinterpret_cast<const unsigned short*>(number)), text);
    return (done == 1 ? u"" : u"refused: ") + std::u16string(text.begin(), text.end());
  };
  std::thread([&] {
    for (const auto& c : cases) {
      KELPSetThreadLocale(c.locale);
      EXPECT_EQ(formatted(c.number), c.text) << c.locale;
    }
    for (const char16_t* number : refused) {
      EXPECT_EQ(formatted(number), u"refused: unchanged")
          << ::testing::PrintToString(std::u16string(number));
    }
  }).join();
}

} // namespace
