#include "basalt/system/file_locator.h"
#include "tests/support/scratch_directory.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <vector>

using basalt::FileLocator;
using basalt::test::narrow;
using basalt::test::ScratchDirectory;

namespace {

// The five fields, in field order, as UTF-8 joined by '|'.
std::string fields(const FileLocator& locator) {
  return narrow(locator.getName()) + "|" + narrow(locator.getExtension()) + "|" +
         narrow(locator.getFileName()) + "|" + narrow(locator.getLocation()) + "|" +
         narrow(locator.getFullFileName());
}

// The names listed behind what out held, joined by '|'; "<none>" when nothing matched.
std::string listed(const FileLocator& locator, int strip = 0, std::vector<KELPString> out = {}) {
  const int result = locator.listFiles(out, strip);
  std::string names;
  for (std::size_t i = 0; i < out.size(); ++i) {
    names += (i == 0 ? "" : "|") + narrow(out[i]);
  }
  return result == 0 ? names + "<none>" : names;
}

FileLocator at(const std::string& path) {
  return FileLocator(KELPString(path.c_str()));
}

TEST(FileLocatorTest, FullPathSplitsAtTheLastBackslashAndThenTheLastDot) {
  const struct {
    const char* path;
    const char* fields;
  } cases[] = {
      {"C:\\dir\\file.txt", "file|txt|file.txt|C:\\dir|C:\\dir\\file.txt"},
      {"C:\\dir\\", "|||C:\\dir|C:\\dir\\"},
      {"\\file.txt", "file|txt|file.txt||file.txt"},
      {"dir.d\\file", "file||file|dir.d|dir.d\\file"},
      {"a/b.txt", "a/b|txt|a/b.txt||a/b.txt"},
      {"x.", "x||x||x"},
      {"a.b.c", "a.b|c|a.b.c||a.b.c"},
      {"", "||||"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(fields(at(c.path)), c.fields) << c.path;
  }
}

TEST(FileLocatorTest, FileNameSplitsAtTheFirstDotAndLocationLosesOneClosingBackslash) {
  FileLocator locator = at("loc\\old.ext");
  locator.setFileName("a.b.c");
  EXPECT_EQ(fields(locator), "a|b.c|a.b.c|loc|loc\\a.b.c");
  locator.setFileName("plain"); // keeps the old extension
  EXPECT_EQ(fields(locator), "plain|b.c|plain.b.c|loc|loc\\plain.b.c");
  locator.setFileName(".txt");
  EXPECT_EQ(fields(locator), "|txt|.txt|loc|loc\\.txt");

  locator.setLocation("C:\\");
  EXPECT_EQ(narrow(locator.getFullFileName()), "C:\\.txt");
  locator.setLocation("d\\\\");
  EXPECT_EQ(narrow(locator.getFullFileName()), "d\\\\.txt");
  locator.setLocation("\\");
  EXPECT_EQ(locator.isLocationSet(), 0);
  EXPECT_EQ(narrow(locator.getFullFileName()), ".txt");
}

TEST(FileLocatorTest, ListFilesMatchesWildcardsAsWindowsDoes) {
  ScratchDirectory dir;
  for (const char* name :
       {"x.tar.gz", "b.TXT", "readme", "ab.txt", "\xC3\xA9.txt", "a.txt", "bad\xFF\xFE.log"}) {
    dir.write(name, "");
  }
  std::filesystem::create_directories(dir.path() / "sub.d" / "long");
  dir.write("sub.d/long/" + std::string(200, 'a'), "");
  const std::string all = ".|..|a.txt|ab.txt|b.TXT|bad\xEF\xBF\xBD\xEF\xBF\xBD.log|readme|sub.d|"
                          "x.tar.gz|\xC3\xA9.txt";
  const struct {
    const char* pattern;
    std::string names;
  } cases[] = {
      {"*.*", all},
      {"*", all},
      {"*.txt", "a.txt|ab.txt|\xC3\xA9.txt"}, // case-sensitive
      {"?.txt", "a.txt|\xC3\xA9.txt"},        // '?' is one character even when it takes two bytes
      {"ab?.txt", "ab.txt"},                  // '?' before a dot may match nothing...
      {"readme.*", "readme"},                 // ...and so may a dot at the end before '*'
      {"x.*", "x.tar.gz"},                    // '*' crosses dots
      {"*b*", "ab.txt|b.TXT|bad\xEF\xBF\xBD\xEF\xBF\xBD.log|sub.d"},
      {"sub.d", "sub.d"}, // without wildcards, just that entry
      {"A.TXT", "<none>"},
      {"*.none", "<none>"},
      {"sub.d\\long\\*a*a*a*a*a*a*a*a*a*a*a*a*b", "<none>"}, // backtracking would take ages
  };
  for (const auto& c : cases) {
    EXPECT_EQ(listed(at(dir.library(c.pattern))), c.names) << c.pattern;
  }
}

TEST(FileLocatorTest, ListFilesAppendsBareNamesAndStripsAtTheLastDot) {
  ScratchDirectory dir;
  dir.write("a.txt", "");
  dir.write("a.log", "");
  dir.write("b", "");
  FileLocator locator = at(dir.library("*"));
  EXPECT_EQ(listed(locator, 0, {KELPString("kept")}), "kept|.|..|a.log|a.txt|b");
  // Stripping turns the dot entries into "" and ".", and makes duplicates.
  EXPECT_EQ(listed(locator, 1), "|.|a|a|b");
  locator.setName("a");
  locator.setExtension("*");
  EXPECT_EQ(listed(locator), "a.log|a.txt");
  EXPECT_EQ(locator.exists(), 1);

  locator.setExtension("none");
  EXPECT_EQ(listed(locator, 0, {KELPString("kept")}), "kept<none>");
  EXPECT_EQ(locator.exists(), 0);
  EXPECT_EQ(FileLocator().exists(), 0);
  // A directory is an entry like any other, but a path that ends in '\' names none.
  EXPECT_EQ(at(dir.library("")).exists(), 0);
  EXPECT_EQ(at(dir.path().string()).exists(), 1);
}

// The log's tests find its files in $TMPDIR and its libraries beside the loaded library; here
// a long path, which takes a second call, and what doesn't count as a temporary directory.
TEST(FileLocatorTest, TempAndModuleLocationsComeFromTheSystemWithoutTheClosingBackslash) {
  ScratchDirectory dir;
  const std::string deep = "a-directory-with-a-name-longer-than-forty-characters";
  std::filesystem::create_directory(dir.path() / deep);
  dir.write("file", "");
  const struct {
    std::optional<std::string> tmpDir;
    std::string location;
  } cases[] = {{dir.os(deep) + "/", dir.library(deep)},
               {"", "\\tmp"},
               {"/no/such/directory", "\\tmp"},
               {dir.os("file"), "\\tmp"},
               {std::nullopt, "\\tmp"}};
  FileLocator locator = at("x.log");
  for (const auto& c : cases) {
    const basalt::test::EnvironmentVariable variable("TMPDIR",
                                                     c.tmpDir ? c.tmpDir->c_str() : nullptr);
    EXPECT_EQ(locator.setLocationToTemp(), 1);
    EXPECT_EQ(narrow(locator.getFullFileName()), c.location + "\\x.log") << c.location;
  }
  EXPECT_EQ(locator.setLocationToModule("no_such_module"), 0);
  EXPECT_EQ(narrow(locator.getLocation()), "\\tmp");
}

} // namespace
