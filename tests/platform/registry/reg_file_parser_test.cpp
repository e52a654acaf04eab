#include "basalt/platform/base/utf8.h"
#include "basalt/platform/registry/reg_file_parser.h"
#include "support/registry_sandbox.h"

#include <gtest/gtest.h>

namespace basalt::platform {
namespace {

// One line per operation and then one per problem, so whole results compare at a glance.
std::string show(const RegFileContents& contents) {
  std::string out;
  for (const RegOperation& operation : contents.operations) {
    const bool key = operation.kind == RegOperation::OpenKey;
    const bool set = operation.kind == RegOperation::SetValue;
    if (key || operation.kind == RegOperation::DeleteKey) {
      out += (key ? "key " : "delete key ") + std::to_string(operation.hive);
      for (const WString& name : operation.path) {
        out += "\\" + utf8::encode(name);
      }
    } else {
      out += (set ? "set " : "delete value ") + utf8::encode(operation.name);
      out += set ? " " + std::to_string(operation.type) + " " : "";
      for (const BYTE byte : operation.data) {
        out += {"0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 15]};
      }
    }
    out += "\n";
  }
  for (const RegFileProblem& problem : contents.problems) {
    out += std::to_string(problem.line) + ": " + problem.what + "\n";
  }
  return out;
}

TEST(RegFileParser, ReadsTheSameFromEveryEncodingTheEditorWrites) {
  const std::u16string v5 = u"Windows Registry Editor Version 5.00\r\n"
                            u"\r\n[HKEY_LOCAL_MACHINE\\Software\\Caf\u00e9]\r\n"
                            u"\"Path\"=\"C:\\\\temp\\\\\\\"x\\\"\"\r\n"
                            u"@=\"d\u00e9faut\"\r\n"
                            u"\"Count\"=dword:0000002a\r\n";
  const std::string utf8 = utf8::encode(WString(v5.begin(), v5.end()));
  const std::string ansi = "REGEDIT4\r\n\r\n[HKEY_LOCAL_MACHINE\\Software\\Caf\xe9]\r\n"
                           "\"Path\"=\"C:\\\\temp\\\\\\\"x\\\"\"\r\n@=\"d\xe9"
                           "faut\"\r\n"
                           "\"Count\"=dword:0000002a\r\n";
  for (const std::string& bytes :
       {basalt::testing::utf16File(v5), "\xEF\xBB\xBF" + utf8, utf8, ansi}) {
    EXPECT_EQ(show(parseRegFile(bytes, 1252)),
              "key 2\\Software\\Caf\u00e9\n"
              "set Path 1 43003a005c00740065006d0070005c002200780022000000\n"
              "set  1 6400e90066006100750074000000\n"
              "set Count 4 2a000000\n")
        << bytes.substr(0, 8);
  }
}

// Every kind of data and its continuations are read back through basalt-admin in tests/tools;
// here are the spellings that test doesn't use.
TEST(RegFileParser, ReadsEverySpellingOfDataKeysAndDeletions) {
  EXPECT_EQ(show(parseRegFile("Windows Registry Editor Version 5.00\n"
                              "; a comment\n"
                              "[hklm\\A\\B\\]\n"
                              "\"bin\"=hex:01,02,\\\n"
                              "  03, 04 ,\\\n"
                              "\t05\n"
                              "\"expand\"=hex(2):25,00,00,00 ; percent sign\n"
                              "\"big\"=HEX(5):00,00,01,00\n"
                              "\"n\"=DWORD:FFFFFFFF\n"
                              "@=-\n"
                              "\n"
                              "[-HKEY_CURRENT_USER\\X\\Y]\n"
                              "[HKCR]\n"
                              "[HKU\\u]\n"
                              "[HKCC\\c]\n",
                              1252)),
            "key 2\\A\\B\n"
            "set bin 3 0102030405\n"
            "set expand 2 25000000\n"
            "set big 5 00000100\n"
            "set n 4 ffffffff\n"
            "delete value \n"
            "delete key 1\\X\\Y\n"
            "key 0\n"
            "key 3\\u\n"
            "key 5\\c\n");
  // REGEDIT4 holds its text types in the ANSI code page; they come out widened.
  EXPECT_EQ(show(parseRegFile("REGEDIT4\n[HKLM\\k]\n\"e\"=hex(2):25,e9,00\n"
                              "\"m\"=hex(7):61,00,62,00,00\n\"b\"=hex:e9\n",
                              1252)),
            "key 2\\k\nset e 2 2500e9000000\nset m 7 61000000620000000000\nset b 3 e9\n");
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
  EXPECT_EQ(show(parseRegFile(file, 1252)),
            "key 2\\Good\n"
            "set kept 4 01000000\n"
            "delete key 2\\Good\\Sub\n"
            "key 2\\Good\n"
            "2: the value comes before any [key] line\n"
            "4: value data: unknown escape \\ before \"t\"; write a backslash as \\\\\n"
            "5: value data: the text has no closing quote\n"
            "6: expected = after the value name\n"
            "7: dword: needs 1 to 8 hexadecimal digits\n"
            "9: expected a comma between bytes, found \"g\"\n"
            "12: expected a [key] line, a \"name\"=value line or an @=value line\n"
            "13: unexpected \"y\" after the value\n"
            "14: unknown kind of data; expected \"text\", dword:, hex:, hex(n): or -\n"
            "15: unknown root key \"HKEY_NOWHERE\"; its values are ignored\n"
            "17: the key path has an empty name between two backslashes\n"
            "18: the key line has no closing ]\n"
            "19: a root key can't be deleted\n"
            "21: the value follows a [-key] line that deletes its key\n"
            "23: the line is not valid UTF-8\n"
            "24: the hex list continues past the end of the file\n");
}

TEST(RegFileParser, RefusesFilesThatAreNoRegistryFiles) {
  const std::string notRegistry = "1: not a registry file: the first line must be \"Windows "
                                  "Registry Editor Version 5.00\" or \"REGEDIT4\"\n";
  EXPECT_EQ(show(parseRegFile("", 1252)), notRegistry);
  EXPECT_EQ(show(parseRegFile("[HKLM\\a]\n\"x\"=\"y\"\n", 1252)), notRegistry);
  EXPECT_EQ(show(parseRegFile(std::string("\xFE\xFF\0W", 4), 1252)),
            "0: UTF-16 big-endian text is not read; save the file as UTF-16LE or UTF-8\n");
  EXPECT_EQ(
      show(parseRegFile(
          basalt::testing::utf16File(u"Windows Registry Editor Version 5.00\n[HKLM\\k]\n") + "x",
          1252)),
      "key 2\\k\n3: the file ends in the middle of a UTF-16 character\n");
}

} // namespace
} // namespace basalt::platform
