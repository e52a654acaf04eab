// The file-system operations of the layer: directory searches, the temporary directory and
// text streams.

#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/runtime/find_files.h"
#include "basalt/platform/runtime/temp_path.h"
#include "basalt/platform/runtime/text_stream.h"
#include "tests/support/scratch_directory.h"

#include <cerrno>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace plat = basalt::platform;
using basalt::test::EnvironmentVariable;
using basalt::test::narrow;
using basalt::test::ScratchDirectory;
using basalt::test::units;
using basalt::test::Units;
using basalt::test::wide;

namespace {

using Names = std::vector<std::string>;

Names error(plat::DWORD code) {
  return {"error " + std::to_string(code)};
}

// The names a search gives, in its order, with '/' after a directory; the error when it
// gives nothing.
Names find(const std::string& pattern) {
  plat::WIN32_FIND_DATAW data;
  const plat::HANDLE find = plat::FindFirstFileW(wide(pattern).c_str(), &data);
  if (find == plat::INVALID_HANDLE_VALUE) {
    return error(plat::GetLastError());
  }
  Names names;
  do {
    const plat::DWORD kind = data.dwFileAttributes;
    names.push_back(narrow(Units(data.cFileName)) + (kind == plat::FILE_ATTRIBUTE_DIRECTORY ? "/"
                                                     : kind == plat::FILE_ATTRIBUTE_NORMAL  ? ""
                                                                                            : "?"));
  } while (plat::FindNextFileW(find, &data) != 0);
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_NO_MORE_FILES);
  EXPECT_NE(plat::FindClose(find), 0);
  return names;
}

class FindFilesTest : public ::testing::Test {
protected:
  void SetUp() override {
    for (const char* name : {"x.tar.gz", "b.TXT", "readme", "ab.txt", "\xC3\xA9.txt", "a.txt"}) {
      dir.write(name, "");
    }
    std::filesystem::create_directory(dir.path() / "sub.d");
  }

  std::string in(const std::string& pattern) const { return dir.library(pattern); }

  ScratchDirectory dir;
};

TEST_F(FindFilesTest, WildcardsKeepTheirWindowsMeaning) {
  const Names all = {"./",     "../",    "a.txt",    "ab.txt",      "b.TXT",
                     "readme", "sub.d/", "x.tar.gz", "\xC3\xA9.txt"};
  EXPECT_EQ(find(in("*.*")), all);
  EXPECT_EQ(find(in("*")), all);
  // Case-sensitive, and '?' is one character even when it takes two bytes.
  EXPECT_EQ(find(in("*.txt")), (Names{"a.txt", "ab.txt", "\xC3\xA9.txt"}));
  EXPECT_EQ(find(in("?.txt")), (Names{"a.txt", "\xC3\xA9.txt"}));
  // '?' before a dot may match nothing; so may a dot at the end before '*'.
  EXPECT_EQ(find(in("ab?.txt")), (Names{"ab.txt"}));
  EXPECT_EQ(find(in("readme.*")), (Names{"readme"}));
  // "*." wants names without a dot, and the two dot entries count as such.
  EXPECT_EQ(find(in("*.")), (Names{"./", "../", "readme"}));
  // '*' crosses dots.
  EXPECT_EQ(find(in("x.*")), (Names{"x.tar.gz"}));
  EXPECT_EQ(find(in("*b*")), (Names{"ab.txt", "b.TXT", "sub.d/"}));
  // Without wildcards, just that entry.
  EXPECT_EQ(find(in("sub.d")), (Names{"sub.d/"}));
  EXPECT_EQ(find(in("sub.d\\..")), (Names{"../"}));
  // A name that is no UTF-8 comes back with replacement characters.
  dir.write("bad\xFF\xFE.log", "");
  EXPECT_EQ(find(in("*.log")), (Names{"bad\xEF\xBF\xBD\xEF\xBF\xBD.log"}));
}

TEST_F(FindFilesTest, FailuresSayWhatIsMissing) {
  EXPECT_EQ(find(in("A.TXT")), error(plat::ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(find(in("*.none")), error(plat::ERROR_FILE_NOT_FOUND));
  // A pattern that backtracking would take ages over.
  dir.write(std::string(200, 'a'), "");
  EXPECT_EQ(find(in("*a*a*a*a*a*a*a*a*a*a*a*a*b")), error(plat::ERROR_FILE_NOT_FOUND));
  // A path that ends in its separator names no entry.
  EXPECT_EQ(find(in("sub.d\\")), error(plat::ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(find(in("missing\\*")), error(plat::ERROR_PATH_NOT_FOUND));
  EXPECT_EQ(find(in("missing\\a.txt")), error(plat::ERROR_PATH_NOT_FOUND));
  EXPECT_EQ(find(""), error(plat::ERROR_PATH_NOT_FOUND));

  plat::WIN32_FIND_DATAW data;
  EXPECT_EQ(plat::FindNextFileW(plat::INVALID_HANDLE_VALUE, &data), 0);
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_INVALID_HANDLE);
  EXPECT_EQ(plat::FindClose(nullptr), 0);
}

std::string tempPath() {
  plat::WCHAR buffer[1024];
  const plat::DWORD length = plat::GetTempPathW(1024, buffer);
  return narrow(Units(buffer, length));
}

TEST(GetTempPathW, TmpDirCountsWhenItIsADirectory) {
  ScratchDirectory dir;
  // Without its closing '/', the closing '\' comes anyway.
  for (const std::string& usable : {dir.os(""), dir.path().string()}) {
    const EnvironmentVariable variable("TMPDIR", usable.c_str());
    EXPECT_EQ(tempPath(), dir.library("")) << usable;
  }
  dir.write("file", "");
  const std::string file = dir.os("file");
  for (const char* unusable : {static_cast<const char*>(""), "/no/such/directory", file.c_str(),
                               static_cast<const char*>(nullptr)}) {
    const EnvironmentVariable variable("TMPDIR", unusable);
    EXPECT_EQ(tempPath(), "\\tmp\\") << (unusable == nullptr ? "unset" : unusable);
  }

  // Too small a buffer gets the size needed and nothing written.
  const EnvironmentVariable unset("TMPDIR", nullptr);
  plat::WCHAR buffer[6] = {'x', 'x', 'x', 'x', 'x', 'x'};
  EXPECT_EQ(plat::GetTempPathW(5, buffer), 6U);
  EXPECT_EQ(buffer[0], 'x');
  EXPECT_EQ(plat::GetTempPathW(6, buffer), 5U);
  EXPECT_EQ(narrow(Units(buffer)), "\\tmp\\");
}

TEST(TextStreamTest, OpensLibraryPathsAndWritesWhereTheReaderStopped) {
  ScratchDirectory dir;
  const Units name = wide(dir.library("\xC3\xA9t\xC3\xA9.log"));
  plat::FILE* stream = plat::_wfopen(name.c_str(), units(u"a+, ccs=UTF-16LE").c_str());
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(plat::fputws(units(u"\u00E9\n").c_str(), stream), 0);
  EXPECT_EQ(plat::fclose(stream), 0);
  EXPECT_EQ(dir.read("\xC3\xA9t\xC3\xA9.log"), "\xC3\xA9\n");

  errno = 0;
  EXPECT_EQ(plat::_wfopen(name.c_str(), units(u"").c_str()), nullptr);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(plat::_wfopen(name.c_str(), units(u"\u00E9").c_str()), nullptr);
  EXPECT_EQ(plat::fopen(dir.library("missing\\x.log").c_str(), "w"), nullptr);
  EXPECT_EQ(errno, ENOENT);

  // Decoding reads ahead of the character it gives; a write must not land behind that.
  dir.write("f.txt", "\xC3\xA9\nabc");
  stream = plat::fopen(dir.library("f.txt").c_str(), "r+");
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(plat::fgetwc(stream), 0xE9);
  EXPECT_EQ(plat::fgetwc(stream), '\n');
  EXPECT_EQ(plat::fputws(units(u"X").c_str(), stream), 0);
  EXPECT_EQ(plat::fflush(stream), 0);
  EXPECT_EQ(plat::fgetwc(stream), 'b');
  EXPECT_EQ(plat::fclose(stream), 0);
  EXPECT_EQ(dir.read("f.txt"), "\xC3\xA9\nXbc");
}

} // namespace
