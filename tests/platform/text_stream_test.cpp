#include "basalt/platform/text_stream.h"
#include "tests/support/scratch_directory.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <string>

namespace plat = basalt::platform;
using basalt::test::ScratchDirectory;
using basalt::test::units;
using basalt::test::Units;
using basalt::test::wide;

namespace {

TEST(TextStreamTest, WideOpenTakesALibraryPathAndIgnoresAnEncodingRequest) {
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
}

TEST(TextStreamTest, WritingAfterReadingGoesWhereTheReaderStopped) {
  ScratchDirectory dir;
  // Decoding reads ahead of the character it gives; a write must not land behind that.
  dir.write("f.txt", "\xC3\xA9\nabc");
  plat::FILE* stream = plat::fopen(dir.library("f.txt").c_str(), "r+");
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
