#ifndef BASALT_PLATFORM_REGISTRY_REG_FILE_PARSER_H
#define BASALT_PLATFORM_REGISTRY_REG_FILE_PARSER_H

// Reads the text that the registry editor exports: "REGEDIT4" files in the ANSI code page,
// "Windows Registry Editor Version 5.00" files in UTF-16LE with a byte order mark or in
// UTF-8. The result is the file's changes in order, to be applied to a tree, and a list of
// the lines that could not be used.

#include "basalt/platform/base/win_types.h"

#include <string>
#include <vector>

namespace basalt::platform {

using WString = std::basic_string<WCHAR>;

// A hive by the low bits of its predefined handle: 0 HKEY_CLASSES_ROOT, 1 HKEY_CURRENT_USER,
// 2 HKEY_LOCAL_MACHINE, 3 HKEY_USERS, 5 HKEY_CURRENT_CONFIG.
constexpr int hiveSlots = 6;

// A hive's names, long and short.
struct HiveName {
  const char* longName;
  const char* shortName;
  int slot;
};

// The five hives, in the order the registry editor lists them.
extern const HiveName hiveNames[5];

// The hive named long or short, in any case; null for none.
const HiveName* findHive(const WString& name);

// Windows' limits on the length of names, in characters.
constexpr std::size_t maxKeyNameLength = 255;
constexpr std::size_t maxValueNameLength = 16383;

struct RegOperation {
  enum Kind { OpenKey, DeleteKey, SetValue, DeleteValue };
  Kind kind = OpenKey;
  // OpenKey, DeleteKey: the hive and the key names below it, never empty names.
  int hive = 0;
  std::vector<WString> path;
  // SetValue, DeleteValue: the value of the key opened last; the empty name is the default.
  WString name;
  DWORD type = 0;
  std::vector<BYTE> data;
};

struct RegFileProblem {
  // 1-based; 0 when the problem concerns the whole file.
  unsigned int line;
  std::string what;
};

struct RegFileContents {
  std::vector<RegOperation> operations;
  std::vector<RegFileProblem> problems;
};

// Never fails: a line that can't be used is left out and listed among the problems, and a
// file without a registry header gives no operations and one problem.
RegFileContents parseRegFile(const std::string& bytes, UINT ansiCodePage);

} // namespace basalt::platform

#endif
