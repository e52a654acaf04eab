// What the library's file locator and text files can't see of the layer's file operations:
// the codes of failed searches and wide opens. Wildcards, the temporary
// directory and reading and writing a stream are checked through them in tests/system.

#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/runtime/find_files.h"
#include "basalt/platform/runtime/text_stream.h"
#include "tests/support/scratch_directory.h"

#include <cerrno>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>

namespace plat = basalt::platform;
using basalt::test::ScratchDirectory;
using basalt::test::units;
using basalt::test::wide;

namespace {

// Patterns the file locator can't pass on (it drops a closing dot), and the codes it turns into
// a plain failure.
TEST(FindFiles, DotPatternsAndFailures) {
  ScratchDirectory dir;
  dir.write("a.txt", "");
  dir.write("readme", "");
  std::filesystem::create_directory(dir.path() / "sub.d");
  // The names found; the error when nothing is found.
  const auto find = [&dir](const std::string& pattern) {
    plat::WIN32_FIND_DATAW data;
    const plat::HANDLE find = plat::FindFirstFileW(wide(dir.library(pattern)).c_str(), &data);
    if (find == plat::INVALID_HANDLE_VALUE) {
      return "error " + std::to_string(plat::GetLastError());
    }
    std::string names;
    do {
      names += basalt::test::narrow(basalt::test::Units(data.cFileName)) + " ";
    } while (plat::FindNextFileW(find, &data) != 0);
    EXPECT_EQ(plat::GetLastError(), plat::ERROR_NO_MORE_FILES);
    EXPECT_NE(plat::FindClose(find), 0);
    return names;
  };
  EXPECT_EQ(find("*."), ". .. readme "); // no dot, and the two dot entries count as such
  EXPECT_EQ(find("sub.d\\.."), ".. ");
  EXPECT_EQ(find("missing.txt"), "error 2");
  EXPECT_EQ(find("missing\\*"), "error 3");
  EXPECT_EQ(find("missing\\a.txt"), "error 3");
  plat::WIN32_FIND_DATAW data;
  EXPECT_EQ(plat::FindFirstFileW(units(u"").c_str(), &data), plat::INVALID_HANDLE_VALUE);
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_PATH_NOT_FOUND);
  EXPECT_EQ(plat::FindNextFileW(plat::INVALID_HANDLE_VALUE, &data), 0);
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_INVALID_HANDLE);
  EXPECT_EQ(plat::FindClose(nullptr), 0);
}

// The crash report opens its file by a wide name, with a mode that may carry a ccs flag.
TEST(TextStream, WideOpensTakeLibraryPathsAndWriteUtf8WhateverTheMode) {
  ScratchDirectory dir;
  const auto open = [&dir](const char16_t* mode) {
    return plat::_wfopen(wide(dir.library("\xC3\xA9t\xC3\xA9.log")).c_str(), units(mode).c_str());
  };
  plat::FILE* stream = open(u"a+, ccs=UTF-16LE");
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(plat::fputws(units(u"\u00E9\n").c_str(), stream), 0);
  EXPECT_EQ(plat::fclose(stream), 0);
  EXPECT_EQ(dir.read("\xC3\xA9t\xC3\xA9.log"), "\xC3\xA9\n");
  for (const char16_t* mode : {u"", u"\u00E9"}) {
    errno = 0;
    EXPECT_EQ(open(mode), nullptr);
    EXPECT_EQ(errno, EINVAL);
  }
}

} // namespace
