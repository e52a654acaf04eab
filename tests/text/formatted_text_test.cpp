#include "basalt/text/formatted_text.h"
#include "tests/support/scratch_directory.h"

#include <cstdarg>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>

namespace {

using Units = std::basic_string<unsigned short>;

const unsigned short wideAbc[] = {'a', 'b', 'c', 0};

// The text built, behind "fault: " when the format stopped at a fault.
template <class... Arguments> std::string built(const char* format, Arguments... arguments) {
  KELPString text("old");
  const bool complete = text.build(format, arguments...);
  return (complete ? "" : "fault: ") + text.string();
}

TEST(FormattedText, DirectivesThatTheStateTableAccepts) {
  EXPECT_EQ(built("%d items", 3), "3 items");
  EXPECT_EQ(built(".%3.3u", 7), ".007");
  EXPECT_EQ(built("%05.2f|%.1f", 1.5, 1.0), "01.50|1.0");
  EXPECT_EQ(built("%00d|%-+#x|%#o|%+d", 5, 255, 8, 5), "5|0xff|010|+5");
  EXPECT_EQ(built("100%%|%5%|%-.%"), "100%|%|%");
  // A directive cut off by the end of the format adds nothing and is no fault.
  EXPECT_EQ(built("abc%"), "abc");
  EXPECT_EQ(built("abc%-5.3l"), "abc");
}

TEST(FormattedText, FaultsStopTheFormatAndKeepTheTextBeforeThem) {
  for (const char* format :
       {"ab% d", "ab%lld", "ab%hhd", "ab%I64d", "ab%Lf", "ab%n", "ab%S", "ab%C", "ab%Z", "ab%.0f",
        "ab%.05d", "ab%5*d", "ab%*5d", "ab%.3.4d", "ab%5-d", "ab%**d", "ab%.*5d", "ab%lhd"}) {
    EXPECT_EQ(built(format, 1, 2, 3), "fault: ab") << format;
  }
  KELPString text("old");
  EXPECT_FALSE(text.buildAppend("|%d|%q", 7));
  EXPECT_EQ(text, "old|7|");
  EXPECT_EQ(built(nullptr), "fault: ");
}

TEST(FormattedText, StarsTakeTheirArgumentsBeforeTheValue) {
  EXPECT_EQ(built("%*d|%*d|", 5, 42, -5, 42), "   42|42   |");
  EXPECT_EQ(built("%*.*f|%.*d|%d", 7, 2, 3.14159, 3, 7, 9), "   3.14|007|9");
  // In a string or character directive a star takes nothing.
  EXPECT_EQ(built("%*s|%.*c|%d", wideAbc, 'x', 5), "abc|x|5");
}

TEST(FormattedText, StringsAndCharactersAreWideUnlessNarrowed) {
  EXPECT_EQ(built("%s|%ls|%hs|%5s|%.1s", wideAbc, wideAbc, "xyz", wideAbc, wideAbc),
            "abc|abc|xyz|abc|abc");
  EXPECT_EQ(built("a%hsb%hs", "", static_cast<const char*>(nullptr)), "ab");
  EXPECT_EQ(built("a%s", static_cast<const unsigned short*>(nullptr)), "fault: a");

  KELPString text;
  EXPECT_TRUE(text.build("%c%lc%hc%c", 0x20AC, 'b', 'c' | 0x4100, 0));
  EXPECT_EQ(text.wstring(), (Units{0x20AC, 'b', 'c', 0}));
  // Outside directives bytes are widened as signed bytes, not read as code-page text.
  EXPECT_TRUE(text.build("\xE9"));
  EXPECT_EQ(text.wstring(), Units(1, 0xFFE9));
}

TEST(FormattedText, NumbersKeepThirtyTwoBitWidths) {
  EXPECT_EQ(built("%ld|%lu|%hd|%hu|%x|%d", -1, 0xFFFFFFFFU, 65535, 65541, -1,
                  static_cast<std::int32_t>(0x80000000U)),
            "-1|4294967295|-1|5|ffffffff|-2147483648");
  EXPECT_EQ(built("%lx|%+06.3hd|%e|%lf|%hG", -1, -2, 1e5, 1.5, 1e-10),
            "ffffffff|  -002|1.000000e+05|1.500000|1E-10");
  // Pointers have sixteen digits and no prefix.
  EXPECT_EQ(built("%p|%-20p|%.2p", static_cast<void*>(nullptr), reinterpret_cast<void*>(0xABCDEFU),
                  reinterpret_cast<void*>(0xAU)),
            "0000000000000000|0000000000ABCDEF    |000000000000000A");
}

TEST(FormattedText, WorkBuffersBoundTheDirectiveAndItsNumber) {
  EXPECT_EQ(built("%256d", 1), std::string(255, ' ') + "1");
  EXPECT_EQ(built("x%257d", 1), "fault: x");
  EXPECT_EQ(built("%.300f", 1.0), "fault: ");
  // Huge widths and precisions must fail without the work of filling them, but %g drops
  // trailing zeros, so there a huge precision shows every digit of the double.
  EXPECT_EQ(built("%99999999999999999999d", 1), "fault: ");
  EXPECT_EQ(built("%.2147483647f", 1.0), "fault: ");
  EXPECT_EQ(built("%#.2147483647g", 1.0), "fault: ");
  EXPECT_EQ(built("%.2147483647g", 0.1),
            "0.1000000000000000055511151231257827021181583404541015625");
  // 31 bytes from '%' through the conversion fit with the terminator, 32 don't.
  const std::string flags(29, '-');
  EXPECT_EQ(built(("%" + flags + "d").c_str(), 7), "7");
  EXPECT_EQ(built(("%" + flags + "-d").c_str(), 7), "fault: ");
  EXPECT_EQ(built(("%" + flags + "*d").c_str(), 100000, 7), "fault: ");
  EXPECT_EQ(built("%*d", -1000000000, 7), "fault: ");
}

// A client that holds an argument list and formats with it twice.
bool buildTwice(KELPString& first, KELPString& second, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const bool complete = first.vbuild(format, arguments) && second.vbuild(format, arguments);
  va_end(arguments);
  return complete;
}

int forward(unsigned short* buffer, unsigned int size, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int copied = vsnuprintf(buffer, size, format, arguments);
  va_end(arguments);
  return copied;
}

// Argument lists passed on start at their first argument.
TEST(FormattedText, ArgumentListsAndCallerBuffers) {
  KELPString first;
  KELPString second;
  EXPECT_TRUE(buildTwice(first, second, "%d-%s-%f", 1, wideAbc, 2.5));
  EXPECT_EQ(first, "1-abc-2.500000");
  EXPECT_EQ(second, first);

  // Caller buffers get at most size units and a terminator, and nothing on a fault.
  unsigned short buffer[8];
  std::fill(std::begin(buffer), std::end(buffer), 0x7777);
  EXPECT_EQ(suprintf(buffer, 3, "%d", 12345), 3);
  EXPECT_EQ(Units(buffer, 5), (Units{'1', '2', '3', 0, 0x7777}));
  EXPECT_EQ(suprintf(buffer, 7, "ab% d", 1), 0);
  EXPECT_EQ(suprintf(buffer, 7, static_cast<const char*>(nullptr)), 0);
  EXPECT_EQ(buffer[0], '1');
  EXPECT_EQ(suprintf(nullptr, 7, "%d", 1), 0);
  EXPECT_EQ(suprintf(buffer, 7, basalt::test::w(u"<%d>"), 42), 4);
  EXPECT_EQ(KELPString(buffer), "<42>");
  EXPECT_EQ(suprintf(buffer, 7, static_cast<const unsigned short*>(nullptr)), 0);
  EXPECT_EQ(buffer[0], 0);

  // The narrow list form keeps what was built before a fault.
  EXPECT_EQ(forward(buffer, 7, "ab% d", 1), 2);
  EXPECT_EQ(KELPString(buffer), "ab");
  buffer[0] = 0x7777;
  EXPECT_EQ(forward(buffer, 7, nullptr), 0);
  EXPECT_EQ(buffer[0], 0);
}

// Clients store these texts: the form is pinned.
TEST(FormattedText, EscapeFormCoversExactlyTheListedUnits) {
  KELPString text(Units{0, '\n', 0xE9, 0x100, 0xFFFF});
  text.toEscaped();
  EXPECT_EQ(text.wstring(), (Units{'%', '0', '%', 'A', '%', 'E', '9', 0x100, 0xFFFF}));

  const std::string kept = "!$()*+,-0123456789;=?ABCDEFGHIJKLMNOPQRSTUVWXYZ_`"
                           "abcdefghijklmnopqrstuvwxyz";
  for (unsigned short unit = 0; unit < 0x100; ++unit) {
    KELPString one(Units(1, unit));
    one.toEscaped();
    EXPECT_EQ(one.size() == 1, kept.find(static_cast<char>(unit)) != std::string::npos)
        << "unit " << unit;
  }
}

} // namespace
