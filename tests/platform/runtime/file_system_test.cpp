// What the library's file locator can't see of the layer's file searches: the codes of failed
// searches. Wildcards, the temporary directory and reading and writing a stream are checked
// through the file locator and text files in tests/system.

#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/runtime/find_files.h"
#include "tests/support/scratch_directory.h"

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

} // namespace
