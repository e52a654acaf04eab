#include "basalt/platform/base/utf8.h"
#include "basalt/platform/registry/reg_file_parser.h"
#include "support/registry_sandbox.h"

#include <gtest/gtest.h>

namespace basalt::platform {
namespace {

template <class Text> std::string toUtf8(const Text& text) {
  const WString units(text.begin(), text.end());
  std::string out;
  utf8::append(out, units.data(), units.size());
  return out;
}

std::string hex(const std::vector<BYTE>& data) {
  std::string out;
  for (const BYTE byte : data) {
    char digits[3];
    std::snprintf(digits, sizeof(digits), "%02x", byte);
    out += digits;
  }
  return out;
}

// One line per operation, so whole results compare at a glance.
std::vector<std::string> render(const RegFileContents& contents) {
  std::vector<std::string> lines;
  for (const RegOperation& operation : contents.operations) {
    std::string path;
    for (const WString& name : operation.path) {
      path += "\\" + toUtf8(name);
    }
    switch (operation.kind) {
    case RegOperation::OpenKey:
      lines.push_back("key " + std::to_string(operation.hive) + path);
      break;
    case RegOperation::DeleteKey:
      lines.push_back("delete key " + std::to_string(operation.hive) + path);
      break;
    case RegOperation::SetValue:
      lines.push_back("set " + toUtf8(operation.name) + " " + std::to_string(operation.type) + " " +
                      hex(operation.data));
      break;
    case RegOperation::DeleteValue:
      lines.push_back("delete value " + toUtf8(operation.name));
      break;
    }
  }
  return lines;
}

std::vector<std::string> problems(const RegFileContents& contents) {
  std::vector<std::string> lines;
  for (const RegFileProblem& problem : contents.problems) {
    lines.push_back(std::to_string(problem.line) + ": " + problem.what);
  }
  return lines;
}

TEST(RegFileParser, ReadsTheSameFromEveryEncodingTheEditorWrites) {
  const std::u16string body = u"\r\n[HKEY_LOCAL_MACHINE\\Software\\Caf\u00e9]\r\n"
                              u"\"Path\"=\"C:\\\\temp\\\\\\\"x\\\"\"\r\n"
                              u"@=\"d\u00e9faut\"\r\n"
                              u"\"Count\"=dword:0000002a\r\n";
  const std::u16string v5 = u"Windows Registry Editor Version 5.00" + body;
  const std::vector<std::string> expected = {
      "key 2\\Software\\Caf\u00e9",
      "set Path 1 " + hex({'C', 0, ':',  0, '\\', 0, 't', 0, 'e', 0, 'm', 0,
                           'p', 0, '\\', 0, '"',  0, 'x', 0, '"', 0, 0,   0}),
      "set  1 6400e90066006100750074000000", "set Count 4 2a000000"};

  const std::string ansi = "REGEDIT4\r\n\r\n[HKEY_LOCAL_MACHINE\\Software\\Caf\xe9]\r\n"
                           "\"Path\"=\"C:\\\\temp\\\\\\\"x\\\"\"\r\n@=\"d\xe9"
                           "faut\"\r\n"
                           "\"Count\"=dword:0000002a\r\n";
  for (const auto& [name, bytes] : std::vector<std::pair<std::string, std::string>>{
           {"UTF-16LE", basalt::testing::utf16File(v5)},
           {"UTF-8 with BOM", "\xEF\xBB\xBF" + toUtf8(v5)},
           {"UTF-8", toUtf8(v5)},
           {"REGEDIT4 in 1252", ansi}}) {
    const RegFileContents contents = parseRegFile(bytes, 1252);
    EXPECT_EQ(render(contents), expected) << name;
    EXPECT_TRUE(contents.problems.empty()) << name << ": " << problems(contents).front();
  }
}

TEST(RegFileParser, ReadsEveryKindOfDataWithContinuationsAndDeletions) {
  const std::string file = "Windows Registry Editor Version 5.00\n"
                           "; a comment\n"
                           "[hklm\\A\\B\\]\n"
                           "\"bin\"=hex:01,02,\\\n"
                           "  03, 04 ,\\\n"
                           "\t05\n"
                           "\"none\"=hex(0):\n"
                           "\"expand\"=hex(2):25,00,00,00 ; percent sign\n"
                           "\"multi\"=hex(7):61,00,00,00,62,00,00,00,00,00\n"
                           "\"big\"=HEX(5):00,00,01,00\n"
                           "\"qword\"=hex(b):01,00,00,00,00,00,00,00\n"
                           "\"odd\"=hex(1234abcd):ff\n"
                           "\"n\"=DWORD:FFFFFFFF\n"
                           "\"gone\"=-\n"
                           "@=-\n"
                           "\n"
                           "[-HKEY_CURRENT_USER\\X\\Y]\n"
                           "[HKCR]\n"
                           "[HKU\\u]\n"
                           "[HKCC\\c]\n";
  const RegFileContents contents = parseRegFile(file, 1252);
  EXPECT_TRUE(contents.problems.empty()) << problems(contents).front();
  EXPECT_EQ(render(contents), (std::vector<std::string>{
                                  "key 2\\A\\B",
                                  "set bin 3 0102030405",
                                  "set none 0 ",
                                  "set expand 2 25000000",
                                  "set multi 7 61000000620000000000",
                                  "set big 5 00000100",
                                  "set qword 11 0100000000000000",
                                  "set odd 305441741 ff",
                                  "set n 4 ffffffff",
                                  "delete value gone",
                                  "delete value ",
                                  "delete key 1\\X\\Y",
                                  "key 0",
                                  "key 3\\u",
                                  "key 5\\c",
                              }));
}

TEST(RegFileParser, WidensTheTextTypesOfRegedit4) {
  const RegFileContents contents =
      parseRegFile("REGEDIT4\n[HKLM\\k]\n\"e\"=hex(2):25,e9,00\n\"m\"=hex(7):61,00,62,00,00\n"
                   "\"b\"=hex:e9\n",
                   1252);
  EXPECT_EQ(render(contents),
            (std::vector<std::string>{"key 2\\k", "set e 2 2500e9000000",
                                      "set m 7 61000000620000000000", "set b 3 e9"}));
}

TEST(RegFileParser, SkipsEachBadLineOnceAndKeepsTheRest) {
  const std::string file = "Windows Registry Editor Version 5.00\n" // 1
                           "\"early\"=\"x\"\n"                      // 2
                           "[HKLM\\Good]\n"                         // 3
                           "\"path\"=\"C:\\temp\"\n"                // 4
                           "\"open\"=\"no end\n"                    // 5
                           "\"a\" \"b\"\n"                          // 6
                           "\"d\"=dword:123456789\n"                // 7
                           "\"h\"=hex:01,\\\n"                      // 8
                           "  0g,03,\\\n"                           // 9
                           "  04\n"                                 // 10
                           "\"kept\"=dword:1 ; still read\n"        // 11
                           "something else\n"                       // 12
                           "\"s\"=\"x\" y\n"                        // 13
                           "\"t\"=text\n"                           // 14
                           "[HKEY_NOWHERE\\K]\n"                    // 15
                           "\"ignored\"=\"quietly\"\n"              // 16
                           "[HKLM\\a\\\\b]\n"                       // 17
                           "[HKLM\\No end\n"                        // 18
                           "[-HKLM]\n"                              // 19
                           "[-HKLM\\Good\\Sub]\n"                   // 20
                           "\"after\"=\"deletion\"\n"               // 21
                           "[HKLM\\Good]\n"                         // 22
                           "\"bad\xff\"=\"utf8\"\n"                 // 23
                           "\"last\"=hex:01,\\";                    // 24
  const RegFileContents contents = parseRegFile(file, 1252);
  EXPECT_EQ(problems(contents),
            (std::vector<std::string>{
                "2: the value comes before any [key] line",
                "4: value data: unknown escape \\ before \"t\"; write a backslash as \\\\",
                "5: value data: the text has no closing quote",
                "6: expected = after the value name",
                "7: dword: needs 1 to 8 hexadecimal digits",
                "9: expected a comma between bytes, found \"g\"",
                "12: expected a [key] line, a \"name\"=value line or an @=value line",
                "13: unexpected \"y\" after the value",
                "14: unknown kind of data; expected \"text\", dword:, hex:, hex(n): or -",
                "15: unknown root key \"HKEY_NOWHERE\"; its values are ignored",
                "17: the key path has an empty name between two backslashes",
                "18: the key line has no closing ]",
                "19: a root key can't be deleted",
                "21: the value follows a [-key] line that deletes its key",
                "23: the line is not valid UTF-8",
                "24: the hex list continues past the end of the file",
            }));
  EXPECT_EQ(render(contents), (std::vector<std::string>{"key 2\\Good", "set kept 4 01000000",
                                                        "delete key 2\\Good\\Sub", "key 2\\Good"}));
}

TEST(RegFileParser, RefusesFilesThatAreNoRegistryFiles) {
  EXPECT_EQ(problems(parseRegFile("", 1252)),
            (std::vector<std::string>{"1: not a registry file: the first line must be \"Windows "
                                      "Registry Editor Version 5.00\" or \"REGEDIT4\""}));
  EXPECT_EQ(problems(parseRegFile("[HKLM\\a]\n\"x\"=\"y\"\n", 1252)).size(), 1u);
  EXPECT_EQ(problems(parseRegFile("\xFE\xFF\0W", 1252)),
            (std::vector<std::string>{"0: UTF-16 big-endian text is not read; save the file as "
                                      "UTF-16LE or UTF-8"}));
  const RegFileContents odd = parseRegFile(
      basalt::testing::utf16File(u"Windows Registry Editor Version 5.00\n[HKLM\\k]\n") + "x", 1252);
  EXPECT_EQ(problems(odd),
            (std::vector<std::string>{"3: the file ends in the middle of a UTF-16 character"}));
  EXPECT_EQ(render(odd), (std::vector<std::string>{"key 2\\k"}));
}

} // namespace
} // namespace basalt::platform
