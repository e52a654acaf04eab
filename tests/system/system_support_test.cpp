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
  basalt::platform::SetLastError(6);
  SystemSupport::FormatLastError(text);
  EXPECT_EQ(text, "The handle is invalid.");

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
