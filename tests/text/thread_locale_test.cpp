#include "basalt/platform/locale.h"
#include "basalt/text/thread_locale.h"

#include <gtest/gtest.h>
#include <thread>

namespace {

constexpr std::uint32_t german = 0x0407;
constexpr std::uint32_t english = 0x0409;
constexpr std::uint32_t swissGerman = 0x0807;
constexpr std::uint32_t french = 0x040C;
constexpr std::uint32_t indianEnglish = 0x4009;

// Formats number in locale on a thread of its own, so that no test leaves its locale behind.
KELPString formatIn(std::uint32_t locale, const char* number) {
  KELPString formatted("unchanged");
  std::thread([&] {
    if (KELPSetThreadLocale(locale) == 1) {
      KELPGetNumberFormat(KELPString(number), formatted);
    }
  }).join();
  return formatted;
}

KELPString units(std::initializer_list<unsigned short> list) {
  return KELPString(KELPString::Base(list));
}

TEST(ThreadLocale, BelongsToTheThreadAndNewThreadsStartWithTheUserDefault) {
  const std::uint32_t userDefault = basalt::platform::GetUserDefaultLCID();
  std::uint32_t seenByNewThread = 0;
  std::uint32_t seenAfterSet = 0;
  KELPString formatted;
  std::thread([&] {
    ASSERT_EQ(KELPGetThreadLocale(), userDefault);
    ASSERT_EQ(KELPSetThreadLocale(german), 1);
    seenAfterSet = KELPGetThreadLocale();
    std::thread([&] { seenByNewThread = KELPGetThreadLocale(); }).join();
    KELPGetNumberFormat("1234.5", formatted);
  }).join();
  EXPECT_EQ(seenAfterSet, german);
  EXPECT_EQ(seenByNewThread, userDefault);
  EXPECT_EQ(formatted, "1.234,50");
  EXPECT_EQ(KELPGetThreadLocale(), userDefault);
}

TEST(ThreadLocale, RefusedLocaleKeepsTheOldOne) {
  std::thread([] {
    ASSERT_EQ(KELPSetThreadLocale(french), 1);
    EXPECT_EQ(KELPSetThreadLocale(0x1234), 0);
    EXPECT_EQ(KELPGetThreadLocale(), french);
    // The default identifiers stand for the user's locale.
    EXPECT_EQ(KELPSetThreadLocale(0x0400), 1);
    EXPECT_EQ(KELPGetThreadLocale(), basalt::platform::GetUserDefaultLCID());
  }).join();
}

TEST(NumberFormat, SeparatorsAndGroupingComeFromTheLocale) {
  EXPECT_EQ(formatIn(english, "1234.5"), "1,234.50");
  EXPECT_EQ(formatIn(german, "-1234567"), "-1.234.567,00");
  EXPECT_EQ(formatIn(swissGerman, "1234567.891"),
            units({'1', 0x2019, '2', '3', '4', 0x2019, '5', '6', '7', '.', '8', '9'}));
  EXPECT_EQ(formatIn(french, "-12345"),
            units({'-', '1', '2', 0x202F, '3', '4', '5', ',', '0', '0'}));
  EXPECT_EQ(formatIn(indianEnglish, "123456789"), "12,34,56,789.00");
  EXPECT_EQ(formatIn(indianEnglish, "999"), "999.00");
}

TEST(NumberFormat, RoundsHalfAwayFromZeroOnTheDigits) {
  EXPECT_EQ(formatIn(english, "9.995"), "10.00");
  EXPECT_EQ(formatIn(english, "-999.995"), "-1,000.00");
  EXPECT_EQ(formatIn(english, "0.994999999999999999999"), "0.99");
  EXPECT_EQ(formatIn(english, "2.675"), "2.68"); // 2.67499... as a double
  EXPECT_EQ(formatIn(english, ".5"), "0.50");
  EXPECT_EQ(formatIn(english, "0007."), "7.00");
  EXPECT_EQ(formatIn(english, "-0.001"), "0.00");
  EXPECT_EQ(formatIn(english, "123456789012345678901234567890"),
            "123,456,789,012,345,678,901,234,567,890.00");
}

TEST(NumberFormat, TextThatIsNoNumberLeavesTheResultAlone) {
  for (const char* bad : {"", "-", ".", "-.", "--1", "1-", "+1", "1..2", "1.2.3", " 1", "1 ",
                          "1,234", "1e5", "0x10", "NaN"}) {
    SCOPED_TRACE(bad);
    EXPECT_EQ(formatIn(english, bad), "unchanged");
  }
  const unsigned short arabicIndicOne[] = {0x0661, 0};
  KELPString formatted("unchanged");
  EXPECT_EQ(KELPGetNumberFormat(KELPString(arabicIndicOne), formatted), 0);
  EXPECT_EQ(formatted, "unchanged");
}

} // namespace
