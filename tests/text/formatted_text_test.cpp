#include "basalt/text/formatted_text.h"

#include <cstdarg>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>

namespace {

using Units = std::basic_string<unsigned short>;

Units units(const char* ascii) {
  return Units(ascii, ascii + std::char_traits<char>::length(ascii));
}

const unsigned short wideAbc[] = {'a', 'b', 'c', 0};

TEST(FormattedText, DirectivesThatTheStateTableAccepts) {
  KELPString text;
  EXPECT_TRUE(text.build("%d items", 3));
  EXPECT_EQ(text.wstring(), units("3 items"));
  EXPECT_TRUE(text.build(".%3.3u", 7));
  EXPECT_EQ(text.wstring(), units(".007"));
  EXPECT_TRUE(text.build("%05.2f|%.1f", 1.5, 1.0));
  EXPECT_EQ(text.wstring(), units("01.50|1.0"));
  EXPECT_TRUE(text.build("%00d|%-+#x|%#o|%+d", 5, 255, 8, 5));
  EXPECT_EQ(text.wstring(), units("5|0xff|010|+5"));
  EXPECT_TRUE(text.build("100%%|%5%|%-.%"));
  EXPECT_EQ(text.wstring(), units("100%|%|%"));
  // A directive cut off by the end of the format adds nothing and is no fault.
  EXPECT_TRUE(text.build("abc%"));
  EXPECT_EQ(text.wstring(), units("abc"));
  EXPECT_TRUE(text.build("abc%-5.3l"));
  EXPECT_EQ(text.wstring(), units("abc"));
}

TEST(FormattedText, FaultsStopTheFormatAndKeepTheTextBeforeThem) {
  for (const char* format :
       {"ab% d", "ab%lld", "ab%hhd", "ab%I64d", "ab%Lf", "ab%n", "ab%S", "ab%C", "ab%Z", "ab%.0f",
        "ab%.05d", "ab%5*d", "ab%*5d", "ab%.3.4d", "ab%5-d", "ab%**d", "ab%.*5d", "ab%lhd"}) {
    KELPString text;
    EXPECT_FALSE(text.build(format, 1, 2, 3)) << format;
    EXPECT_EQ(text.wstring(), units("ab")) << format;
  }
  KELPString text("old");
  EXPECT_FALSE(text.buildAppend("|%d|%q", 7));
  EXPECT_EQ(text.wstring(), units("old|7|"));
  EXPECT_TRUE(text.buildAppend(""));
  EXPECT_EQ(text.wstring(), units("old|7|"));
  EXPECT_FALSE(text.build(nullptr));
  EXPECT_TRUE(text.empty());
}

TEST(FormattedText, StarsTakeTheirArgumentsBeforeTheValue) {
  KELPString text;
  EXPECT_TRUE(text.build("%*d|%*d|", 5, 42, -5, 42));
  EXPECT_EQ(text.wstring(), units("   42|42   |"));
  EXPECT_TRUE(text.build("%*.*f|%.*d|%d", 7, 2, 3.14159, 3, 7, 9));
  EXPECT_EQ(text.wstring(), units("   3.14|007|9"));
  // In a string or character directive a star takes nothing.
  EXPECT_TRUE(text.build("%*s|%.*c|%d", wideAbc, 'x', 5));
  EXPECT_EQ(text.wstring(), units("abc|x|5"));
}

TEST(FormattedText, StringsAndCharactersAreWideUnlessNarrowed) {
  KELPString text;
  EXPECT_TRUE(text.build("%s|%ls|%hs|%5s|%.1s", wideAbc, wideAbc, "xyz", wideAbc, wideAbc));
  EXPECT_EQ(text.wstring(), units("abc|abc|xyz|abc|abc"));
  EXPECT_TRUE(text.build("a%hsb%hs", "", static_cast<const char*>(nullptr)));
  EXPECT_EQ(text.wstring(), units("ab"));
  EXPECT_FALSE(text.build("a%s", static_cast<const unsigned short*>(nullptr)));
  EXPECT_EQ(text.wstring(), units("a"));

  EXPECT_TRUE(text.build("%c%lc%hc%c", 0x20AC, 'b', 'c' | 0x4100, 0));
  EXPECT_EQ(text.wstring(), (Units{0x20AC, 'b', 'c', 0}));
  // Outside directives bytes are widened as signed bytes, not read as code-page text.
  EXPECT_TRUE(text.build("\xE9"));
  EXPECT_EQ(text.wstring(), Units(1, 0xFFE9));
}

TEST(FormattedText, NumbersKeepThirtyTwoBitWidths) {
  KELPString text;
  EXPECT_TRUE(text.build("%ld|%lu|%hd|%hu|%x|%d", -1, 0xFFFFFFFFU, 65535, 65541, -1,
                         static_cast<std::int32_t>(0x80000000U)));
  EXPECT_EQ(text.wstring(), units("-1|4294967295|-1|5|ffffffff|-2147483648"));
  EXPECT_TRUE(text.build("%p|%e", reinterpret_cast<void*>(0xABCDEFU), 1e5));
  EXPECT_EQ(text.wstring(), units("0000000000ABCDEF|1.000000e+05"));
}

TEST(FormattedText, WorkBuffersBoundTheDirectiveAndItsNumber) {
  KELPString text;
  EXPECT_TRUE(text.build("%256d", 1));
  EXPECT_EQ(text.size(), 256U);
  EXPECT_FALSE(text.build("x%257d", 1));
  EXPECT_EQ(text.wstring(), units("x"));
  EXPECT_FALSE(text.build("%.300f", 1.0));
  // 31 bytes from '%' through the conversion fit with the terminator, 32 don't.
  const std::string flags(29, '-');
  EXPECT_TRUE(text.build(("%" + flags + "d").c_str(), 7));
  EXPECT_EQ(text.wstring(), units("7"));
  EXPECT_FALSE(text.build(("%" + flags + "-d").c_str(), 7));
  EXPECT_FALSE(text.build(("%" + flags + "*d").c_str(), 100000, 7));
  EXPECT_FALSE(text.build("%*d", -1000000000, 7));
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

TEST(FormattedText, ArgumentListsPassedOnStartAtTheirFirstArgument) {
  KELPString first;
  KELPString second;
  EXPECT_TRUE(buildTwice(first, second, "%d-%s-%f", 1, wideAbc, 2.5));
  EXPECT_EQ(first.wstring(), units("1-abc-2.500000"));
  EXPECT_EQ(second.wstring(), first.wstring());
}

TEST(FormattedText, CallerBuffersGetAtMostSizeUnitsAndATerminator) {
  unsigned short buffer[8];
  std::fill(std::begin(buffer), std::end(buffer), 0x7777);
  EXPECT_EQ(suprintf(buffer, 3, "%d", 12345), 3);
  EXPECT_EQ(Units(buffer, 5), (Units{'1', '2', '3', 0, 0x7777}));

  std::fill(std::begin(buffer), std::end(buffer), 0x7777);
  EXPECT_EQ(suprintf(buffer, 7, "ab% d", 1), 0);
  EXPECT_EQ(suprintf(buffer, 7, static_cast<const char*>(nullptr)), 0);
  EXPECT_EQ(buffer[0], 0x7777);
  EXPECT_EQ(suprintf(nullptr, 7, "%d", 1), 0);

  const unsigned short wideFormat[] = {'<', '%', 'd', '>', 0};
  EXPECT_EQ(suprintf(buffer, 7, wideFormat, 42), 4);
  EXPECT_EQ(Units(buffer), units("<42>"));
  EXPECT_EQ(suprintf(buffer, 7, static_cast<const unsigned short*>(nullptr)), 0);
  EXPECT_EQ(buffer[0], 0);

  // The narrow list form keeps what was built before a fault.
  EXPECT_EQ(forward(buffer, 7, "ab% d", 1), 2);
  EXPECT_EQ(Units(buffer), units("ab"));
  buffer[0] = 0x7777;
  EXPECT_EQ(forward(buffer, 7, nullptr), 0);
  EXPECT_EQ(buffer[0], 0);
}

TEST(FormattedText, EscapeFormCoversExactlyTheListedUnits) {
  KELPString text("a b/c 100%");
  text.toEscaped();
  EXPECT_EQ(text.wstring(), units("a%20b%2Fc%20100%25"));

  text = Units{0, '\n', 0xE9, 0x100, 0xFFFF};
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
