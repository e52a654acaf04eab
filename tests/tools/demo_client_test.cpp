// The demo client run as a user runs it, and the README's examples of the operator's tool
// against the demo's files, as the shell runs them.

#include "tests/support/child_process.h"
#include "tests/support/scratch_directory.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <sstream>

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
  const std::size_t logSection = out.find("\n== Log file: " + scratch.os("basalt-demo-"));
  const std::size_t eventSection = out.find("\n== Event file: " + scratch.os("basalt-demo-"));
  ASSERT_TRUE(logSection < eventSection && eventSection != std::string::npos) << out;
  const std::string log = out.substr(logSection, eventSection - logSection);
  const std::string cube =
      "Cannot open the cube Sales 2024: the server olap.example.com refused the "
      "connection after 3 attempts\n";
  const std::string logged[] = {"/basalt_demo.log ==\n",
                                ": DEMO: Demo client demo_client started, version 1.0\n",
                                ": DEMO: Step 1 of 2: reading the configuration\n",
                                ": DEMO: The report Sales by region took 42 ms\n",
                                ": Storage: Cache filled to 99% with 1250 entries\n",
                                ": DEMO: " + cube,
                                ": DEMO: No message obtained. Check the Event log for errors\n"};
  for (const std::string& line : logged) {
    EXPECT_NE(log.find(line), std::string::npos) << line << log;
  }
  for (const char* refused : {"too detailed", "95%", "lower case", "quiet"}) {
    EXPECT_EQ(log.find(refused), std::string::npos) << refused;
  }
  const std::string shown[] = {
      "Failed to load the resource dlls. The component is not installed correctly.",
      "its text: " + cube};
  for (const std::string& text : shown) {
    EXPECT_NE(out.find(text), std::string::npos) << text << out;
  }
}

TEST(DemoClient, TheReadmesToolExamplesRunAgainstTheDemosFiles) {
  const ScratchDirectory scratch;
  const std::vector<std::string> environment = {
      "PATH=" + std::filesystem::path(BASALT_ADMIN).parent_path().string() + ":/usr/bin:/bin",
      "BASALT_REGISTRY=" DEMO_REGISTRY_FILE};
  const std::string readme = fileBytes(BASALT_README);
  const std::size_t section = readme.find("\n## The operator's tool: basalt-admin\n");
  ASSERT_NE(section, std::string::npos);
  const std::size_t block = readme.find("\n```sh\n", section) + 7;
  std::istringstream lines(readme.substr(block, readme.find("\n```", block) - block));
  int examples = 0;
  for (std::string line; std::getline(lines, line); ++examples) {
    ASSERT_EQ(line.rfind("basalt-admin ", 0), 0U) << line;
    const std::string command = "cd '" + scratch.os("") + "' && " + line;
    EXPECT_EQ(runChild({"/bin/sh", "-c", command}, environment).exitCode, 0) << line;
  }
  EXPECT_GE(examples, 4);
}

} // namespace
} // namespace basalt::test
