#include "basalt/system/file.h"
#include "tests/support/scratch_directory.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

using basalt::FileLocator;
using basalt::test::ScratchDirectory;
using basalt::test::units;
using basalt::test::Units;

namespace {

constexpr unsigned short endMarker = 0xFFFF;

class FileTest : public ::testing::Test {
protected:
  FileLocator at(const char* name) const {
    return FileLocator(KELPString(dir.library(name).c_str()));
  }

  ScratchDirectory dir;
};

TEST_F(FileTest, TextGoesOutAsUtf8AndEachBadByteComesBackAsOneReplacement) {
  // Two-byte, three-byte and four-byte characters, and a lone surrogate.
  {
    File file(at("round.txt"));
    ASSERT_TRUE(file.open("w+"));
    file.writeLine(KELPString(units(u"\u00E9\u20AC\U0001F600-\xD800!")));
    file.writeString(KELPString("end"));
  }
  EXPECT_EQ(dir.read("round.txt"), "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80-\xEF\xBF\xBD!\nend");
  File file(at("round.txt"));
  ASSERT_TRUE(file.open("r"));
  KELPString text(units(u"kept:"));
  file.readToEOF(text);
  EXPECT_EQ(text.wstring(), units(u"kept:\u00E9\u20AC\U0001F600-\uFFFD!\nend"));

  // A stray byte, a cut three-byte character before a valid four-byte one, an overlong
  // form, and a four-byte character cut by the end of the file.
  dir.write("bad.txt", "a\xFF\xE2\xF0\x9F\x98\x80"
                       "b\xC0\xAF\xF0\x9F");
  ASSERT_TRUE(file.open("r")); // again: closes the first stream, which a leak check would see
  File bad(at("bad.txt"));
  ASSERT_TRUE(bad.open("r"));
  text.clear();
  bad.readToEOF(text);
  EXPECT_EQ(text.wstring(), units(u"a\uFFFD\uFFFD\U0001F600b\uFFFD\uFFFD\uFFFD\uFFFD"));
}

TEST_F(FileTest, LinesKeepWhatEndedThemAndWritesAreOnDiskWhenTheyReturn) {
  dir.write("lines.txt", "ab\nc");
  File lines(at("lines.txt"));
  ASSERT_TRUE(lines.open("r"));
  KELPString out;
  EXPECT_FALSE(lines.readToEOL(out));
  EXPECT_EQ(out.wstring(), units(u"ab\n"));
  EXPECT_TRUE(lines.readToEOL(out));
  EXPECT_EQ(out.wstring(), (Units{'a', 'b', '\n', 'c', endMarker}));
  out = KELPString("x");
  lines.readToEOF(out);
  EXPECT_TRUE(lines.readToEOL(out));
  EXPECT_EQ(out.wstring(), (Units{'x', endMarker}));

  // Decoding reads ahead of the character it gives; a write must not land behind that.
  dir.write("mixed.txt", "\xC3\xA9\nabc");
  File mixed(at("mixed.txt"));
  ASSERT_TRUE(mixed.open("r+"));
  out.clear();
  EXPECT_FALSE(mixed.readToEOL(out));
  mixed.writeString(KELPString("X"));
  EXPECT_EQ(dir.read("mixed.txt"), "\xC3\xA9\nXbc");
  mixed.readToEOF(out);
  EXPECT_EQ(out.wstring(), units(u"\u00E9\nbc"));
  // Text stops at its first NUL, and the line end with it.
  mixed.writeLine(KELPString(Units{'t', 0, 'u'}));
  EXPECT_EQ(dir.read("mixed.txt"), "\xC3\xA9\nXbct");
  mixed.writeLine(KELPString(""));
  EXPECT_EQ(dir.read("mixed.txt"), "\xC3\xA9\nXbct\n");
}

// Threads sharing one file: each line, short or longer than any buffer of the writer, goes
// out whole with its line end.
TEST_F(FileTest, LinesOfThreadsSharingAFileStayWhole) {
  File file(at("shared.txt"));
  ASSERT_TRUE(file.open("w"));
  std::vector<std::thread> writers;
  for (char letter : {'a', 'b', 'c', 'd'}) {
    writers.emplace_back([&file, letter] {
      for (int i = 0; i < 200; ++i) {
        file.writeLine(KELPString(std::string(i % 2 == 0 ? 3 : 700, letter).c_str()));
      }
    });
  }
  for (std::thread& writer : writers) {
    writer.join();
  }
  std::istringstream lines(dir.read("shared.txt"));
  int count = 0;
  for (std::string line; std::getline(lines, line); ++count) {
    ASSERT_TRUE(line.size() == 3 || line.size() == 700) << line.size();
    EXPECT_EQ(line.find_first_not_of(line[0]), std::string::npos);
  }
  EXPECT_EQ(count, 800);
}

TEST_F(FileTest, ClosedFilesAndCopiesDoNothing) {
  File never(at("never.txt"));
  never.writeLine(KELPString("lost"));
  KELPString out("kept");
  never.readToEOF(out);
  EXPECT_FALSE(never.readToEOL(out));
  EXPECT_EQ(out.wstring(), units(u"kept"));

  File missing(at("no\\such\\dir.txt"));
  errno = 0;
  EXPECT_FALSE(missing.open("w+"));
  EXPECT_EQ(errno, ENOENT);

  File opened(at("copied.txt"));
  ASSERT_TRUE(opened.open("w+"));
  File copy(opened);
  copy.writeString(KELPString("lost"));
  opened.writeString(KELPString("kept"));
  EXPECT_EQ(dir.read("copied.txt"), "kept");
  EXPECT_TRUE(copy.open("a+"));
  copy.writeString(KELPString("+copy"));
  EXPECT_EQ(dir.read("copied.txt"), "kept+copy");
  opened = copy; // closes what the target had
  opened.writeString(KELPString("lost"));
  EXPECT_EQ(dir.read("copied.txt"), "kept+copy");
}

} // namespace
