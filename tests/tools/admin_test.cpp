// basalt-admin run as an operator runs it: what it writes on each stream, its exit code, and
// whether it tells the event log.

#include "basalt/version.h"
#include "tests/support/child_process.h"
#include "tests/support/registry_sandbox.h"

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>

namespace basalt::test {
namespace {

using basalt::testing::RegistrySandbox;

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
  return {result.exitCode, result.output, fileBytes(errorFile)};
}

// The first line of every registry file, and the blank line after it.
constexpr char header[] = "Windows Registry Editor Version 5.00\n\n";

// The registry as the tool prints it, which is also how it reads it back: two hives, every kind
// of value, the default value first, names in any case, a hex list wrapped within 80 columns.
constexpr char tree[] =
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
    "[HKEY_LOCAL_MACHINE\\Software\\Zeta]\n"
    "@=\"default\"\n"
    "\"A\"=\"first\"\n"
    "\"b\"=\"second\"\n"
    "\"Blob\"=hex:00,01,02,03,04,05,06,07,08,09,0a,0b,0c,0d,0e,0f,10,11,12,13,14,15,\\\n"
    "  16,17,18,19,1a,1b,1c,1d,1e,1f,20,21,22,23,24,25,26,27\n"
    "\"Count\"=dword:0000002a\n"
    "\"Größe\"=\"€ 5 😀\"\n"
    "\"Lines\"=hex(1):61,00,0a,00,62,00,00,00\n"
    "\"None\"=hex(0):\n"
    "\"Odd\"=hex(123abc):ff\n"
    "\"Quote\"=\"say \\\"hi\\\" to C:\\\\temp\"\n"
    "\"Short\"=hex(4):01,02\n"
    "\"Unended\"=hex(1):61,00\n"
    "\n";

// The files it merged, apart those it couldn't read, and every line skipped: printed, checked
// and told to the event log. The tree comes out as it went in: what it prints reads back.
TEST(AdminRegistry, PrintsTheMergedTreeAsItReadItAndTellsWhatItSkipped) {
  RegistrySandbox sandbox;
  const std::string first = sandbox.write("first.reg", std::string(header) + tree);
  const std::string second =
      sandbox.write("conf.d/second.reg", std::string(header) + "[HKLM\\Software\\Zeta]\n"
                                                               "this is wrong\n"
                                                               "\"Bad\"=dword:123456789\n");
  const std::string absent = sandbox.path("absent.reg");
  sandbox.useSources("first.reg:absent.reg:conf.d");
  const std::string problems =
      absent + ": the file can't be opened: No such file or directory\n" + second +
      ":4: expected a [key] line, a \"name\"=value line or an @=value line\n" + second +
      ":5: dword: needs 1 to 8 hexadecimal digits\n";

  const AdminRun run = runAdmin(sandbox, {"registry", "--events"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.output, std::string(header) +
                            "; Merged from these files, later ones overriding earlier ones:\n;   " +
                            first + "\n;   " + second +
                            "\n; These could not be read (see standard error):\n;   " + absent +
                            "\n\n" + tree);
  EXPECT_EQ(run.errors, problems);
  EXPECT_EQ(sandbox.events().size(), 3U);

  const AdminRun check = runAdmin(sandbox, {"registry", "--check"});
  EXPECT_EQ(check.exitCode, 1);
  EXPECT_EQ(check.output, "");
  EXPECT_EQ(check.errors, problems);
}

// One run each, without any registry file, then against one whose Location holds the message
// libraries: the exit code, the start of standard output and of standard error (an empty one:
// nothing at all), and the event log told only with --events.
TEST(Admin, AnswersEachCommandAndOption) {
  RegistrySandbox sandbox;
  struct Run {
    std::vector<std::string> arguments;
    int exitCode;
    std::string output;
    std::string errors;
  };
  const auto begins = [](const std::string& text, const std::string& start) {
    return start.empty() ? text.empty() : text.rfind(start, 0) == 0;
  };
  const auto check = [&](const std::vector<Run>& runs) {
    for (const Run& run : runs) {
      SCOPED_TRACE(::testing::PrintToString(run.arguments));
      std::filesystem::remove(sandbox.path("events.jsonl"));
      const AdminRun result = runAdmin(sandbox, run.arguments);
      EXPECT_EQ(result.exitCode, run.exitCode);
      EXPECT_TRUE(begins(result.output, run.output)) << result.output;
      EXPECT_TRUE(begins(result.errors, run.errors)) << result.errors;
      const bool told =
          std::find(run.arguments.begin(), run.arguments.end(), "--events") != run.arguments.end();
      EXPECT_EQ(sandbox.events().size(), told ? 1U : 0U);
    }
  };
  const std::string refused = "basalt-admin: ";
  check({{{"registry"}, 0, std::string(header) + "; No registry file was read.\n\n", ""},
         {{"message", "--language", "ENU", "0xC2010001"},
          1,
          "message:  0xC2010001 (facility 0x201, string 1)\nlanguage: ENU\n"
          "location: " BASALT_LIBRARY_DIR " (libbasalt's directory); Location isn't usable: "
          "[HKEY_LOCAL_MACHINE]Software\\Corvane Holdings\\10.0\\TRELL(o)\\Log",
          refused}});

  std::string location; // as the library spells paths
  for (const char c : std::string(TOOLS_MESSAGES_DIR)) {
    location += c == '/' ? std::string("\\\\") : std::string(1, c);
  }
  const std::string file = sandbox.write(
      "admin.reg", std::string(header) +
                       "[HKEY_LOCAL_MACHINE\\Software\\Zeta\\Inner]\n\"v\"=\"1\"\n"
                       "[HKEY_LOCAL_MACHINE\\Software\\Zeta]\n\"w\"=\"2\"\n"
                       "[HKEY_LOCAL_MACHINE\\Software\\Corvane Holdings\\10.0\\TRELL(o)\\Log]\n"
                       "\"Location\"=\"" +
                       location + "\"\n");
  sandbox.useSources("admin.reg");
  const std::string head = std::string(header) +
                           "; Merged from these files, later ones overriding earlier ones:\n;   " +
                           file + "\n\n";
  const std::string found = "language: ENU\nlocation: " TOOLS_MESSAGES_DIR " (the Location value)\n"
                            "tried:    strings_201_xx.dll strings_201_ENU.dll strings_201_EN.dll\n"
                            "library:  " TOOLS_MESSAGES_DIR "/strings_201_EN.dll\ntext:     ";
  const std::string first = "message:  0xC2010001 (facility 0x201, string 1)\n" + found;
  const std::string none = "message:  0x00050001 (facility 0x5, string 1)\nlanguage: ";
  check({
      {{"--help"}, 0, "Usage: basalt-admin registry [--check] [KEY]\n", ""},
      {{"registry", "--help"}, 0, "Usage: basalt-admin registry [--check] [KEY]\n\n", ""},
      {{"message", "0x1", "-h"}, 0, "Usage: basalt-admin message [--language LANG] NUMBER", ""},
      {{"--version"}, 0, "basalt-admin (basalt) " BASALT_VERSION "\n", ""},
      {{"registry", "--check"}, 0, "", ""},
      // A key by any case of its name, with the keys below it.
      {{"registry", "hklm\\SOFTWARE\\zeta\\"},
       0,
       head + "[HKEY_LOCAL_MACHINE\\Software\\Zeta]\n\"w\"=\"2\"\n\n"
              "[HKEY_LOCAL_MACHINE\\Software\\Zeta\\Inner]\n\"v\"=\"1\"\n\n",
       ""},
      {{"registry", "HKEY_USERS"}, 0, head + "[HKEY_USERS]\n\n", ""},
      {{"registry", "HKLM\\Nope"}, 1, "", refused + "the registry has no key \"HKLM\\Nope\"\n"},
      // Options stand anywhere, in either form; "--" lets an insert begin with '-'. A number
      // may be decimal.
      {{"message", "--language", "ENU", "0xC2010001", "the cube", "3"},
       0,
       first + "Cannot open the cube after 3 tries (100% sure)\n",
       ""},
      {{"message", "3254845441", "--language=ENU", "--", "-x", "--y"},
       0,
       first + "Cannot open -x after --y tries (100% sure)\n",
       ""},
      {{"message", "--language", "ENU", "0xC2010003"},
       1,
       "message:  0xC2010003 (facility 0x201, string 3)\n" + found + "(none)\n",
       refused + "strings_201_EN.dll has no text for message 0xC2010003\n"},
      // A language of three letters is tried cut to two as well, one of two letters is not.
      {{"message", "--language", "DEU", "0x00050001", "--events"},
       1,
       none + "DEU\nlocation: " TOOLS_MESSAGES_DIR " (the Location value)\n"
              "tried:    strings_5_xx.dll strings_5_DEU.dll strings_5_DE.dll strings_5_en.dll\n"
              "library:  (none loaded)\ntext:     (none)\n",
       refused + "no message library of facility 0x5 could be loaded"},
      {{"message", "--language", "fr", "0x00050001"},
       1,
       none + "fr\nlocation: " TOOLS_MESSAGES_DIR " (the Location value)\n"
              "tried:    strings_5_xx.dll strings_5_fr.dll strings_5_en.dll\n",
       refused},
      // What is no command, no key, no number or no text.
      {{}, 2, "", "Usage: basalt-admin registry [--check] [KEY]\n"},
      {{"frobnicate"}, 2, "", refused},
      {{"registry", "HKXX\\Software"}, 2, "", refused},
      {{"registry", "HKLM\\\\Software"}, 2, "", refused},
      {{"registry", "HKLM\\Bad\xff"}, 2, "", refused},
      {{"registry", "HKLM", "HKCU"}, 2, "", refused},
      {{"message", "0x"}, 2, "", refused},
      {{"message", "0xC201000G"}, 2, "", refused},
      {{"message", "4294967296"}, 2, "", refused},
      {{"message", "-1"}, 2, "", refused},
      {{"message", "--language"}, 2, "", refused},
      {{"message", "--language", "ENU"}, 2, "", refused},
      {{"message", "1", "bad\xc3"}, 2, "", refused},
      {{"message", "1", "--events=yes"}, 2, "", refused},
  });
}

} // namespace
} // namespace basalt::test
