#include "basalt/system/file_locator.h"
#include "tests/support/scratch_directory.h"

#include <dlfcn.h>
#include <filesystem>
#include <gtest/gtest.h>
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

std::vector<std::string> listed(const FileLocator& locator, int strip,
                                std::vector<KELPString> out = {}) {
  const int result = locator.listFiles(out, strip);
  std::vector<std::string> names;
  names.reserve(out.size() + 1);
  for (const KELPString& name : out) {
    names.push_back(narrow(name));
  }
  if (result == 0) {
    names.push_back("<none>");
  }
  return names;
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
    EXPECT_EQ(fields(FileLocator(KELPString(c.path))), c.fields) << c.path;
  }
}

TEST(FileLocatorTest, FileNameSplitsAtTheFirstDotAndLocationLosesOneClosingBackslash) {
  FileLocator locator(KELPString("loc\\old.ext"));
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

TEST(FileLocatorTest, ListFilesAppendsBareNamesAndStripsAtTheLastDot) {
  ScratchDirectory dir;
  dir.write("a.txt", "");
  dir.write("a.log", "");
  dir.write("b", "");
  FileLocator locator(KELPString(dir.library("*").c_str()));
  EXPECT_EQ(listed(locator, 0, {KELPString("kept")}),
            (std::vector<std::string>{"kept", ".", "..", "a.log", "a.txt", "b"}));
  // Stripping turns the dot entries into "" and ".", and makes duplicates.
  EXPECT_EQ(listed(locator, 1), (std::vector<std::string>{"", ".", "a", "a", "b"}));
  locator.setName("a");
  locator.setExtension("*");
  EXPECT_EQ(listed(locator, 0), (std::vector<std::string>{"a.log", "a.txt"}));
  EXPECT_EQ(locator.exists(), 1);

  locator.setExtension("none");
  EXPECT_EQ(listed(locator, 0, {KELPString("kept")}), (std::vector<std::string>{"kept", "<none>"}));
  EXPECT_EQ(locator.exists(), 0);
  EXPECT_EQ(FileLocator().exists(), 0);
  // A directory is an entry like any other, but a path that ends in '\' names none.
  EXPECT_EQ(FileLocator(KELPString(dir.library("").c_str())).exists(), 0);
  EXPECT_EQ(FileLocator(KELPString(dir.path().c_str())).exists(), 1);
}

TEST(FileLocatorTest, TempAndModuleLocationsComeFromTheSystemWithoutTheClosingBackslash) {
  ScratchDirectory dir;
  // Longer than the first buffer of 40 characters, so that the second call is needed.
  const std::string deep = "a-directory-with-a-name-longer-than-forty-characters";
  std::filesystem::create_directory(dir.path() / deep);
  const basalt::test::EnvironmentVariable variable("TMPDIR", dir.os(deep).c_str());
  FileLocator locator(KELPString("x.log"));
  EXPECT_EQ(locator.setLocationToTemp(), 1);
  EXPECT_EQ(narrow(locator.getFullFileName()), dir.library(deep) + "\\x.log");

  EXPECT_EQ(locator.setLocationToModule("no_such_module"), 0);
  EXPECT_EQ(narrow(locator.getLocation()), dir.library(deep));
  void* library = ::dlopen(BASALT_BINARY_DIR "/basalt/libbasalt.so", RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(library, nullptr) << ::dlerror();
  EXPECT_EQ(locator.setLocationToModule("basalt"), 1);
  ::dlclose(library);
  EXPECT_EQ(narrow(locator.getFullFileName()),
            basalt::test::libraryForm(BASALT_BINARY_DIR "/basalt/x.log"));
}

} // namespace
