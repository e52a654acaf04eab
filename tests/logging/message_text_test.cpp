#include "../support/scratch_directory.h"
#include "basalt/logging/message_text.h"

#include <gtest/gtest.h>
#include <initializer_list>
#include <string>
#include <vector>

namespace {

using basalt::formatMessageText;
using basalt::test::narrow;
using basalt::test::units;

// raw with inserts, appended to "[" so that appending shows; null entries stay null.
std::string format(const char* raw, std::initializer_list<const char*> inserts) {
  std::vector<KELPString> texts;
  std::vector<const unsigned short*> pointers;
  texts.reserve(inserts.size());
  for (const char* insert : inserts) {
    texts.emplace_back(insert);
    pointers.push_back(insert == nullptr ? nullptr : texts.back().c_str());
  }
  KELPString text("[");
  EXPECT_TRUE(
      formatMessageText(KELPString(raw), static_cast<int>(pointers.size()), pointers.data(), text));
  return narrow(text);
}

TEST(MessageText, ReferencesAreOneCharacterAndOnlyNamedInsertsGoIn) {
  EXPECT_EQ(format("%1 of %2", {"A", "B"}), "[A of B");
  EXPECT_EQ(format("%2 %1 %2", {"A", "B"}), "[B A B");
  EXPECT_EQ(format("100%% done", {}), "[100% done");
  EXPECT_EQ(format("%%1 and %%%1", {"A"}), "[%1 and %A");
  EXPECT_EQ(format("%3 %0 %x %", {"A", "B"}), "[%3 %0 %x %");
  EXPECT_EQ(format("%12", {"A", "B"}), "[A2");
  EXPECT_EQ(format("%1", {"has %2 and %%"}), "[has %2 and %%"); // inserts are not scanned
  EXPECT_EQ(format("no references", {"A"}), "[no references");
  EXPECT_EQ(format("", {"A"}), "[");
  EXPECT_EQ(format("%", {}), "[%");
}

TEST(MessageText, InsertsAboveNineFollowTheDigitsInCodeOrder) {
  const std::initializer_list<const char*> eleven = {"1", "2", "3", "4",   "5",     "6",
                                                     "7", "8", "9", "ten", "eleven"};
  EXPECT_EQ(format("%9 %: %; %<", eleven), "[9 ten eleven %<");
  EXPECT_EQ(format("%:", {"1", "2"}), "[%:");
  // Characters below the digit zero are never references.
  EXPECT_EQ(format("%/ %- %!", eleven), "[%/ %- %!");
}

TEST(MessageText, NullInsertsGiveNothingAndMissingArraysAreRefused) {
  EXPECT_EQ(format("a%1b%2c", {nullptr, "B"}), "[abBc");
  KELPString text("kept");
  EXPECT_FALSE(formatMessageText(KELPString("%1"), 1, nullptr, text));
  EXPECT_EQ(narrow(text), "kept");
  EXPECT_TRUE(formatMessageText(KELPString("%1 %%"), 0, nullptr, text));
  EXPECT_EQ(narrow(text), "kept%1 %");
  EXPECT_TRUE(formatMessageText(KELPString("%1"), -3, nullptr, text));
  EXPECT_EQ(narrow(text), "kept%1 %%1");
}

TEST(MessageText, WideUnitsAndZeroUnitsOfTheRawTextComeThrough) {
  const KELPString insert(units(u"\u00e9\u6f22").c_str());
  const unsigned short* inserts[] = {insert.c_str()};
  KELPString raw(units(u"\u20ac%1\u20ac").c_str());
  raw.push_back(0);
  raw.append("%1");
  KELPString text;
  ASSERT_TRUE(formatMessageText(raw, 1, inserts, text));
  KELPString expected(units(u"\u20ac\u00e9\u6f22\u20ac").c_str());
  expected.push_back(0);
  expected.Base::append(insert);
  EXPECT_EQ(text.wstring(), expected.wstring());
}

} // namespace
