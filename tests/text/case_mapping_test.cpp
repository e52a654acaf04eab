#include "basalt/text/kelp_string.h"

#include <gtest/gtest.h>
#include <set>

namespace {

struct TellingRow {
  unsigned short unit;
  unsigned short lower;
  unsigned short upper;
};

constexpr TellingRow tellingRows[] = {
    {0x00B5, 0x03BC, 0x039C},
    {0x00DF, 0x00DF, 0x00DF},
    {0x00FF, 0x00FF, 0x0178},
    {0x0130, 0x0069, 0x0049},
    {0x0131, 0x0069, 0x0049},
    {0x01C5, 0x01C6, 0x01C4},
    {0x03C2, 0x03C3, 0x03A3},
    {0x1F80, 0x1F80, 0x1F88},
    {0x2126, 0x03C9, 0x03A9},
    {0xFF21, 0xFF41, 0xFF21},
    // Added to the database after 3.1, so they stay themselves.
    {0x0220, 0x0220, 0x0220},
    {0x03D8, 0x03D8, 0x03D8},
    {0x10A0, 0x10A0, 0x10A0},
};

TEST(CaseMapping, TellingUnitsMapAsUnicode31Says) {
  for (const TellingRow& row : tellingRows) {
    SCOPED_TRACE(::testing::Message() << std::hex << "U+" << row.unit);
    EXPECT_EQ(KELPString::chrToLower(row.unit), row.lower);
    EXPECT_EQ(KELPString::chrToUpper(row.unit), row.upper);
  }
}

// What the whole unit range must come to: the counts of changed units and of distinct
// changes, and the folding property.
TEST(CaseMapping, WholeRangeFoldsWithTheKnownCounts) {
  for (const bool toLower : {true, false}) {
    SCOPED_TRACE(toLower ? "lower" : "upper");
    unsigned int changed = 0;
    std::set<unsigned short> deltas;
    for (unsigned int c = 0; c <= 0xFFFF; ++c) {
      const auto unit = static_cast<unsigned short>(c);
      const unsigned short lower = KELPString::chrToLower(unit);
      const unsigned short upper = KELPString::chrToUpper(unit);
      ASSERT_EQ(KELPString::chrToLower(upper), lower) << std::hex << c;
      ASSERT_EQ(KELPString::chrToUpper(lower), upper) << std::hex << c;
      const unsigned short mapped = toLower ? lower : upper;
      deltas.insert(static_cast<unsigned short>(mapped - unit));
      changed += mapped != unit ? 1 : 0;
    }
    EXPECT_EQ(changed, 712u);
    EXPECT_EQ(deltas.size(), toLower ? 57u : 56u); // the zero delta included
  }
}

TEST(CaseMapping, StringCaseChangesEveryUnitIncludingThoseBehindAZero) {
  const unsigned short units[] = {'a', 0x00DF, 0, 'b', 0x03C2};
  KELPString text(units, 5);
  text.toUpper();
  EXPECT_EQ(text.wstring(), KELPString::Base({'A', 0x00DF, 0, 'B', 0x03A3}));
  text.toLower();
  EXPECT_EQ(text.wstring(), KELPString::Base({'a', 0x00DF, 0, 'b', 0x03C3}));
}

} // namespace
