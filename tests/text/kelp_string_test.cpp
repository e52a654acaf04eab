#include "basalt/platform/com/automation_strings.h"
#include "basalt/text/kelp_string.h"
#include "tests/support/scratch_directory.h"

#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>

namespace {

using basalt::test::w;
using Units = KELPString::Base;

TEST(KELPString, ZeroUnitsFollowEachOperationsRule) {
  EXPECT_TRUE(KELPString(static_cast<unsigned short>(0)).empty());
  KELPString text("ab");
  text = static_cast<unsigned short>(0);
  EXPECT_TRUE(text.empty());
  text += static_cast<unsigned short>(0);
  EXPECT_EQ(text.size(), 1u);

  const Units withZero = {'a', 'b', 0, 'c'};
  EXPECT_EQ(KELPString(withZero).size(), 2u);        // by reference: first zero
  EXPECT_EQ(KELPString(Units(withZero)).size(), 4u); // by value: every unit
  const KELPString whole(withZero.data(), 4);
  KELPString assigned;
  assigned = whole; // copies carry zero units
  EXPECT_EQ(assigned.size(), 4u);
  KELPString appended;
  appended += whole; // appending stops at the first zero
  EXPECT_EQ(appended.size(), 2u);
  // The narrow form keeps them both ways.
  const KELPString bytes(std::string("a\0b", 3));
  EXPECT_EQ(bytes.wstring(), (Units{'a', 0, 'b'}));
  EXPECT_EQ(bytes.string(), std::string("a\0b", 3));
  Units wide = {'x'};
  EXPECT_EQ(bytes.fillWString(wide), (Units{'a', 0, 'b'}));
}

TEST(KELPString, NullArgumentsCountAsEmpty) {
  const char* noText = nullptr;
  const unsigned short* noUnits = nullptr;
  EXPECT_TRUE(KELPString(noText, 5).empty());
  EXPECT_TRUE(KELPString(noUnits, 5).empty());
  KELPString text("kept");
  text.append(noText, 5);
  text.append(noText);
  text += noText;
  EXPECT_EQ(text.string(), "kept");
  text = noUnits;
  EXPECT_TRUE(text.empty());
  EXPECT_EQ(KELPString().c_str()[0], 0);
}

TEST(KELPString, ToUTF8EncodesEachUnitAndNeverOverrunsTheBuffer) {
  // A, e acute, euro sign, then a surrogate pair as two 3-byte forms.
  const KELPString text(Units{0x41, 0xE9, 0x20AC, 0xD83D, 0xDE00});
  char buffer[32];
  std::memset(buffer, 'x', sizeof(buffer));
  ASSERT_EQ(text.toUTF8(buffer, 20), 12u);
  EXPECT_EQ(std::string(buffer, 21),
            "\x41\xC3\xA9\xE2\x82\xAC\xED\xA0\xBD\xED\xB8\x80" + std::string(8, '\0') + "x");
  // Too little room: only whole units, the rest zero, nothing past size.
  std::memset(buffer, 'x', sizeof(buffer));
  EXPECT_EQ(text.toUTF8(buffer, 5), 3u);
  EXPECT_EQ(std::string(buffer, 6), std::string("\x41\xC3\xA9\0\0x", 6));
  EXPECT_EQ(text.toUTF8(buffer + 6, 0), 0u);
  EXPECT_EQ(buffer[6], 'x');
  // Exactly the room the text needs: whole, but without a terminator.
  EXPECT_EQ(KELPString("ab").toUTF8(buffer, 2), 2u);
}

// Automation strings carry every unit (the variant tests count them); reading one back
// replaces the text, and a null string leaves it alone.
TEST(KELPString, AutomationStringsAndCopiesCarryEveryUnit) {
  const KELPString text(Units{'a', 0, 'b'});
  unsigned short* bstr = nullptr;
  text.createBSTR(&bstr);
  KELPString back("previous");
  EXPECT_EQ(back.fillFromBSTR(bstr), 3u);
  basalt::platform::SysFreeString(bstr);
  EXPECT_EQ(back.fillFromBSTR(nullptr), 0u);
  EXPECT_EQ(back.wstring(), text.wstring());
  KELPString().createBSTR(&bstr); // an empty text still gets a string
  ASSERT_NE(bstr, nullptr);
  basalt::platform::SysFreeString(bstr);

  unsigned short* copy = text.strdup();
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(Units(copy, 4), (Units{'a', 0, 'b', 0}));
  std::free(copy);
}

const unsigned int noPosition = 0xFFFFFFFFu;

// The sign is positive when the string itself sorts first.
TEST(Compare, SignsCountsCaseAndEmptyTexts) {
  EXPECT_EQ(KELPString::compare(nullptr, w(u""), false), 0);
  EXPECT_EQ(KELPString::compare(nullptr, nullptr, true), 0);
  EXPECT_EQ(KELPString::compare(nullptr, w(u"A"), false), 0x41);
  EXPECT_EQ(KELPString::compare(w(u"A"), w(u""), true), -0x41);
  EXPECT_EQ(KELPString::compare(w(u"ab"), w(u"abc"), false), 0x63);
  // Case-blind comparison folds, but reports the stored units.
  EXPECT_EQ(KELPString("ABC").strcmp("abc", true), 0);
  EXPECT_NE(KELPString("ABC").strcmp("abc", false), 0);
  EXPECT_EQ(KELPString("ABx").strcmp("abY", true), 0x59 - 0x78);
  EXPECT_EQ(KELPString(w(u"k\u0131")).strcmp(w(u"K\u0130"), true), 0); // dotless and dotted i
  EXPECT_EQ(KELPString(w(u"k\u0131")).strcmp("KI", true), 0);
  EXPECT_EQ(KELPString(w(u"K\u0130")).strcmp("ki", true), 0);
  EXPECT_EQ(KELPString(w(u"\u017Ft")).strcmp("ST", true), 0); // long s
  EXPECT_EQ(KELPString("abc").strcmp("ABCD", true), 'D');

  const KELPString abcd("abcd");
  EXPECT_EQ(abcd.strncmp("abxy", 2), 0);
  EXPECT_EQ(abcd.strncmp("abxy", 3), 0x78 - 0x63);
  EXPECT_EQ(KELPString("ab").strncmp("ab", 10), 0);
  EXPECT_EQ(KELPString::ncompare(nullptr, w(u"abd"), 0, false), 0x61);
  // The members take count units of their argument, none at all for a count of 0.
  EXPECT_EQ(KELPString("abc").strncmp(w(u"abd"), 0), -0x61);
  EXPECT_EQ(KELPString("abc").strncmp(KELPString("abd"), 0), 0);
  EXPECT_EQ(KELPString("a").strncmp(static_cast<const char*>(nullptr), 0), -0x61);
  EXPECT_EQ(KELPString("ab").strncmp("abc", 3), 0x63);
  EXPECT_EQ(KELPString("ABCx").strncmp(KELPString("abcY"), 3, true), 0);
  // The wide argument is read only up to its zero unit, whatever the count.
  EXPECT_EQ(KELPString("ab").strncmp(w(u"ab"), 50), 0);
  EXPECT_EQ(KELPString("abc").strncmp(w(u"ab"), 50), -0x63);

  // Equality takes native text; that it stops at a zero unit the variant tests show.
  EXPECT_TRUE(KELPString() == static_cast<const char*>(nullptr));
  EXPECT_FALSE(KELPString("a") == static_cast<const char*>(nullptr));
  EXPECT_TRUE(KELPString("abc") != "abC");
}

TEST(Search, ExactFromAnIndexWithNarrowEntryPoints) {
  const KELPString text("abcabc");
  EXPECT_EQ(text.find(KELPString("bc"), 0), 1u);
  EXPECT_EQ(text.find(KELPString("bc"), 2), 4u);
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
  // A char argument is sign-extended, not converted.
  EXPECT_EQ(KELPString(w(u"a\u00E9\uFFE9")).find(static_cast<char>(0xE9), 0), 2u);
}

} // namespace
