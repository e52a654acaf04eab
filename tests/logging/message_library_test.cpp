#include "basalt/logging/core_log_impl.h"
#include "basalt/logging/message_library.h"
#include "log_sandbox.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using basalt::MessageLibrary;
using namespace basalt::test;

constexpr char loadFailure[] =
    "Failed to load the resource dlls. The component is not installed correctly.";

struct Case {
  const char* sub;
  const char* language;
  std::uint32_t message;
  std::vector<std::string> names; // the last one loads, unless sub is "nowhere"
};

TEST(MessageLibrary, NamesAreTriedNeutralFirstThenByLanguage) {
  LogSandbox sandbox;
  const Case cases[] = {
      {"both", "ENU", ofMessage, {"xx"}},
      {"language", "ENU", ofMessage, {"xx", "ENU"}},
      {"short", "ENU", ofMessage, {"xx", "ENU", "EN"}},
      {"english", "ENU", ofMessage, {"xx", "ENU", "EN", "en"}},
      {"english", "DE", ofMessage, {"xx", "DE", "en"}},
      {"english", "", ofMessage, {"xx", "", "en"}},
      {"tiny", "ENU", 0x00050001, {"xx"}},
      {"nowhere", "ENU", ofMessage, {"xx", "ENU", "EN", "en"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.sub) + " " + c.language);
    MessageLibrary::setLocation(libraryForm(messages(c.sub)));
    MessageLibrary record(c.message, c.language);
    const std::string prefix = c.message == ofMessage ? "strings_201_" : "strings_5_";
    std::vector<std::string> tried;
    for (const KELPString& name : record.triedFileNames()) {
      tried.push_back(narrow(name));
    }
    std::vector<std::string> expected;
    for (const std::string& name : c.names) {
      expected.push_back(prefix + name + ".dll");
    }
    EXPECT_EQ(tried, expected);
    KELPString text;
    const bool found = std::string(c.sub) != "nowhere";
    EXPECT_EQ(narrow(record.loadedPath()),
              found ? libraryForm(messages(c.sub)) + "\\" + expected.back() : "");
    EXPECT_EQ(record.library.getString(c.message, text), found);
  }
  const auto events = sandbox.registry.events();
  ASSERT_EQ(events.size(), 1u); // for "nowhere"
  EXPECT_EQ(events[0].type, "error");
  EXPECT_EQ(events[0].category + events[0].event, 0u);
  EXPECT_EQ(events[0].strings, std::vector<std::optional<std::string>>{loadFailure});
}

TEST(MessageLibrary, TheLogLoadsOneLibraryPerFacilityOnFirstUseAndGetAppends) {
  LogSandbox sandbox;
  sandbox.configure(logKey() + "\"Location\"=" + regPath(messages("neutral")));
  basalt::CoreLogImpl impl;
  Inserts inserts{"A", "B"};
  KELPString text("> ");
  EXPECT_TRUE(impl.get(text, ofMessage, 2, inserts.get()));
  EXPECT_FALSE(impl.get(text, 0xC2010009, 0, nullptr)); // no such string
  EXPECT_TRUE(impl.get(text, 0x02A00002, 2, inserts.get()));
  EXPECT_FALSE(impl.get(text, 0x07770001, 0, nullptr)); // a facility nobody ships
  EXPECT_FALSE(impl.get(text, 0x07770002, 0, nullptr));
  EXPECT_EQ(narrow(text), "> A of B, 100% donethread A record B");
  EXPECT_EQ(impl.libraries.size(), 3u);
  // Modules and LogFile are missing, then the unshipped library was looked for once.
  EXPECT_EQ(sandbox.registry.events().size(), 3u);
}

} // namespace
