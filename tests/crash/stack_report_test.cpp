// The report written in this process from contexts made on purpose.

#include "basalt/crash/stack_report.h"
#include "tests/crash/report_text.h"
#include "tests/support/scratch_directory.h"

#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>

namespace {

using basalt::test::countOf;
using basalt::test::reportTrailer;
namespace plat = basalt::platform;
using basalt::crash::writeStackReport;

// Reports the live frame of this function.
__attribute__((noinline)) void reportFromHere(plat::CONTEXT& context) {
  plat::RtlCaptureContext(&context);
  writeStackReport(&context);
  asm volatile("");
}

__attribute__((noinline)) void reportFromCaller(plat::CONTEXT& context) {
  reportFromHere(context);
  asm volatile("");
}

// A report is skipped for the context of the last one, so each test has static contexts of
// its own, whose addresses no other object can share.
class StackReportTest : public ::testing::Test {
protected:
  std::string report() const { return temp.read("LowmarshTrace.log"); }

  basalt::test::ScratchDirectory temp;
  basalt::test::EnvironmentVariable tmpdir{"TMPDIR", temp.path().c_str()};
};

// From a context captured here rather than a fault's: the frames are those of the capture.
TEST_F(StackReportTest, TheSameContextIsReportedOnce) {
  static plat::CONTEXT first{};
  static plat::CONTEXT second{};
  reportFromCaller(first);
  reportFromCaller(first);
  EXPECT_EQ(countOf(report(), "Start of Stack Dump"), 1U);
  reportFromCaller(second);
  const std::string text = report();
  EXPECT_EQ(countOf(text, "Start of Stack Dump"), 2U) << text;
  EXPECT_LT(text.find("Symbol:  (anonymous namespace)::reportFromHere  +"),
            text.find("Symbol:  (anonymous namespace)::reportFromCaller  +"));
}

TEST_F(StackReportTest, AContextWithNoStackGivesOneFrameAndTheTrailer) {
  static plat::CONTEXT context{};
  context.Rip = 1;
  context.Rbp = 8;
  context.Rsp = 8;
  writeStackReport(&context);
  const std::string text = report();
  EXPECT_EQ(countOf(text, "Start of Stack Dump"), 1U) << text;
  EXPECT_NE(text.find("\nThis should only be used as a guide.\n SymGetModuleInfo failed: "),
            std::string::npos)
      << text;
  EXPECT_NE(text.find("\n    0 -- 0x0000000000000001 0x0000000000000000 0x0000000000000008 "
                      "0x0000000000000008 "),
            std::string::npos)
      << text;
  EXPECT_EQ(text.find("Symbol:"), std::string::npos);
  EXPECT_EQ(text.find("\n    1 -- "), std::string::npos);
  EXPECT_EQ(text.substr(text.size() - std::strlen(reportTrailer)), reportTrailer);
}

TEST_F(StackReportTest, AReportThatCantBeOpenedWritesNothing) {
  std::filesystem::create_directory(temp.path() / "LowmarshTrace.log");
  static plat::CONTEXT context{};
  reportFromCaller(context);
  EXPECT_TRUE(std::filesystem::is_empty(temp.path() / "LowmarshTrace.log"));
}

TEST(SymbolTypeName, NamesTheKnownTypesAndNumbersTheRest) {
  const std::pair<int, const char*> cases[] = {{0, "None"}, {1, "COFF"},     {2, "CV"},
                                               {3, "PDB"},  {4, "exported"}, {5, "deferred"},
                                               {6, "SYM "}, {9, " 9"},       {12345, " 123"}};
  for (const auto& [value, name] : cases) {
    KELPString text;
    basalt::crash::symbolTypeName(static_cast<plat::SYM_TYPE>(value), text);
    EXPECT_EQ(text, KELPString(name)) << value;
  }
}

} // namespace
