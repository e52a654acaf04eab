#include "basalt/platform/find_files.h"
#include "basalt/platform/thread_state.h"
#include "tests/support/scratch_directory.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace plat = basalt::platform;
using basalt::test::narrow;
using basalt::test::ScratchDirectory;
using basalt::test::Units;
using basalt::test::wide;

namespace {

struct Listing {
  std::vector<std::string> names;
  std::vector<plat::DWORD> attributes;
  plat::DWORD error = plat::ERROR_SUCCESS;
};

// Everything a search gives, in its order; the error when it gives nothing.
Listing find(const std::string& pattern) {
  Listing listing;
  plat::WIN32_FIND_DATAW data;
  const plat::HANDLE find = plat::FindFirstFileW(wide(pattern).c_str(), &data);
  if (find == plat::INVALID_HANDLE_VALUE) {
    listing.error = plat::GetLastError();
    return listing;
  }
  do {
    listing.names.push_back(narrow(Units(data.cFileName)));
    listing.attributes.push_back(data.dwFileAttributes);
  } while (plat::FindNextFileW(find, &data) != 0);
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_NO_MORE_FILES);
  EXPECT_NE(plat::FindClose(find), 0);
  return listing;
}

using Names = std::vector<std::string>;

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

TEST_F(FindFilesTest, StarDotStarAndStarListEveryEntryInNameOrder) {
  const Names all = {".",      "..",    "a.txt",    "ab.txt",      "b.TXT",
                     "readme", "sub.d", "x.tar.gz", "\xC3\xA9.txt"};
  EXPECT_EQ(find(in("*.*")).names, all);
  EXPECT_EQ(find(in("*")).names, all);
}

TEST_F(FindFilesTest, WildcardsKeepTheirWindowsMeaning) {
  // Case-sensitive, and '?' is one character even when it takes two bytes.
  EXPECT_EQ(find(in("*.txt")).names, (Names{"a.txt", "ab.txt", "\xC3\xA9.txt"}));
  EXPECT_EQ(find(in("?.txt")).names, (Names{"a.txt", "\xC3\xA9.txt"}));
  // '?' before a dot may match nothing; so may a dot at the end before '*'.
  EXPECT_EQ(find(in("ab?.txt")).names, (Names{"ab.txt"}));
  EXPECT_EQ(find(in("readme.*")).names, (Names{"readme"}));
  // "*." wants names without a dot, and the two dot entries count as such.
  EXPECT_EQ(find(in("*.")).names, (Names{".", "..", "readme"}));
  // '*' crosses dots.
  EXPECT_EQ(find(in("x.*")).names, (Names{"x.tar.gz"}));
  EXPECT_EQ(find(in("*.gz")).names, (Names{"x.tar.gz"}));
  EXPECT_EQ(find(in("*b*")).names, (Names{"ab.txt", "b.TXT", "sub.d"}));
}

TEST_F(FindFilesTest, NameWithoutWildcardsFindsJustThatEntry) {
  const Listing file = find(in("a.txt"));
  EXPECT_EQ(file.names, (Names{"a.txt"}));
  EXPECT_EQ(file.attributes, (std::vector<plat::DWORD>{plat::FILE_ATTRIBUTE_NORMAL}));
  const Listing directory = find(in("sub.d"));
  EXPECT_EQ(directory.names, (Names{"sub.d"}));
  EXPECT_EQ(directory.attributes, (std::vector<plat::DWORD>{plat::FILE_ATTRIBUTE_DIRECTORY}));
  EXPECT_EQ(find(in("sub.d\\..")).names, (Names{".."}));
}

TEST_F(FindFilesTest, FailuresSayWhatIsMissing) {
  EXPECT_EQ(find(in("A.TXT")).error, plat::ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(find(in("*.none")).error, plat::ERROR_FILE_NOT_FOUND);
  // A pattern that backtracking would take ages over.
  dir.write(std::string(200, 'a'), "");
  EXPECT_EQ(find(in("*a*a*a*a*a*a*a*a*a*a*a*a*b")).error, plat::ERROR_FILE_NOT_FOUND);
  // A path that ends in its separator names no entry.
  EXPECT_EQ(find(in("sub.d\\")).error, plat::ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(find(in("missing\\*")).error, plat::ERROR_PATH_NOT_FOUND);
  EXPECT_EQ(find(in("missing\\a.txt")).error, plat::ERROR_PATH_NOT_FOUND);
  EXPECT_EQ(find("").error, plat::ERROR_PATH_NOT_FOUND);

  plat::WIN32_FIND_DATAW data;
  EXPECT_EQ(plat::FindNextFileW(plat::INVALID_HANDLE_VALUE, &data), 0);
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_INVALID_HANDLE);
  EXPECT_EQ(plat::FindClose(nullptr), 0);
}

TEST_F(FindFilesTest, NameThatIsNoUtf8ComesBackWithReplacementCharacters) {
  dir.write("bad\xFF\xFE.log", "");
  EXPECT_EQ(find(in("*.log")).names, (Names{"bad\xEF\xBF\xBD\xEF\xBF\xBD.log"}));
}

} // namespace
