#include "basalt/logging/message_text.h"
#include "log_sandbox.h"

#include <gtest/gtest.h>

namespace {

using basalt::test::Inserts;

struct Case {
  const char* raw;
  Inserts inserts;
  const char* text;
};

// Plain references and a null insert are read through the log's lines in log_output_test.
TEST(MessageText, ReferencesAreOneCharacterLongAndInsertsAreNotScannedAgain) {
  Case cases[] = {
      {"%2 %1 %2", {"A", "B"}, "[B A B"},
      {"100%% done, %%1 %%%1", {"A"}, "[100% done, %1 %A"},
      {"%3 %0 %x %12 %", {"A", "B"}, "[%3 %0 %x A2 %"},
      {"%1", {"has %2 and %%"}, "[has %2 and %%"},
      {"%9%:%;%< %/", {"1", "2", "3", "4", "5", "6", "7", "8", "9", "ten", "11"}, "[9ten11%< %/"},
      {"%:", {"1", "2"}, "[%:"},
  };
  for (Case& c : cases) {
    KELPString text("[");
    EXPECT_TRUE(basalt::formatMessageText(c.raw, c.inserts.count(), c.inserts.get(), text));
    EXPECT_EQ(basalt::test::narrow(text), c.text) << c.raw;
  }
  KELPString text("kept");
  EXPECT_FALSE(basalt::formatMessageText("%1", 1, nullptr, text));
  EXPECT_TRUE(basalt::formatMessageText("%1", -3, nullptr, text));
  EXPECT_EQ(basalt::test::narrow(text), "kept%1");
}

} // namespace
