#include "basalt/platform/nls/locale.h"
#include "basalt/text/thread_locale.h"

#include <gtest/gtest.h>
#include <thread>

namespace {

constexpr std::uint32_t german = 0x0407;
constexpr std::uint32_t french = 0x040C;

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

TEST(ThreadLocale, RefusedLocaleOrNumberKeepsWhatWasThere) {
  std::thread([] {
    ASSERT_EQ(KELPSetThreadLocale(french), 1);
    EXPECT_EQ(KELPSetThreadLocale(0x1234), 0);
    EXPECT_EQ(KELPGetThreadLocale(), french);
    // The default identifiers stand for the user's locale.
    EXPECT_EQ(KELPSetThreadLocale(0x0400), 1);
    EXPECT_EQ(KELPGetThreadLocale(), basalt::platform::GetUserDefaultLCID());
  }).join();
  KELPString formatted("unchanged");
  EXPECT_EQ(KELPGetNumberFormat("1,234", formatted), 0);
  EXPECT_EQ(formatted, "unchanged");
}

} // namespace
