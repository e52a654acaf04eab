// Crash reports: of real faults in a child process, with the trace switch on and off, and of
// contexts made on purpose in this process.

#include "basalt/crash/stack_report.h"
#include "tests/support/child_process.h"
#include "tests/support/registry_sandbox.h"
#include "tests/support/scratch_directory.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <regex>
#include <string>
#include <tuple>
#include <vector>

namespace {

namespace plat = basalt::platform;
using basalt::test::ChildResult;

const char* const caughtLine =
    "caught 0xC2011F00 StructuredException \"Structured Exception - stack will be traced\" 3\n";
const char* const reportStart = "\n\n\n _____________________________________________\n\n"
                                "            Start of Stack Dump\n";
// The last two lines of every report.
const char* const reportTrailer = " \n_____________________________________________ \n"
                                  "_____________________________________________\n\n\n\n\n";

// The parts of text that begin with marker, each up to the next one.
std::vector<std::string> partsFrom(const std::string& text, const std::string& marker) {
  std::vector<std::string> parts;
  for (std::size_t at = text.find(marker); at != std::string::npos;) {
    const std::size_t next = text.find(marker, at + 1);
    parts.push_back(text.substr(at, next == std::string::npos ? next : next - at));
    at = next;
  }
  return parts;
}

// The symbol of each frame of a report, in order; empty for a frame without one.
std::vector<std::string> frameSymbols(const std::string& report) {
  std::vector<std::string> symbols;
  const std::string symbol = "\n       Symbol:  ";
  for (const std::string& frame : partsFrom(report, "\nFrame FV IP")) {
    const std::size_t name = frame.find(symbol);
    const std::size_t start = name + symbol.size();
    symbols.push_back(
        name == std::string::npos ? "" : frame.substr(start, frame.find("  +", start) - start));
  }
  return symbols;
}

// Whether the report's first frames have these symbols.
bool startsWith(const std::string& report, const std::vector<std::string>& chain) {
  const std::vector<std::string> symbols = frameSymbols(report);
  return symbols.size() >= chain.size() && std::equal(chain.begin(), chain.end(), symbols.begin());
}

class CrashReportTest : public ::testing::Test {
protected:
  void setDoTrace(const std::string& value, const std::string& name = "DoTrace") {
    registry.write("trace.reg", "Windows Registry Editor Version 5.00\n\n"
                                "[HKEY_LOCAL_MACHINE\\Software\\Corvane Holdings\\10.0\\TRELL(o)\\"
                                "Trace]\n\"" +
                                    name + "\"=" + value + "\n");
    registry.useSources("trace.reg");
  }

  // The sanitizers' own fault handlers would end a child that our handler passes a fault on to
  // before the signal could; they stand aside here so that every build sees the plain death.
  ChildResult probe(const std::string& fault, const std::string& where,
                    const std::string& times = "1", const std::string& extra = "",
                    const char* program = CRASH_PROBE) const {
    const std::string standAside = "handle_segv=0:handle_sigbus=0:handle_sigfpe=0:handle_sigill=0";
    std::vector<std::string> environment = {"ASAN_OPTIONS=" + standAside,
                                            "TSAN_OPTIONS=" + standAside};
    if (!extra.empty()) {
      environment.push_back(extra);
    }
    return basalt::test::runChild({program, fault, where, times}, environment);
  }

  std::string report() const { return temp.read("LowmarshTrace.log"); }
  // Each from its opening line feeds to its trailer.
  std::vector<std::string> reportsInFile() const { return partsFrom(report(), reportStart); }

  basalt::testing::RegistrySandbox registry;
  basalt::test::ScratchDirectory temp;
  // Where this process's reports go, and its children's.
  basalt::test::EnvironmentVariable tmpdir{"TMPDIR", temp.path().c_str()};
};

// On the loading thread and on a thread that ran the thread attach, again and again.
TEST_F(CrashReportTest, FaultsBecomeAnyErrorsAndAppendReportsThatNameTheFaultingFunction) {
  setDoTrace("dword:00000001");
  const std::tuple<std::string, std::string, std::string> faults[] = {
      {"null-write", "main", "writeThroughNull(int volatile*)"},
      {"indirect-write", "main", "writeThroughNull(int volatile*)"},
      {"divide", "main", "divideByZero(int)"},
      {"illegal", "main", "executeIllegalInstruction()"},
      {"null-write", "attached", "writeThroughNull(int volatile*)"}};
  for (const auto& [fault, where, declaration] : faults) {
    const ChildResult result = probe(fault, where);
    EXPECT_EQ(result.exitCode, 0) << fault << ": " << result.output;
    EXPECT_EQ(result.output, caughtLine) << fault;
  }

  const std::vector<std::string> reports = reportsInFile();
  ASSERT_EQ(reports.size(), std::size(faults)) << report();
  const std::regex header(" _{45}\n\n {12}Start of Stack Dump\n _{45}\nTime: "
                          "\\w{3} \\w{3} [ \\d]\\d \\d\\d:\\d\\d:\\d\\d \\d{4}\n\n"
                          "\nEnumerating Modules loaded for Stacktracing: \n"
                          "0x[0-9A-F]{16} crash_probe\n(0x[0-9A-F]{16} [^ \n]+\n)+"
                          "\nStackwalk output\t\t: Frame = frame number\n");
  for (std::size_t index = 0; index < reports.size(); ++index) {
    const std::string& text = reports[index];
    const std::string& declaration = std::get<2>(faults[index]);
    const std::string name = "probe::" + declaration.substr(0, declaration.find('('));
    SCOPED_TRACE(std::get<0>(faults[index]) + "\n" + text);
    EXPECT_TRUE(std::regex_search(text, header));
    EXPECT_NE(text.find("\t\t\t\t: Stack = stack pointer\n\n\nNote: a simple type-checking"),
              std::string::npos);
    // All frames down to main lie in the probe: one module block for them.
    EXPECT_EQ(
        partsFrom(text.substr(0, text.find("Symbol:  main  +")), "Module:  crash_probe[").size(),
        1U);
    EXPECT_NE(text.find("         Symbol type:  COFF\n"), std::string::npos);
    // Frame 0 is the faulting function, then its callers in order.
    EXPECT_TRUE(startsWith(text, {name, "probe::faultBelow", "probe::faultTwice"}));
    EXPECT_NE(text.find("  Declaration:  probe::" + declaration + "\n"), std::string::npos);
    EXPECT_NE(text.find("    Decorated:  _ZN5probe"), std::string::npos);
    // The heading repeats for every frame.
    EXPECT_EQ(frameSymbols(text).size(), partsFrom(text, " -- 0x").size());
    EXPECT_EQ(text.substr(text.size() - std::strlen(reportTrailer)), reportTrailer);
  }
  EXPECT_EQ(probe("divide", "attached", "3").output,
            std::string(caughtLine) + caughtLine + caughtLine);
}

// The locals of -O0 code, in the faulting frame and its caller, and the module's globals
// whose names begin with 'g'; of -O2 code only what it keeps in the frame, nothing of its
// registers.
TEST_F(CrashReportTest, FramesShowTheVariablesOfTheirDebugInformation) {
  setDoTrace("dword:00000001");
  // The locals from a separate debug file, the registers from the program's own DWARF.
  EXPECT_EQ(probe("locals", "main", "1", "", SPLIT_CRASH_PROBE).output, caughtLine);
  EXPECT_EQ(probe("registers", "main").output, caughtLine);
  const std::vector<std::string> reports = reportsInFile();
  ASSERT_EQ(reports.size(), 2U) << report();
  const std::string& locals = reports[0];
  const char* const faulting = "  Declaration:  probe::faultWithLocals(int, int volatile*)\n"
                               "\n\t\tint parameter = 7"
                               "\n\t\tint* target = 0x0000000000000000"
                               "\n\t\tchar letter = x"
                               "\n\t\tchar small = y"
                               "\n\t\tbyte = 200"
                               "\n\t\tint shortValue = -12"
                               "\n\t\tint count = 65535"
                               "\n\t\tfloat ratio = 1.500000"
                               "\n\t\tdouble precise = 2.250000"
                               "\n\t\tbig = -1234567890123"
                               "\n\t\tflag = 1"
                               "\n\t\tchar* text = 0x0000000000001234"
                               "\n\t\tfloat* ratioPointer = 0x0000000000002345"
                               "\n\t\tdouble* precisePointer = 0x0000000000003456"
                               "\n\t\tint* countPointer = 0x0000000000004567"
                               "\n\t\topaque = 0x0000000000005678"
                               "\n\t\tpair = 0x0000000200000001"
                               "\n\t\tcolour = 0x0000000000000007"
                               "\n\t\tarray = 0x0000000400000003"
                               "\n____";
  EXPECT_NE(locals.find(faulting), std::string::npos) << locals;
  EXPECT_NE(locals.find("  Declaration:  probe::callWithLocals(int volatile*)\n"
                        "\n\t\tint* target = 0x0000000000000000\n\t\tint depth = 3\n____"),
            std::string::npos);
  const std::size_t globals =
      locals.find("\n\nSearching sstGlobalSym symbol table for globals beginning with 'g' ");
  const std::size_t statics =
      locals.find("\n\nSearching sstStaticSym symbol table for globals beginning with 'g' ");
  const std::size_t count = locals.find("\n\t\tglobal gProbeCount = 0x000000000000002A");
  const std::size_t ratio = locals.find("\n\t\tglobal gProbeRatio = 0x4004000000000000");
  EXPECT_TRUE(globals < count && count < statics && statics < ratio && ratio != std::string::npos);
  EXPECT_EQ(locals.find("notShownCount"), std::string::npos);
  EXPECT_NE(reports[1].find("  Declaration:  probe::faultInRegisters(int, int volatile*)\n"
                            "\n\t\tint kept = 8\n____"),
            std::string::npos)
      << reports[1];
}

// Off: 0, a value of another type, or no DoTrace value.
TEST_F(CrashReportTest, WithoutTheSwitchTheProcessDiesOfTheFault) {
  const std::pair<const char*, const char*> switches[] = {
      {"DoTrace", "dword:00000000"}, {"DoTrace", "\"1\""}, {"Other", "dword:00000001"}};
  for (const auto& [name, value] : switches) {
    setDoTrace(value, name);
    for (const std::string fault : {"null-write", "divide", "illegal"}) {
      const ChildResult result = probe(fault, "main");
      EXPECT_EQ(result.exitCode, -1) << name << value << " " << fault << ": " << result.output;
      EXPECT_EQ(result.output.find("caught"), std::string::npos) << result.output;
    }
  }
  EXPECT_FALSE(std::filesystem::exists(temp.path() / "LowmarshTrace.log"));
}

// A thread that the library didn't start has no translator: its fault is reported, then ends
// the process by its signal, through the handler that was there before the library's if any.
// Not reported: a signal sent rather than raised by an instruction, and a fault that comes
// while a translation is under way.
TEST_F(CrashReportTest, FaultsOnOtherThreadsAreReportedThenEndTheProcess) {
  setDoTrace("dword:00000001");
  // fault, where, environment, output, reports so far
  const std::tuple<const char*, const char*, std::string, std::string, std::size_t> runs[] = {
      {"raise", "main", "", "", 0},
      {"null-write", "plain", "", "", 1},
      {"null-write", "plain", "PROBE_PREVIOUS_HANDLER=1", "previous handler at the fault\n", 2},
      // A translator that leaves the fault be: back at the fault, untranslated and unreported.
      {"null-write", "busy", "PROBE_PREVIOUS_HANDLER=1", "previous handler at the fault\n", 2}};
  for (const auto& [fault, where, environment, output, reports] : runs) {
    const ChildResult result = probe(fault, where, "1", environment);
    EXPECT_EQ(result.signal, SIGSEGV) << fault << " " << where << ": " << result.output;
    EXPECT_EQ(result.output, output);
    EXPECT_EQ(reportsInFile().size(), reports) << where;
  }
  for (const std::string& text : reportsInFile()) {
    EXPECT_NE(text.find("       Symbol:  probe::writeThroughNull  +"), std::string::npos) << text;
    EXPECT_EQ(text.substr(text.size() - std::strlen(reportTrailer)), reportTrailer);
  }
}

// Code without frame pointers and the C library's own: only unwind tables lead through them;
// code without unwind tables: only its frame pointer. A call through a null pointer stands at
// address 0, without a symbol.
TEST_F(CrashReportTest, EveryFrameIsShownWhereverItsCallerLies) {
  setDoTrace("dword:ffffffff"); // any value but 0
  for (const std::string fault :
       {"optimised", "comparator", "memcpy", "frame-pointers", "null-call"}) {
    EXPECT_EQ(probe(fault, "main").output, caughtLine) << fault;
  }
  const std::vector<std::string> reports = reportsInFile();
  ASSERT_EQ(reports.size(), 5U) << report();
  EXPECT_TRUE(startsWith(reports[0], {"probe::(anonymous namespace)::optimisedLeaf",
                                      "probe::(anonymous namespace)::optimisedMiddle",
                                      "probe::optimisedOuter", "probe::faultBelow"}))
      << reports[0];
  EXPECT_TRUE(startsWith(reports[3], {"probe::writeThroughNull", "probe::catchBelowFramePointers",
                                      "callWithoutUnwindTables", "probe::faultBelow"}))
      << reports[3];
  EXPECT_TRUE(startsWith(reports[4], {"", "probe::callThroughNull", "probe::faultBelow"}))
      << reports[4];
  const std::size_t none = reports[4].find(" -No symbols retrieved- \n");
  EXPECT_LT(reports[4].find("\n    0 -- 0x0000000000000000 0x"), none);
  EXPECT_LT(none, reports[4].find("\n    1 -- 0x"));

  // The comparison, the C library's sort, then the function that called it.
  const std::vector<std::string> sorting = frameSymbols(reports[1]);
  const auto caller =
      std::find(sorting.begin(), sorting.end(), "probe::sortWithFaultingComparison");
  ASSERT_NE(caller, sorting.end()) << reports[1];
  EXPECT_EQ(sorting[0], "probe::(anonymous namespace)::faultingComparison") << reports[1];
  EXPECT_TRUE(std::any_of(sorting.begin() + 1, caller, [](const std::string& name) {
    return name.rfind("qsort", 0) == 0;
  })) << reports[1];
  EXPECT_EQ(*(caller + 1), "probe::faultBelow");

  // memcpy, then the function that called it.
  const std::vector<std::string> copying = frameSymbols(reports[2]);
  ASSERT_GE(copying.size(), 3U) << reports[2];
  EXPECT_EQ(copying[1], "probe::copyIntoNowhere") << reports[2];
  EXPECT_EQ(copying[2], "probe::faultBelow");
  // The C library has no DWARF of its own: its globals come from the debug file that its
  // build-id names.
  const std::size_t libc = reports[2].find("Module:  libc[");
  ASSERT_NE(libc, std::string::npos) << reports[2];
  EXPECT_LT(reports[2].find("\n\nSearching sstStaticSym", libc),
            reports[2].find("\nFrame FV", libc));
}

// Reports the live frame of this function. A report is skipped for the context of the last one,
// so each test has static contexts of its own, whose addresses no other object can share.
__attribute__((noinline)) void reportFromHere(plat::CONTEXT& context) {
  plat::RtlCaptureContext(&context);
  basalt::crash::writeStackReport(&context);
  asm volatile("");
}

__attribute__((noinline)) void reportFromCaller(plat::CONTEXT& context) {
  reportFromHere(context);
  asm volatile("");
}

// From a context captured here rather than a fault's: the frames are those of the capture.
TEST_F(CrashReportTest, TheSameContextIsReportedOnce) {
  static plat::CONTEXT first{};
  static plat::CONTEXT second{};
  reportFromCaller(first);
  reportFromCaller(first);
  EXPECT_EQ(reportsInFile().size(), 1U);
  reportFromCaller(second);
  const std::string text = report();
  EXPECT_EQ(partsFrom(text, reportStart).size(), 2U) << text;
  EXPECT_LT(text.find("Symbol:  (anonymous namespace)::reportFromHere  +"),
            text.find("Symbol:  (anonymous namespace)::reportFromCaller  +"));
}

// A context without a stack, then one whose report can't be opened.
TEST_F(CrashReportTest, AContextWithNoStackGivesOneFrameAndAFileThatCantBeOpenedNothing) {
  static plat::CONTEXT context{};
  context.Rip = 1;
  context.Rbp = 8;
  context.Rsp = 8;
  basalt::crash::writeStackReport(&context);
  const std::string text = report();
  EXPECT_NE(text.find("\nThis should only be used as a guide.\n SymGetModuleInfo failed: "),
            std::string::npos)
      << text;
  // The symbol look-up's ERROR_INVALID_ADDRESS is passed over: the frame ends the report.
  const std::string end = "\n    0 -- 0x0000000000000001 0x0000000000000000 0x0000000000000008 "
                          "0x0000000000000008 \n" +
                          std::string(84, '_') + reportTrailer;
  EXPECT_EQ(text.substr(text.size() - end.size()), end) << text;

  std::filesystem::remove(temp.path() / "LowmarshTrace.log");
  std::filesystem::create_directory(temp.path() / "LowmarshTrace.log");
  static plat::CONTEXT other{};
  reportFromCaller(other);
  EXPECT_TRUE(std::filesystem::is_empty(temp.path() / "LowmarshTrace.log"));
}

TEST(SymbolTypeName, NamesTheKnownTypesAndNumbersTheRest) {
  const std::pair<int, const char*> cases[] = {
      {0, "None"}, {2, "CV"}, {6, "SYM "}, {7, " 7"}, {12345, " 123"}};
  for (const auto& [value, name] : cases) {
    KELPString text;
    basalt::crash::symbolTypeName(static_cast<plat::SYM_TYPE>(value), text);
    EXPECT_EQ(text, KELPString(name)) << value;
  }
}

} // namespace
