// Real faults in a child process, with the trace switch on and off.

#include "tests/crash/report_text.h"
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
#include <vector>

namespace {

using basalt::test::ChildResult;
using basalt::test::countOf;
using basalt::test::reportTrailer;

const char* const caughtLine =
    "caught 0xC2011F00 StructuredException \"Structured Exception - stack will be traced\" 3\n";
const char* const reportStart = "\n\n\n _____________________________________________\n\n"
                                "            Start of Stack Dump\n";
// The reports in the file, each from its opening line feeds to its trailer.
std::vector<std::string> splitReports(const std::string& file) {
  std::vector<std::string> reports;
  for (std::size_t at = file.find(reportStart); at != std::string::npos;) {
    const std::size_t next = file.find(reportStart, at + 1);
    reports.push_back(file.substr(at, next == std::string::npos ? next : next - at));
    at = next;
  }
  return reports;
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
                    const std::string& times = "1", const std::string& extra = "") const {
    const std::string standAside = "handle_segv=0:handle_sigbus=0:handle_sigfpe=0:handle_sigill=0";
    std::vector<std::string> environment = {"TMPDIR=" + temp.path().string(),
                                            "ASAN_OPTIONS=" + standAside,
                                            "TSAN_OPTIONS=" + standAside};
    if (!extra.empty()) {
      environment.push_back(extra);
    }
    return basalt::test::runChild({CRASH_PROBE, fault, where, times}, environment);
  }

  std::string report() const { return temp.read("LowmarshTrace.log"); }

  basalt::testing::RegistrySandbox registry;
  basalt::test::ScratchDirectory temp;
};

TEST_F(CrashReportTest, FaultsBecomeAnyErrorsAndAppendReportsThatNameTheFaultingFunction) {
  setDoTrace("dword:00000001");
  const std::vector<std::pair<std::string, std::string>> faults = {
      {"null-write", "writeThroughNull(int volatile*)"},
      {"indirect-write", "writeThroughNull(int volatile*)"},
      {"divide", "divideByZero(int)"},
      {"illegal", "executeIllegalInstruction()"}};
  for (const auto& [fault, declaration] : faults) {
    const ChildResult result = probe(fault, "main");
    EXPECT_EQ(result.exitCode, 0) << fault << ": " << result.output;
    EXPECT_EQ(result.output, caughtLine) << fault;
  }

  const std::vector<std::string> reports = splitReports(report());
  ASSERT_EQ(reports.size(), faults.size()) << report();
  const std::regex header(" _{45}\n\n {12}Start of Stack Dump\n _{45}\nTime: "
                          "\\w{3} \\w{3} [ \\d]\\d \\d\\d:\\d\\d:\\d\\d \\d{4}\n\n"
                          "\nEnumerating Modules loaded for Stacktracing: \n"
                          "0x[0-9A-F]{16} crash_probe\n(0x[0-9A-F]{16} [^ \n]+\n)+"
                          "\nStackwalk output\t\t: Frame = frame number\n");
  for (std::size_t index = 0; index < reports.size(); ++index) {
    const std::string& text = reports[index];
    const std::string& declaration = faults[index].second;
    const std::string name = "probe::" + declaration.substr(0, declaration.find('('));
    SCOPED_TRACE(faults[index].first + "\n" + text);
    EXPECT_TRUE(std::regex_search(text, header));
    EXPECT_NE(text.find("\t\t\t\t: Stack = stack pointer\n\n\nNote: a simple type-checking"),
              std::string::npos);
    // All frames down to main lie in the probe: one module block for them.
    EXPECT_EQ(countOf(text.substr(0, text.find("Symbol:  main  +")), "Module:  crash_probe["), 1U);
    EXPECT_NE(text.find("         Symbol type:  COFF\n"), std::string::npos);
    // Frame 0 is the faulting function, then its callers in order.
    const std::size_t frame0 = text.find("\n    0 -- 0x");
    const std::size_t faulting = text.find("       Symbol:  " + name + "  +");
    const std::size_t caller = text.find("       Symbol:  probe::faultBelow  +");
    const std::size_t outer = text.find("       Symbol:  probe::faultTwice  +");
    ASSERT_NE(frame0, std::string::npos);
    EXPECT_TRUE(frame0 < faulting && faulting < text.find("\n    1 -- 0x") && faulting < caller &&
                caller < outer);
    EXPECT_NE(text.find("  Declaration:  probe::" + declaration + "\n"), std::string::npos);
    EXPECT_NE(text.find("    Decorated:  _ZN5probe"), std::string::npos);
    // The heading repeats for every frame.
    const std::regex frameLine("\n {0,4}\\d+ -- 0x");
    EXPECT_EQ(
        countOf(text, "\nFrame FV IP"),
        static_cast<std::size_t>(std::distance(
            std::sregex_iterator(text.begin(), text.end(), frameLine), std::sregex_iterator())));
    EXPECT_EQ(text.substr(text.size() - std::strlen(reportTrailer)), reportTrailer);
  }
}

// The locals of -O0 code, in the faulting frame and its caller, and the module's globals
// whose names begin with 'g'; of -O2 code only what it keeps in the frame, nothing of its
// registers.
TEST_F(CrashReportTest, FramesShowTheVariablesOfTheirDebugInformation) {
  setDoTrace("dword:00000001");
  EXPECT_EQ(probe("locals", "main").output, caughtLine);
  EXPECT_EQ(probe("registers", "main").output, caughtLine);
  const std::vector<std::string> reports = splitReports(report());
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

TEST_F(CrashReportTest, WithoutTheSwitchTheProcessDiesOfTheFault) {
  const std::pair<const char*, const char*> switches[] = {
      {"", ""}, {"DoTrace", "dword:00000000"}, {"DoTrace", "\"1\""}, {"Other", "dword:00000001"}};
  for (const auto& [name, value] : switches) {
    if (*name == '\0') {
      registry.useSources("");
    } else {
      setDoTrace(value, name);
    }
    for (const std::string fault : {"null-write", "divide", "illegal"}) {
      const ChildResult result = probe(fault, "main");
      EXPECT_EQ(result.exitCode, -1) << name << value << " " << fault << ": " << result.output;
      EXPECT_EQ(result.output.find("caught"), std::string::npos) << result.output;
    }
  }
  EXPECT_FALSE(std::filesystem::exists(temp.path() / "LowmarshTrace.log"));
}

// Faults on a thread that ran the thread attach are translated, again and again.
TEST_F(CrashReportTest, FaultsOnAttachedThreadsAreTranslated) {
  setDoTrace("dword:00000001");
  const ChildResult attached = probe("null-write", "attached");
  EXPECT_EQ(attached.output, caughtLine);
  EXPECT_NE(report().find("       Symbol:  probe::writeThroughNull  +"), std::string::npos);
  const ChildResult again = probe("divide", "attached", "3");
  EXPECT_EQ(again.exitCode, 0) << again.output;
  EXPECT_EQ(again.output, std::string(caughtLine) + caughtLine + caughtLine);
}

// A thread that the library didn't start has no translator: its fault is reported, then ends
// the process by its signal, through the handler that was there before the library's if any.
// Not reported: a signal sent rather than raised by an instruction, and a fault that comes
// while a translation is under way.
TEST_F(CrashReportTest, FaultsOnOtherThreadsAreReportedThenEndTheProcess) {
  setDoTrace("dword:00000001");
  const ChildResult raised = probe("raise", "main");
  EXPECT_EQ(raised.signal, SIGSEGV) << raised.output;
  EXPECT_FALSE(std::filesystem::exists(temp.path() / "LowmarshTrace.log"));
  const ChildResult plain = probe("null-write", "plain");
  EXPECT_EQ(plain.signal, SIGSEGV) << plain.output;
  EXPECT_EQ(plain.output, "");
  const ChildResult previous = probe("null-write", "plain", "1", "PROBE_PREVIOUS_HANDLER=1");
  EXPECT_EQ(previous.signal, SIGSEGV) << previous.output;
  EXPECT_EQ(previous.output, "previous handler at the fault\n");
  // A translator that leaves the fault be: back at the fault, untranslated and unreported.
  const ChildResult busy = probe("null-write", "busy", "1", "PROBE_PREVIOUS_HANDLER=1");
  EXPECT_EQ(busy.signal, SIGSEGV) << busy.output;
  EXPECT_EQ(busy.output, "previous handler at the fault\n");
  const std::vector<std::string> reports = splitReports(report());
  ASSERT_EQ(reports.size(), 2U) << report();
  for (const std::string& text : reports) {
    EXPECT_NE(text.find("       Symbol:  probe::writeThroughNull  +"), std::string::npos) << text;
    EXPECT_EQ(text.substr(text.size() - std::strlen(reportTrailer)), reportTrailer);
  }
}

// The symbol of each frame of a report, in order; empty for a frame without one.
std::vector<std::string> frameSymbols(const std::string& report) {
  std::vector<std::string> symbols;
  const std::string heading = "\nFrame FV IP";
  const std::string symbol = "\n       Symbol:  ";
  for (std::size_t at = report.find(heading); at != std::string::npos;) {
    const std::size_t next = report.find(heading, at + 1);
    const std::size_t name = report.find(symbol, at);
    symbols.emplace_back(
        name < next
            ? report.substr(name + symbol.size(), report.find("  +", name) - name - symbol.size())
            : "");
    at = next;
  }
  return symbols;
}

// Code without frame pointers and the C library's own: only unwind tables lead through them;
// code without unwind tables: only its frame pointer. A call through a null pointer stands at
// address 0, without a symbol.
TEST_F(CrashReportTest, EveryFrameIsShownWhereverItsCallerLies) {
  setDoTrace("dword:ffffffff"); // any value but 0
  for (const std::string fault :
       {"optimised", "comparator", "memcpy", "frame-pointers", "null-call"}) {
    const ChildResult result = probe(fault, "main");
    EXPECT_EQ(result.output, caughtLine) << fault;
  }
  const std::vector<std::string> reports = splitReports(report());
  ASSERT_EQ(reports.size(), 5U) << report();
  const auto startsWith = [&reports](std::size_t index, const std::vector<std::string>& chain) {
    const std::vector<std::string> symbols = frameSymbols(reports[index]);
    EXPECT_TRUE(symbols.size() >= chain.size() &&
                std::equal(chain.begin(), chain.end(), symbols.begin()))
        << reports[index];
  };
  startsWith(0, {"probe::(anonymous namespace)::optimisedLeaf",
                 "probe::(anonymous namespace)::optimisedMiddle", "probe::optimisedOuter",
                 "probe::faultBelow"});
  startsWith(3, {"probe::writeThroughArgument", "callWithoutUnwindTables", "probe::faultBelow"});
  startsWith(4, {"", "probe::callThroughNull", "probe::faultBelow"});
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

} // namespace
