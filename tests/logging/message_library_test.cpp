#include "basalt/logging/core_log.h"
#include "basalt/logging/core_log_impl.h"
#include "basalt/logging/message_library.h"
#include "log_sandbox.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

namespace {

using basalt::CoreLogImpl;
using basalt::MessageLibrary;
using basalt::test::LogSandbox;
using basalt::test::messagesDir;
using basalt::test::narrow;
using basalt::test::regText;

constexpr std::uint32_t ofMessage = 0xC2010001; // "%1 of %2, 100%% done"
constexpr char loadFailure[] =
    "Failed to load the resource dlls. The component is not installed correctly.";

std::string library(const std::string& osPath) {
  std::string text = osPath;
  for (char& c : text) {
    c = c == '/' ? '\\' : c;
  }
  return text;
}

std::string messages(const std::string& sub) {
  return std::string(messagesDir) + "/" + sub;
}

std::vector<std::string> tried(const MessageLibrary& record) {
  std::vector<std::string> names;
  for (const KELPString& name : record.triedFileNames()) {
    names.push_back(narrow(name));
  }
  return names;
}

class MessageLibraryTest : public ::testing::Test {
protected:
  // The record for facility 0x201 in language, with sub as the libraries' directory.
  std::unique_ptr<MessageLibrary> make(const std::string& sub, const char* language,
                                       std::uint32_t message = ofMessage) {
    MessageLibrary::setLocation(library(messages(sub)));
    return std::make_unique<MessageLibrary>(message, KELPString(language));
  }

  LogSandbox sandbox;
};

TEST_F(MessageLibraryTest, NamesAreTriedNeutralFirstThenByLanguage) {
  struct Case {
    const char* sub;
    const char* language;
    std::vector<std::string> names;
  };
  const std::vector<Case> cases = {
      {"both", "ENU", {"strings_201_xx.dll"}}, // the neutral library wins
      {"language", "ENU", {"strings_201_xx.dll", "strings_201_ENU.dll"}},
      {"short", "ENU", {"strings_201_xx.dll", "strings_201_ENU.dll", "strings_201_EN.dll"}},
      {"english",
       "ENU",
       {"strings_201_xx.dll", "strings_201_ENU.dll", "strings_201_EN.dll", "strings_201_en.dll"}},
      {"english", "DE", {"strings_201_xx.dll", "strings_201_DE.dll", "strings_201_en.dll"}},
      {"english", "", {"strings_201_xx.dll", "strings_201_.dll", "strings_201_en.dll"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.sub) + " " + c.language);
    const auto record = make(c.sub, c.language);
    EXPECT_EQ(tried(*record), c.names);
    EXPECT_EQ(narrow(record->loadedPath()), library(messages(c.sub)) + "\\" + c.names.back());
    EXPECT_EQ(narrow(record->language), c.language);
    EXPECT_EQ(record->facility, 0x02010000u);
    KELPString text;
    EXPECT_TRUE(record->library.getString(ofMessage, text));
    EXPECT_EQ(narrow(text), "%1 of %2, 100%% done");
  }
  EXPECT_TRUE(sandbox.registry.events().empty());
}

TEST_F(MessageLibraryTest, FacilityIsLowerCaseHexWithoutLeadingZeros) {
  EXPECT_EQ(tried(*make("tiny", "ENU", 0x00050002))[0], "strings_5_xx.dll");
  const auto record = make("neutral", "ENU", 0xC2A01234);
  EXPECT_EQ(tried(*record), std::vector<std::string>{"strings_2a0_xx.dll"});
  EXPECT_EQ(record->facility, 0x02A00000u);
}

TEST_F(MessageLibraryTest, NoLibraryGivesOneErrorEventAndNoText) {
  const auto record = make("nowhere", "ENU");
  EXPECT_EQ(record->triedFileNames().size(), 4u);
  EXPECT_TRUE(record->loadedPath().empty());
  KELPString text("x");
  EXPECT_FALSE(record->library.getString(ofMessage, text));
  const auto events = sandbox.registry.events();
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].source, "Corvane OLAP Client");
  EXPECT_EQ(events[0].type, "error");
  EXPECT_EQ(events[0].category, 0u);
  EXPECT_EQ(events[0].event, 0u);
  ASSERT_EQ(events[0].strings.size(), 1u);
  EXPECT_EQ(events[0].strings[0], loadFailure);
}

// Every cut of a sound library, and a few overwritten bytes of it, as the neutral library:
// loading it either fails or gives some text, and never brings the process down.
TEST_F(MessageLibraryTest, TruncatedAndCorruptLibrariesGiveNoTextAndNoCrash) {
  std::ifstream in(messages("neutral/strings_201_xx.dll"), std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  ASSERT_GT(bytes.size(), 512u);
  std::vector<std::string> damaged;
  for (std::size_t cut = 0; cut < bytes.size(); cut += 61) {
    damaged.push_back(bytes.substr(0, cut));
  }
  for (std::size_t at = 0; at + 4 <= bytes.size(); at += 37) {
    std::string overwritten = bytes;
    overwritten.replace(at, 4, "\xff\xff\xff\x7f");
    damaged.push_back(overwritten);
  }
  int loaded = 0;
  for (std::size_t i = 0; i < damaged.size(); ++i) {
    const std::string dir = "d" + std::to_string(i);
    std::filesystem::create_directory(sandbox.scratch.path() / dir);
    sandbox.scratch.write(dir + "/strings_201_xx.dll", damaged[i]);
    MessageLibrary::setLocation(sandbox.scratch.library(dir));
    MessageLibrary record(ofMessage, "ENU");
    KELPString text;
    if (!record.loadedPath().empty()) {
      ++loaded;
      record.library.getString(ofMessage, text);
    }
  }
  // The truncations up to the resource data can't load; some overwritten bytes don't matter.
  EXPECT_GT(loaded, 0);
  EXPECT_LT(loaded, static_cast<int>(damaged.size()));
}

// Through the log: one library per facility, in order of first use, and get appends.
TEST_F(MessageLibraryTest, TheLogLoadsOneLibraryPerFacilityOnFirstUse) {
  sandbox.configure(basalt::test::logKey() + "\"Location\"=" + regText(messages("neutral")) + "\n");
  CoreLogImpl impl;
  EXPECT_TRUE(impl.libraries.empty());
  const KELPString a("A");
  const KELPString b("B");
  const unsigned short* inserts[] = {a.c_str(), b.c_str()};
  KELPString text("> ");
  EXPECT_TRUE(impl.get(text, ofMessage, 2, inserts));
  EXPECT_EQ(narrow(text), "> A of B, 100% done");
  EXPECT_FALSE(impl.get(text, 0xC2010009, 0, nullptr)); // no such string
  EXPECT_EQ(narrow(text), "> A of B, 100% done");
  ASSERT_EQ(impl.libraries.size(), 1u);
  EXPECT_EQ(impl.libraries[0]->triedFileNames().size(), 1u);

  EXPECT_TRUE(impl.get(text, 0x02A00002, 2, inserts));
  EXPECT_FALSE(impl.get(text, 0x07770001, 0, nullptr)); // a facility nobody ships
  EXPECT_FALSE(impl.get(text, 0x07770001, 0, nullptr));
  ASSERT_EQ(impl.libraries.size(), 3u);
  EXPECT_EQ(impl.libraries[1]->facility, 0x02A00000u);
  EXPECT_EQ(impl.libraries[2]->facility, 0x07770000u);
  EXPECT_EQ(narrow(text), "> A of B, 100% donethread A record B");
  // Modules and LogFile are missing; the library nobody ships was looked for once.
  const auto events = sandbox.registry.events();
  ASSERT_EQ(events.size(), 3u);
  EXPECT_NE(events[1].strings.at(1)->find("\\TRELL(o)\\Log\\LogFile: "), std::string::npos);
  EXPECT_EQ(events[2].strings.at(0), loadFailure);
}

} // namespace
