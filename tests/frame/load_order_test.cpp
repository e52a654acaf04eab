#include "tests/support/child_process.h"

#include <gtest/gtest.h>

namespace {

using basalt::test::runChild;
using basalt::test::splitLines;
using Lines = std::vector<std::string>;

// What a child printed on the debug output and of its own, in order. The layer's registry and
// event log state live to the end of the process by design, so once the library is unloaded
// a leak checker would find them unreachable: it is off in the child.
Lines traceOf(const std::string& mode) {
  const basalt::test::ChildResult child =
      runChild({LOAD_ORDER_PROBE, BASALT_LIBRARY_FILE, mode},
               {"BASALT_DEBUG_OUTPUT=1", "ASAN_OPTIONS=detect_leaks=0"});
  EXPECT_EQ(child.exitCode, 0) << child.output;
  Lines trace;
  for (const std::string& line : splitLines(child.output)) {
    if (line.rfind("basalt: ", 0) == 0 || line.rfind("probe: ", 0) == 0) {
      trace.push_back(line);
    }
  }
  return trace;
}

const char* const staticObjects[] = {
    "SystemLocaleInfo",          "resourceLocation",  "registry root names",
    "SharedLibrary error mutex", "nullString",        "printed globals",
    "translated exception text", "libraryModuleName", "FormatError mutex"};

Lines staticObjectsMade() {
  Lines lines;
  for (const char* name : staticObjects) {
    lines.push_back(std::string("basalt: made ") + name);
  }
  return lines;
}

Lines staticObjectsDestroyed() {
  Lines lines;
  for (auto name = std::rbegin(staticObjects); name != std::rend(staticObjects); ++name) {
    lines.push_back(std::string("basalt: exit list: ") + *name);
  }
  return lines;
}

Lines concat(std::initializer_list<Lines> parts) {
  Lines all;
  for (const Lines& part : parts) {
    all.insert(all.end(), part.begin(), part.end());
  }
  return all;
}

// Process attach, with the log object made while the ORB is held.
Lines attach() {
  return {
      "basalt: thread library started",   "basalt: ORB taken",
      "basalt: made getLogObject holder", "basalt: made getLogObject mutex",
      "basalt: made log object",          "basalt: ORB released",
  };
}

TEST(LoadOrder, UsedLogGoesAfterThreadLibraryAndBeforeStaticObjects) {
  const Lines expected =
      concat({staticObjectsMade(),
              attach(),
              {"probe: loaded", "basalt: made ensure_init mutex",
               "basalt: made resourceLocation mutex", "probe: verbosity 0, record refused",
               "basalt: thread library ended", "basalt: exit list: resourceLocation mutex",
               "basalt: exit list: ensure_init mutex", "basalt: exit list: getLogObject mutex",
               "basalt: exit list: getLogObject holder", "basalt: deleted log object"},
              staticObjectsDestroyed(),
              {"probe: unloaded"}});
  EXPECT_EQ(traceOf("log"), expected);
}

TEST(LoadOrder, UnusedLogLeavesNoEnsureInitEntry) {
  const Lines expected = concat(
      {staticObjectsMade(),
       attach(),
       {"probe: loaded", "basalt: thread library ended", "basalt: exit list: getLogObject mutex",
        "basalt: exit list: getLogObject holder", "basalt: deleted log object"},
       staticObjectsDestroyed(),
       {"probe: unloaded"}});
  EXPECT_EQ(traceOf("quiet"), expected);
}

} // namespace
