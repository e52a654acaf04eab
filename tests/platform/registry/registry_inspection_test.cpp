#include "basalt/platform/registry/registry_store.h"
#include "support/registry_sandbox.h"

#include <gtest/gtest.h>

namespace basalt::platform {
namespace {

using basalt::testing::RegistrySandbox;

std::string v5(const std::string& body) {
  return "Windows Registry Editor Version 5.00\r\n\r\n" + body;
}

// "path:line: what" for each problem, the sandbox's directory left out.
std::vector<std::string> shown(const RegistryInspection& inspection, const RegistrySandbox& box) {
  std::vector<std::string> lines;
  const std::string root = box.path("");
  for (const RegistrySource& source : inspection.sources) {
    std::string line = source.path.substr(root.size()) + ":";
    for (const RegFileProblem& problem : source.problems) {
      line += " " + std::to_string(problem.line) + ": " + problem.what;
    }
    lines.push_back(line);
  }
  return lines;
}

TEST(RegistryInspection, ListsEverySourceWithItsProblemsEachTimeItIsAsked) {
  RegistrySandbox sandbox;
  sandbox.write("base.reg", v5("[HKLM\\Software\\A]\r\n\"Good\"=dword:1\r\nnonsense\r\n"));
  sandbox.write("conf.d/10.reg", v5("[HKLM\\Software\\A]\r\n\"Late\"=\"yes\"\r\n"));
  sandbox.write("conf.d/20.reg", "REGEDIT5\r\n");
  sandbox.useSources("base.reg:missing.reg:conf.d");

  const std::vector<std::string> expected = {
      "base.reg: 5: expected a [key] line, a \"name\"=value line or an @=value line",
      "missing.reg: 0: the file can't be opened: No such file or directory", "conf.d/10.reg:",
      "conf.d/20.reg: 1: not a registry file: the first line must be \"Windows Registry Editor "
      "Version 5.00\" or \"REGEDIT4\""};
  const RegistryInspection first = inspectRegistry();
  EXPECT_EQ(shown(first, sandbox), expected);

  // The files are parsed once and their events sent once; the problems are told every time.
  const std::size_t events = sandbox.events().size();
  const RegistryInspection second = inspectRegistry();
  EXPECT_EQ(shown(second, sandbox), expected);
  EXPECT_EQ(second.tree, first.tree);
  EXPECT_EQ(sandbox.events().size(), events);
  EXPECT_EQ(events, 3u);
}

} // namespace
} // namespace basalt::platform
