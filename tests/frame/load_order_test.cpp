#include "tests/support/child_process.h"

#include <gtest/gtest.h>
#include <sstream>

namespace {

using Lines = std::vector<std::string>;

// What a child printed on the debug output and of its own, in order. The layer's registry and
// event log state live to the end of the process by design, so once the library is unloaded
// a leak checker would find them unreachable: it is off in the child.
Lines traceOf(const std::string& mode) {
  const basalt::test::ChildResult child =
      basalt::test::runChild({LOAD_ORDER_PROBE, BASALT_LIBRARY_FILE, mode},
                             {"BASALT_DEBUG_OUTPUT=1", "ASAN_OPTIONS=detect_leaks=0"});
  EXPECT_EQ(child.exitCode, 0) << child.output;
  Lines trace;
  std::istringstream output(child.output);
  for (std::string line; std::getline(output, line);) {
    if (line.rfind("basalt: ", 0) == 0 || line.rfind("probe: ", 0) == 0) {
      trace.push_back(line);
    }
  }
  return trace;
}

// The static objects are made first and destroyed last, in reverse; process attach makes the
// log object while the ORB is held, and the ensure_init entry exists only once the log is used.
Lines expectedTrace(bool logUsed) {
  const char* const staticObjects[] = {
      "SystemLocaleInfo",          "resourceLocation",  "registry root names",
      "SharedLibrary error mutex", "nullString",        "printed globals",
      "translated exception text", "libraryModuleName", "FormatError mutex"};
  Lines lines;
  for (const char* name : staticObjects) {
    lines.push_back(std::string("basalt: made ") + name);
  }
  lines.insert(lines.end(), {"basalt: thread library started", "basalt: ORB taken",
                             "basalt: made getLogObject holder", "basalt: made getLogObject mutex",
                             "basalt: made log object", "basalt: ORB released", "probe: loaded"});
  if (logUsed) {
    lines.insert(lines.end(),
                 {"basalt: made ensure_init mutex", "basalt: made resourceLocation mutex",
                  "probe: verbosity 0, record refused"});
  }
  lines.emplace_back("basalt: thread library ended");
  if (logUsed) {
    lines.insert(lines.end(), {"basalt: exit list: resourceLocation mutex",
                               "basalt: exit list: ensure_init mutex"});
  }
  lines.insert(lines.end(),
               {"basalt: exit list: getLogObject mutex", "basalt: exit list: getLogObject holder",
                "basalt: deleted log object"});
  for (auto name = std::rbegin(staticObjects); name != std::rend(staticObjects); ++name) {
    lines.push_back(std::string("basalt: exit list: ") + *name);
  }
  lines.emplace_back("probe: unloaded");
  return lines;
}

TEST(LoadOrder, LogGoesAfterThreadLibraryAndBeforeStaticObjectsAndLeavesEntriesOnlyOnceUsed) {
  EXPECT_EQ(traceOf("log"), expectedTrace(true));
  EXPECT_EQ(traceOf("quiet"), expectedTrace(false));
}

} // namespace
