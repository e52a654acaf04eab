// The Windows form of the texts and the refusals that SystemSupport::FormatError turns into
// an empty text; the words of every number are checked through it in tests/system.

#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/runtime/system_messages.h"

#include <gtest/gtest.h>
#include <string>

namespace basalt::platform {
namespace {

std::string systemText(DWORD number, DWORD language = 0x400) {
  LPWSTR buffer = reinterpret_cast<LPWSTR>(1);
  const DWORD length =
      FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM, nullptr, number,
                     language, reinterpret_cast<LPWSTR>(&buffer), 0, nullptr);
  if (length == 0) {
    EXPECT_EQ(buffer, nullptr);
    return {};
  }
  std::string text(buffer, buffer + length);
  EXPECT_EQ(buffer[length], 0);
  LocalFree(buffer);
  return text;
}

TEST(SystemMessages, TextsEndInCrLfAndOtherNumbersLanguagesAndFlagsAreRefused) {
  EXPECT_EQ(systemText(ERROR_BAD_PATHNAME, 0x409), "The specified path is invalid.\r\n");
  EXPECT_EQ(systemText(4), "");
  EXPECT_EQ(GetLastError(), ERROR_MR_MID_NOT_FOUND);
  EXPECT_EQ(systemText(0x80070005), "");
  EXPECT_EQ(systemText(ERROR_FILE_NOT_FOUND, 0x407), "");
  EXPECT_EQ(GetLastError(), ERROR_RESOURCE_LANG_NOT_FOUND);

  WCHAR buffer[64];
  EXPECT_EQ(FormatMessageW(FORMAT_MESSAGE_FROM_HMODULE, nullptr, 2, 0, buffer, 64, nullptr), 0u);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  // Into the caller's buffer: the text and its terminator must fit.
  EXPECT_EQ(FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, 5, 0, buffer, 19, nullptr), 0u);
  EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, 5, 0, buffer, 20, nullptr), 19u);
  EXPECT_EQ(std::string(buffer, buffer + 20), std::string("Access is denied.\r\n") + '\0');
}

} // namespace
} // namespace basalt::platform
