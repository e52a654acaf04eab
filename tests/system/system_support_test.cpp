#include "basalt/platform/thread_state.h"
#include "basalt/system/system_support.h"

#include <cstring>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace {

std::string utf8(const KELPString& text) {
  std::vector<char> buffer(text.size() * 3 + 1);
  text.toUTF8(buffer.data(), static_cast<unsigned int>(buffer.size()));
  return buffer.data();
}

TEST(SystemSupport, FormatErrorGivesTheTextWithoutItsLineEnd) {
  KELPString text = "former contents";
  SystemSupport::FormatError(text, 2);
  EXPECT_EQ(utf8(text), "The system cannot find the file specified.");
  SystemSupport::FormatError(text, 193);
  EXPECT_EQ(utf8(text), "%1 is not a valid Win32 application.");
  SystemSupport::FormatError(text, 4);
  EXPECT_EQ(utf8(text), "");

  basalt::platform::SetLastError(6);
  SystemSupport::FormatLastError(text);
  EXPECT_EQ(utf8(text), "The handle is invalid.");

  std::vector<std::thread> threads;
  std::vector<std::string> texts(8);
  for (std::size_t i = 0; i < texts.size(); ++i) {
    threads.emplace_back([&texts, i] {
      KELPString own;
      for (int n = 0; n < 200; ++n) {
        SystemSupport::FormatError(own, i % 2 == 0 ? 5 : 259);
      }
      texts[i] = utf8(own);
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  for (std::size_t i = 0; i < texts.size(); ++i) {
    EXPECT_EQ(texts[i], i % 2 == 0 ? "Access is denied." : "No more data is available.");
  }
}

TEST(SystemSupport, GenerateGuidGivesNilOrANewRandomGuid) {
  basalt::platform::GUID first;
  std::memset(&first, 0xFF, sizeof(first));
  SystemSupport::GenerateGUID(first, true);
  const basalt::platform::GUID nil{};
  EXPECT_EQ(std::memcmp(&first, &nil, sizeof(first)), 0);

  basalt::platform::GUID second{};
  SystemSupport::GenerateGUID(first, false);
  SystemSupport::GenerateGUID(second, false);
  EXPECT_NE(std::memcmp(&first, &second, sizeof(first)), 0);
  EXPECT_EQ(first.Data3 >> 12, 4);
}

} // namespace
