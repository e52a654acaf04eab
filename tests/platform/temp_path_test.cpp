#include "basalt/platform/temp_path.h"
#include "tests/support/scratch_directory.h"

#include <gtest/gtest.h>
#include <string>

namespace plat = basalt::platform;
using basalt::test::narrow;
using basalt::test::ScratchDirectory;
using basalt::test::TmpDirVariable;
using basalt::test::Units;

namespace {

std::string tempPath() {
  plat::WCHAR buffer[1024];
  const plat::DWORD length = plat::GetTempPathW(1024, buffer);
  return narrow(Units(buffer, length));
}

TEST(TempPathTest, TmpDirCountsWhenItIsADirectory) {
  ScratchDirectory dir;
  {
    const TmpDirVariable variable(dir.os("").c_str());
    EXPECT_EQ(tempPath(), dir.library(""));
  }
  {
    // Without its closing '/', the closing '\' comes anyway.
    const TmpDirVariable variable(dir.path().c_str());
    EXPECT_EQ(tempPath(), dir.library(""));
  }
  dir.write("file", "");
  const std::string file = dir.os("file");
  for (const char* unusable : {"", "/no/such/directory", file.c_str()}) {
    const TmpDirVariable variable(unusable);
    EXPECT_EQ(tempPath(), "\\tmp\\") << unusable;
  }
  const TmpDirVariable unset(nullptr);
  EXPECT_EQ(tempPath(), "\\tmp\\");
}

TEST(TempPathTest, TooSmallABufferGetsTheSizeNeededAndNothingWritten) {
  const TmpDirVariable unset(nullptr);
  plat::WCHAR buffer[6] = {'x', 'x', 'x', 'x', 'x', 'x'};
  EXPECT_EQ(plat::GetTempPathW(5, buffer), 6U);
  EXPECT_EQ(buffer[0], 'x');
  EXPECT_EQ(plat::GetTempPathW(6, buffer), 5U);
  EXPECT_EQ(narrow(Units(buffer)), "\\tmp\\");
}

} // namespace
