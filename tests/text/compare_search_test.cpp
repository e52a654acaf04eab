#include "basalt/text/kelp_string.h"

#include <gtest/gtest.h>

namespace {

using Units = KELPString::Base;

const unsigned int noPosition = 0xFFFFFFFFu;

TEST(Compare, SignIsPositiveWhenTheStringItselfSortsFirst) {
  const KELPString abc("abc");
  EXPECT_GT(abc.strcmp("abd"), 0);
  EXPECT_LT(abc.strcmp("abb"), 0);
  EXPECT_EQ(abc.strcmp("abc"), 0);
  EXPECT_TRUE(KELPString("abc") < KELPString("abd"));
  EXPECT_FALSE(KELPString("abd") < KELPString("abc"));
}

TEST(Compare, EmptyAndNullTextsAndPrefixes) {
  const Units empty;
  const Units a = {'A', 0};
  const Units ab = {'a', 'b', 0};
  const Units abc = {'a', 'b', 'c', 0};
  EXPECT_EQ(KELPString::compare(empty.c_str(), empty.c_str(), false), 0);
  EXPECT_EQ(KELPString::compare(nullptr, empty.c_str(), false), 0);
  EXPECT_EQ(KELPString::compare(nullptr, nullptr, true), 0);
  EXPECT_EQ(KELPString::compare(nullptr, a.data(), false), 0x41);
  EXPECT_EQ(KELPString::compare(empty.c_str(), a.data(), false), 0x41);
  EXPECT_EQ(KELPString::compare(a.data(), nullptr, false), -0x41);
  EXPECT_EQ(KELPString::compare(a.data(), empty.c_str(), true), -0x41);
  EXPECT_EQ(KELPString::compare(ab.data(), abc.data(), false), 0x63);
  EXPECT_EQ(KELPString::compare(abc.data(), ab.data(), false), -0x63);
}

TEST(Compare, CaseBlindFoldsButReportsTheStoredUnits) {
  EXPECT_EQ(KELPString("ABC").strcmp("abc", true), 0);
  EXPECT_NE(KELPString("ABC").strcmp("abc", false), 0);
  EXPECT_EQ(KELPString("ABx").strcmp("abY", true), 0x59 - 0x78);
  const unsigned short dotless[] = {'k', 0x0131, 0};
  const unsigned short dotted[] = {'K', 0x0130, 0};
  EXPECT_EQ(KELPString(dotless).strcmp(dotted, true), 0);
  EXPECT_EQ(KELPString(dotless).strcmp("KI", true), 0);
  EXPECT_EQ(KELPString(dotted).strcmp("ki", true), 0);
  const unsigned short longS[] = {0x017F, 't', 0};
  EXPECT_EQ(KELPString(longS).strcmp("ST", true), 0);
  EXPECT_EQ(KELPString("abc").strcmp("ABCD", true), 'D');
}

TEST(Compare, NcompareCountsAndEmptyTexts) {
  const KELPString abcd("abcd");
  EXPECT_EQ(abcd.strncmp("abxy", 2), 0);
  EXPECT_EQ(abcd.strncmp("abxy", 3), 0x78 - 0x63);
  EXPECT_EQ(KELPString("ab").strncmp("ab", 10), 0);
  const Units abc = {'a', 'b', 'c', 0};
  const Units abd = {'a', 'b', 'd', 0};
  EXPECT_EQ(KELPString::ncompare(abc.data(), abd.data(), 0, false), 0);
  EXPECT_EQ(KELPString::ncompare(nullptr, abd.data(), 0, false), 0x61);
  // The members take count units of their argument, none at all for a count of 0.
  EXPECT_EQ(KELPString("abc").strncmp("abd", 0), -0x61);
  EXPECT_EQ(KELPString("abc").strncmp(abd.data(), 0), -0x61);
  EXPECT_EQ(KELPString("abc").strncmp(KELPString("abd"), 0), 0);
  EXPECT_EQ(KELPString("a").strncmp(static_cast<const char*>(nullptr), 0), -0x61);
  EXPECT_EQ(KELPString("ab").strncmp("abc", 3), 0x63);
  EXPECT_EQ(KELPString("ABCx").strncmp(KELPString("abcY"), 3, true), 0);
  // The wide argument is read only up to its zero unit, whatever the count.
  const unsigned short shortText[] = {'a', 'b', 0};
  EXPECT_EQ(KELPString("ab").strncmp(shortText, 50), 0);
  EXPECT_EQ(KELPString("abc").strncmp(shortText, 50), -0x63);
}

TEST(Compare, EqualityStopsAtTheFirstZeroUnitAndTakesNativeText) {
  EXPECT_TRUE(KELPString() == static_cast<const char*>(nullptr));
  EXPECT_TRUE(KELPString() == static_cast<const unsigned short*>(nullptr));
  EXPECT_FALSE(KELPString("a") == static_cast<const char*>(nullptr));
  EXPECT_TRUE(KELPString("path\\to") == "path\\to");
  EXPECT_TRUE(KELPString("abc") != "abC");
  const KELPString first(Units{'a', 0, 'x'});
  const KELPString second(Units{'a', 0, 'y'});
  EXPECT_EQ(first.size(), 3u);
  EXPECT_TRUE(first == second);
  EXPECT_FALSE(first != second);
}

TEST(Search, ExactFromAnIndexWithNarrowEntryPoints) {
  const KELPString text("abcabc");
  EXPECT_EQ(text.find(KELPString("bc"), 0), 1u);
  EXPECT_EQ(text.find(KELPString("bc"), 2), 4u);
  EXPECT_EQ(text.find("BC", 0), noPosition);
  EXPECT_EQ(text.find("cab", 0, 2), 2u);
  EXPECT_EQ(text.find("cax", 0, 2), 2u);
  EXPECT_EQ(text.find("ab", 0, 50), 0u); // the count can't reach past the converted text
  EXPECT_EQ(text.find('c', 3), 5u);
  EXPECT_EQ(text.find(static_cast<const char*>(nullptr), 6), 6u);
  EXPECT_EQ(text.find(static_cast<const char*>(nullptr), 7), noPosition);
  EXPECT_EQ(KELPString().find(KELPString(), 0), 0u);
  EXPECT_EQ(KELPString().find(KELPString(), 1), noPosition);
  // A KELPString argument is searched for with all its units, zero units included.
  const KELPString withZero(Units{'x', 0, 'y'});
  EXPECT_EQ(KELPString(Units{'a', 'x', 0, 'y'}).find(withZero, 0), 1u);
  EXPECT_EQ(KELPString("axy").find(withZero, 0), noPosition);
}

TEST(Search, CharArgumentIsSignExtendedNotConverted) {
  const unsigned short units[] = {'a', 0x00E9, 0xFFE9, 0};
  const KELPString text(units);
  EXPECT_EQ(text.find(static_cast<char>(0xE9), 0), 2u);
}

} // namespace
