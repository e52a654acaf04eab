#include "tests/support/child_process.h"
#include "tests/support/scratch_directory.h"

#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>

namespace basalt::test {
namespace {

TEST(DemoClient, LogsThroughItsSampleConfigurationAndShowsTheFiles) {
  const EnvironmentVariable registry("BASALT_REGISTRY", nullptr);
  const EnvironmentVariable events("BASALT_EVENTLOG", nullptr);
  const ScratchDirectory scratch;
  const EnvironmentVariable temp("TMPDIR", scratch.path().c_str());

  const ChildResult result = runChild({DEMO_CLIENT}, {});
  ASSERT_EQ(result.exitCode, 0) << result.output;
  const std::string& out = result.output;
  const auto shows = [&out](const std::string& text) {
    return out.find(text) != std::string::npos;
  };

  const std::string logSection = "\n== Log file: " + scratch.os("basalt-demo-");
  ASSERT_TRUE(shows(logSection)) << out;
  const std::string log =
      out.substr(out.find(logSection), out.find("\n== Event file: ") - out.find(logSection));
  const auto logged = [&log](const std::string& text) {
    return log.find(text) != std::string::npos;
  };
  EXPECT_TRUE(logged("/basalt_demo.log ==\n")) << log;
  EXPECT_TRUE(logged(": DEMO: Demo client demo_client started, version 1.0\n")) << log;
  EXPECT_TRUE(logged(": DEMO: Step 1 of 2: reading the configuration\n")) << log;
  EXPECT_TRUE(logged(": DEMO: The report Sales by region took 42 ms\n")) << log;
  EXPECT_TRUE(logged(": Storage: Cache filled to 99% with 1250 entries\n")) << log;
  EXPECT_TRUE(logged(": DEMO: Cannot open the cube Sales 2024: the server olap.example.com "
                     "refused the connection after 3 attempts\n"))
      << log;
  EXPECT_TRUE(logged(": DEMO: No message obtained. Check the Event log for errors\n")) << log;
  for (const char* refused : {"too detailed", "95%", "lower case", "quiet"}) {
    EXPECT_FALSE(logged(refused)) << refused;
  }

  EXPECT_TRUE(shows("\n== Event file: " + scratch.os("basalt-demo-"))) << out;
  EXPECT_TRUE(shows("Failed to load the resource dlls. The component is not installed "
                    "correctly."))
      << out;
  EXPECT_TRUE(shows("its text: Cannot open the cube Sales 2024: the server olap.example.com "
                    "refused the connection after 3 attempts\n"))
      << out;
}

// The words of a README command as the shell splits them: quotes, no expansions, and nothing
// from a redirection on.
std::vector<std::string> shellWords(const std::string& line) {
  std::vector<std::string> words;
  std::string word;
  bool inWord = false;
  char quote = 0;
  for (const char c : line) {
    if (quote != 0 && c != quote) {
      word += c;
    } else if (quote != 0 || c == '\'' || c == '"') {
      quote = quote != 0 ? 0 : c;
      inWord = true;
    } else if (c != ' ') {
      word += c;
      inWord = true;
    } else if (inWord) {
      words.push_back(word);
      word.clear();
      inWord = false;
    }
  }
  if (inWord) {
    words.push_back(word);
  }
  const auto redirection = std::find(words.begin(), words.end(), ">");
  words.erase(redirection, words.end());
  return words;
}

TEST(DemoClient, TheReadmesToolExamplesRunAgainstTheDemosFiles) {
  const EnvironmentVariable registry("BASALT_REGISTRY", DEMO_REGISTRY_FILE);
  std::ifstream readme(BASALT_README);
  bool inToolSection = false;
  bool inShellBlock = false;
  int examples = 0;
  for (std::string line; std::getline(readme, line);) {
    if (line.rfind("## ", 0) == 0) {
      inToolSection = line == "## The operator's tool: basalt-admin";
    } else if (line.rfind("```", 0) == 0) {
      inShellBlock = !inShellBlock && line == "```sh";
    } else if (inToolSection && inShellBlock) {
      std::vector<std::string> command = shellWords(line);
      ASSERT_FALSE(command.empty() || command[0] != "basalt-admin") << line;
      command[0] = BASALT_ADMIN;
      EXPECT_EQ(runChild(command, {}).exitCode, 0) << line;
      ++examples;
    }
  }
  EXPECT_GE(examples, 4);
}

} // namespace
} // namespace basalt::test
