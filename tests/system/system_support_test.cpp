#include "basalt/platform/base/thread_state.h"
#include "basalt/system/system_support.h"

#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace {

TEST(SystemSupport, FormatErrorGivesTheTextWithoutItsLineEndOnAnyThread) {
  KELPString text = "former contents";
  SystemSupport::FormatError(text, 4);
  EXPECT_TRUE(text.empty()); // a number without words
  basalt::platform::SetLastError(193);
  SystemSupport::FormatLastError(text);
  EXPECT_EQ(text, "%1 is not a valid Win32 application.");
  // Every number the platform layer sets has words, on one line.
  for (const std::uint32_t number : {0, 3, 5, 8, 87, 112, 122, 126, 127, 161, 234, 259, 317, 1018,
                                     1113, 1812, 1813, 1814, 1815}) {
    SystemSupport::FormatError(text, number);
    EXPECT_FALSE(text.empty()) << number;
    EXPECT_EQ(text.string().find_first_of("\r\n"), std::string::npos) << number;
  }

  std::vector<std::thread> threads;
  std::vector<KELPString> texts(8);
  for (std::size_t i = 0; i < texts.size(); ++i) {
    threads.emplace_back([&texts, i] {
      for (int n = 0; n < 200; ++n) {
        SystemSupport::FormatError(texts[i], i % 2 == 0 ? 5 : 259);
      }
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  for (std::size_t i = 0; i < texts.size(); ++i) {
    EXPECT_EQ(texts[i], i % 2 == 0 ? "Access is denied." : "No more data is available.");
  }
}

} // namespace
