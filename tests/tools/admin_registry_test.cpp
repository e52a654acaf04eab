#include "basalt/version.h"
#include "tests/support/child_process.h"
#include "tests/support/registry_sandbox.h"

#include <fstream>
#include <gtest/gtest.h>
#include <iterator>

namespace basalt::test {
namespace {

using basalt::testing::RegistrySandbox;
using basalt::testing::utf16File;

struct AdminRun {
  int exitCode;
  std::string output;
  std::string errors;
};

AdminRun runAdmin(const RegistrySandbox& sandbox, const std::vector<std::string>& arguments) {
  std::vector<std::string> command = {BASALT_ADMIN};
  command.insert(command.end(), arguments.begin(), arguments.end());
  const std::string errorFile = sandbox.path("stderr.txt");
  const ChildResult result = runChild(command, {}, errorFile.c_str());
  std::ifstream errors(errorFile, std::ios::binary);
  return {result.exitCode, result.output,
          std::string(std::istreambuf_iterator<char>(errors), std::istreambuf_iterator<char>())};
}

constexpr char header[] = "Windows Registry Editor Version 5.00\r\n\r\n";

// Every kind of value, two hives and mixed-case names, in the registry editor's own UTF-16.
constexpr char16_t firstFile[] =
    u"Windows Registry Editor Version 5.00\r\n\r\n"
    u"[HKEY_LOCAL_MACHINE\\Software\\Zeta]\r\n"
    u"\"b\"=\"second\"\r\n"
    u"\"A\"=\"first\"\r\n"
    u"@=\"default\"\r\n"
    u"\"Quote\"=\"say \\\"hi\\\" to C:\\\\temp\"\r\n"
    u"\"Größe\"=\"€ 5 😀\"\r\n"
    u"\"Count\"=dword:0000002A\r\n"
    u"\"Expand\"=hex(2):25,00,54,00,4d,00,50,00,25,00,00,00\r\n"
    u"\"Multi\"=hex(7):61,00,00,00,62,00,00,00,00,00\r\n"
    u"\"Big\"=hex(b):01,00,00,00,00,00,00,80\r\n"
    u"\"None\"=hex(0):\r\n"
    u"\"Blob\"=hex:00,01,02,03,04,05,06,07,08,09,0a,0b,0c,0d,0e,0f,10,11,12,13,14,15,\\\r\n"
    u"  16,17,18,19,1a,1b,1c,1d,1e,1f,20,21,22,23,24,25,26,27\r\n"
    u"\"Lines\"=hex(1):61,00,0a,00,62,00,00,00\r\n"
    u"\"Unended\"=hex(1):61,00\r\n"
    u"\"Short\"=hex(4):01,02\r\n"
    u"\"Odd\"=hex(123abc):ff\r\n"
    u"\"Gone\"=\"x\"\r\n"
    u"\r\n"
    u"[HKCU\\Software\\alpha]\r\n"
    u"\"x\"=dword:1\r\n"
    u"[HKLM\\Software\\beta\\deep]\r\n"
    u"[HKLM\\Software\\Alpha\\Sub]\r\n";

// Overrides and deletions in UTF-8, with two lines the reader skips.
constexpr char secondFile[] = "Windows Registry Editor Version 5.00\r\n\r\n"
                              "[HKLM\\Software\\Zeta]\r\n"
                              "\"Gone\"=-\r\n"
                              "\"b\"=\"overridden\"\r\n"
                              "this is wrong\r\n"
                              "\"Bad\"=dword:123456789\r\n"
                              "[-HKLM\\Software\\beta]\r\n";

constexpr char mergedTree[] =
    "[HKEY_CURRENT_USER]\n"
    "\n"
    "[HKEY_CURRENT_USER\\Software]\n"
    "\n"
    "[HKEY_CURRENT_USER\\Software\\alpha]\n"
    "\"x\"=dword:00000001\n"
    "\n"
    "[HKEY_LOCAL_MACHINE]\n"
    "\n"
    "[HKEY_LOCAL_MACHINE\\Software]\n"
    "\n"
    "[HKEY_LOCAL_MACHINE\\Software\\Alpha]\n"
    "\n"
    "[HKEY_LOCAL_MACHINE\\Software\\Alpha\\Sub]\n"
    "\n"
    "[HKEY_LOCAL_MACHINE\\Software\\Zeta]\n"
    "@=\"default\"\n"
    "\"A\"=\"first\"\n"
    "\"b\"=\"overridden\"\n"
    "\"Big\"=hex(b):01,00,00,00,00,00,00,80\n"
    "\"Blob\"=hex:00,01,02,03,04,05,06,07,08,09,0a,0b,0c,0d,0e,0f,10,11,12,13,14,15,\\\n"
    "  16,17,18,19,1a,1b,1c,1d,1e,1f,20,21,22,23,24,25,26,27\n"
    "\"Count\"=dword:0000002a\n"
    "\"Expand\"=hex(2):25,00,54,00,4d,00,50,00,25,00,00,00\n"
    "\"Größe\"=\"€ 5 😀\"\n"
    "\"Lines\"=hex(1):61,00,0a,00,62,00,00,00\n"
    "\"Multi\"=hex(7):61,00,00,00,62,00,00,00,00,00\n"
    "\"None\"=hex(0):\n"
    "\"Odd\"=hex(123abc):ff\n"
    "\"Quote\"=\"say \\\"hi\\\" to C:\\\\temp\"\n"
    "\"Short\"=hex(4):01,02\n"
    "\"Unended\"=hex(1):61,00\n"
    "\n";

TEST(AdminRegistry, PrintsTheMergedTreeAsRegTextAndTellsTheSkippedLines) {
  RegistrySandbox sandbox;
  const std::string first = sandbox.write("first.reg", utf16File(firstFile));
  const std::string second = sandbox.write("conf.d/second.reg", secondFile);
  sandbox.useSources("first.reg:conf.d");

  const AdminRun run = runAdmin(sandbox, {"registry"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.output, "Windows Registry Editor Version 5.00\n\n"
                        "; Merged from these files, later ones overriding earlier ones:\n"
                        ";   " +
                            first + "\n;   " + second + "\n\n" + mergedTree);
  EXPECT_EQ(run.errors,
            second + ":6: expected a [key] line, a \"name\"=value line or an @=value line\n" +
                second + ":7: dword: needs 1 to 8 hexadecimal digits\n");

  // What it prints reads back as the same tree, with nothing skipped.
  sandbox.write("printed.reg", run.output);
  sandbox.useSources("printed.reg");
  const AdminRun again = runAdmin(sandbox, {"registry"});
  EXPECT_EQ(again.exitCode, 0);
  EXPECT_EQ(again.errors, "");
  EXPECT_EQ(again.output.substr(again.output.find("\n\n[") + 2), std::string(mergedTree));
}

TEST(AdminRegistry, ShowsOneKeyByAnyCaseOfItsNameAndFailsClearlyOtherwise) {
  RegistrySandbox sandbox;
  sandbox.write("only.reg", std::string(header) +
                                "[HKEY_LOCAL_MACHINE\\Software\\Zeta\\Inner]\r\n\"v\"=\"1\"\r\n"
                                "[HKEY_LOCAL_MACHINE\\Software\\Zeta]\r\n\"w\"=\"2\"\r\n"
                                "[HKEY_LOCAL_MACHINE\\Software\\Other]\r\n");
  sandbox.useSources("only.reg");

  const AdminRun key = runAdmin(sandbox, {"registry", "hklm\\SOFTWARE\\zeta\\"});
  EXPECT_EQ(key.exitCode, 0);
  EXPECT_NE(key.output.find("\n[HKEY_LOCAL_MACHINE\\Software\\Zeta]\n\"w\"=\"2\"\n\n"
                            "[HKEY_LOCAL_MACHINE\\Software\\Zeta\\Inner]\n\"v\"=\"1\"\n\n"),
            std::string::npos)
      << key.output;
  EXPECT_EQ(key.output.find("Other"), std::string::npos);

  const AdminRun missing = runAdmin(sandbox, {"registry", "HKLM\\Software\\Zeta\\Nope"});
  EXPECT_EQ(missing.exitCode, 1);
  EXPECT_EQ(missing.output, "");
  EXPECT_EQ(missing.errors,
            "basalt-admin: the registry has no key \"HKLM\\Software\\Zeta\\Nope\"\n");

  const AdminRun root = runAdmin(sandbox, {"registry", "HKEY_USERS"});
  EXPECT_EQ(root.exitCode, 0);
  EXPECT_NE(root.output.find("\n[HKEY_USERS]\n\n"), std::string::npos) << root.output;

  for (const std::vector<std::string>& wrong :
       {std::vector<std::string>{"registry", "HKXX\\Software"},
        std::vector<std::string>{"registry", "HKLM\\\\Software"},
        std::vector<std::string>{"registry", "HKLM\\Bad\xff"},
        std::vector<std::string>{"registry", "HKLM", "HKCU"},
        std::vector<std::string>{"frobnicate"}, std::vector<std::string>{}}) {
    const AdminRun run = runAdmin(sandbox, wrong);
    EXPECT_EQ(run.exitCode, 2) << (wrong.empty() ? "" : wrong.back());
    EXPECT_EQ(run.output, "");
    EXPECT_NE(run.errors, "");
  }
  // Help for the whole tool and for each command, and the version, on standard output.
  for (const auto& [arguments, start] :
       std::vector<std::pair<std::vector<std::string>, std::string>>{
           {{"--help"}, "Usage: basalt-admin registry [--check] [KEY]\n"},
           {{"registry", "--help"}, "Usage: basalt-admin registry [--check] [KEY]\n\n"},
           {{"message", "0x1", "-h"}, "Usage: basalt-admin message [--language LANG] NUMBER"},
           {{"--version"}, "basalt-admin (basalt) " BASALT_VERSION "\n"}}) {
    const AdminRun run = runAdmin(sandbox, arguments);
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.output.rfind(start, 0), 0u) << run.output;
    EXPECT_EQ(run.errors, "");
  }
}

TEST(AdminRegistry, ChecksTheSourcesAndListsOnlyTheFilesItRead) {
  RegistrySandbox sandbox;
  const AdminRun none = runAdmin(sandbox, {"registry"});
  EXPECT_EQ(none.exitCode, 0);
  EXPECT_EQ(none.output,
            "Windows Registry Editor Version 5.00\n\n; No registry file was read.\n\n");
  EXPECT_EQ(none.errors, "");

  const std::string good = sandbox.write("good.reg", std::string(header) + "[HKLM\\A]\r\n");
  sandbox.useSources("good.reg");
  const AdminRun clean = runAdmin(sandbox, {"registry", "--check"});
  EXPECT_EQ(clean.exitCode, 0);
  EXPECT_EQ(clean.output + clean.errors, "");

  sandbox.write("bad.reg", std::string(header) + "[HKLM\\B]\r\nwrong\r\n");
  sandbox.useSources("good.reg:absent.reg:bad.reg");
  const std::string problems =
      sandbox.path("absent.reg") + ": the file can't be opened: No such file or directory\n" +
      sandbox.path("bad.reg") +
      ":4: expected a [key] line, a \"name\"=value line or an @=value line\n";
  const AdminRun check = runAdmin(sandbox, {"registry", "--check"});
  EXPECT_EQ(check.exitCode, 1);
  EXPECT_EQ(check.output, "");
  EXPECT_EQ(check.errors, problems);
  EXPECT_TRUE(sandbox.events().empty());

  const AdminRun listing = runAdmin(sandbox, {"registry", "--events"});
  EXPECT_EQ(listing.exitCode, 0);
  EXPECT_EQ(listing.output.substr(0, listing.output.find("\n[")),
            "Windows Registry Editor Version 5.00\n\n"
            "; Merged from these files, later ones overriding earlier ones:\n;   " +
                good + "\n;   " + sandbox.path("bad.reg") +
                "\n; These could not be read (see standard error):\n;   " +
                sandbox.path("absent.reg") + "\n");
  EXPECT_EQ(listing.errors, problems);
  EXPECT_EQ(sandbox.events().size(), 2u);
}

} // namespace
} // namespace basalt::test
