#include "tests/support/child_process.h"
#include "tests/support/registry_sandbox.h"

#include <gtest/gtest.h>

namespace basalt::test {
namespace {

using basalt::testing::RegistrySandbox;

constexpr char logKey[] =
    "[HKEY_LOCAL_MACHINE\\Software\\Corvane Holdings\\10.0\\TRELL(o)\\Log]\r\n";

// A registry whose Location is directory, spelt as the library spells paths.
void useLocation(const RegistrySandbox& sandbox, const std::string& directory) {
  std::string location;
  for (const char c : directory) {
    location += c == '/' ? std::string("\\\\") : std::string(1, c);
  }
  sandbox.write("log.reg", std::string("Windows Registry Editor Version 5.00\r\n\r\n") + logKey +
                               "\"Location\"=\"" + location + "\"\r\n");
  sandbox.useSources("log.reg");
}

ChildResult runAdmin(const std::vector<std::string>& arguments) {
  std::vector<std::string> command = {BASALT_ADMIN, "message"};
  command.insert(command.end(), arguments.begin(), arguments.end());
  return runChild(command, {});
}

TEST(AdminMessage, FormatsTheTextAsTheLogDoesAndNamesTheLibraryThatGaveIt) {
  RegistrySandbox sandbox;
  useLocation(sandbox, TOOLS_MESSAGES_DIR);
  const std::string head = std::string("language: ENU\nlocation: ") + TOOLS_MESSAGES_DIR +
                           " (the Location value)\n"
                           "tried:    strings_201_xx.dll strings_201_ENU.dll strings_201_EN.dll\n"
                           "library:  " TOOLS_MESSAGES_DIR "/strings_201_EN.dll\n";

  // Options stand anywhere, in either form; "--" lets an insert begin with '-'.
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"--language", "ENU", "0xC2010001", "the cube", "3"},
        std::vector<std::string>{"0xC2010001", "--language=ENU", "the cube", "--", "3"}}) {
    const ChildResult found = runAdmin(arguments);
    EXPECT_EQ(found.exitCode, 0);
    EXPECT_EQ(found.output, "message:  0xC2010001 (facility 0x201, string 1)\n" + head +
                                "text:     Cannot open the cube after 3 tries (100% sure)\n");
  }
  const ChildResult dashed = runAdmin({"0xC2010001", "--language", "ENU", "--", "-x", "--y"});
  EXPECT_NE(dashed.output.find("\ntext:     Cannot open -x after --y tries"), std::string::npos)
      << dashed.output;

  // Decimal works as well; a reference past the inserts stays, an insert isn't read again.
  const ChildResult references = runAdmin({"--language", "ENU", "33619970", "%2", "B"});
  EXPECT_EQ(references.exitCode, 0);
  EXPECT_EQ(references.output, "message:  0x02010002 (facility 0x201, string 2)\n" + head +
                                   "text:     B before %2, %3 kept, %2 again\n");

  const ChildResult missing = runAdmin({"--language", "ENU", "0xC2010003"});
  EXPECT_EQ(missing.exitCode, 1);
  EXPECT_EQ(missing.output, "message:  0xC2010003 (facility 0x201, string 3)\n" + head +
                                "text:     (none)\n"
                                "basalt-admin: strings_201_EN.dll has no text for message "
                                "0xC2010003\n");
  EXPECT_TRUE(sandbox.events().empty());
}

TEST(AdminMessage, ListsTheNamesTriedWhenNoLibraryLoadsAndTellsTheEventLogOnlyWhenAsked) {
  RegistrySandbox sandbox;
  useLocation(sandbox, TOOLS_MESSAGES_DIR);
  EXPECT_EQ(runAdmin({"--language", "DEU", "0x00050001"}).exitCode, 1);
  EXPECT_TRUE(sandbox.events().empty());

  const ChildResult result = runAdmin({"--language", "DEU", "0x00050001", "--events"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_NE(result.output.find("\ntried:    strings_5_xx.dll strings_5_DEU.dll strings_5_DE.dll "
                               "strings_5_en.dll\nlibrary:  (none loaded)\ntext:     (none)\n"
                               "basalt-admin: no message library of facility 0x5 could be loaded"),
            std::string::npos)
      << result.output;
  const auto events = sandbox.events();
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].type, "error");
  EXPECT_EQ(events[0].strings.at(0),
            "Failed to load the resource dlls. The component is not installed correctly.");

  // A language of two letters is not cut: three names.
  const ChildResult two = runAdmin({"--language", "fr", "0x00050001"});
  EXPECT_NE(two.output.find("\ntried:    strings_5_xx.dll strings_5_fr.dll strings_5_en.dll\n"),
            std::string::npos)
      << two.output;
}

TEST(AdminMessage, WithoutLocationSearchesTheLibrarysOwnDirectoryAndSaysWhy) {
  RegistrySandbox sandbox;
  const ChildResult result = runAdmin({"0xC2010001"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_NE(
      result.output.find(std::string("\nlocation: ") + BASALT_LIBRARY_DIR +
                         " (libbasalt's directory); Location isn't usable: "
                         "[HKEY_LOCAL_MACHINE]Software\\Corvane Holdings\\10.0\\TRELL(o)\\Log"),
      std::string::npos)
      << result.output;
}

TEST(AdminMessage, RefusesWhatIsNoNumberOrNoText) {
  for (const std::vector<std::string>& wrong :
       {std::vector<std::string>{}, std::vector<std::string>{"0x"},
        std::vector<std::string>{"0xC201000G"}, std::vector<std::string>{"4294967296"},
        std::vector<std::string>{"-1"}, std::vector<std::string>{"--language"},
        std::vector<std::string>{"--language", "ENU"}, std::vector<std::string>{"1", "bad\xc3"},
        std::vector<std::string>{"1", "-x"}, std::vector<std::string>{"1", "--events=yes"}}) {
    const ChildResult result = runAdmin(wrong);
    EXPECT_EQ(result.exitCode, 2) << (wrong.empty() ? "" : wrong.back());
    EXPECT_EQ(result.output.rfind("basalt-admin: ", 0), 0u) << result.output;
  }
}

} // namespace
} // namespace basalt::test
