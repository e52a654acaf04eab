#ifndef BASALT_PLATFORM_IMAGES_DWARF_INFO_H
#define BASALT_PLATFORM_IMAGES_DWARF_INFO_H

// The DWARF debug information of one ELF file, read with elfutils, in the terms of the debug
// help library's symbol calls. Addresses are those of the file, before the loader moved it.
// Not thread-safe: the symbol session serialises its use.

#include "basalt/platform/images/debug_help.h"

#include <cstdint>
#include <elfutils/libdwfl.h>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace basalt::platform {

// A variable as SYMBOL_INFO describes it.
struct DebugVariable {
  std::string name;
  ULONG index = 0; // its own entry, for SymGetTypeInfo
  ULONG type = 0;  // its type with typedefs and qualifiers resolved; 0 when it has none
  ULONG64 size = 0;
  ULONG flags = 0;      // SYMFLAG_*
  ULONG registerId = 0; // CV_AMD64_* of a SYMFLAG_REGREL variable
  ULONG64 address = 0;  // file address, or offset from registerId for SYMFLAG_REGREL
};

class DwarfInfo {
public:
  // The information of the file at path, or of a separate debug file that its build-id or
  // debug link names in debugPath's directories (separated by ':'); null when there is none.
  static std::unique_ptr<DwarfInfo> open(const std::string& path, const std::string& debugPath);
  ~DwarfInfo();
  DwarfInfo(const DwarfInfo&) = delete;
  DwarfInfo& operator=(const DwarfInfo&) = delete;

  // Variables of file or namespace scope that have a fixed address. Both lists are kept once
  // found: finding them walks the units' entries.
  const std::vector<DebugVariable>& globals() const;
  // The variables and parameters of the function at address that are in scope there. Those
  // on the stack are register-relative (the frame base: the canonical frame address or a
  // register, as the function says); the others carry SYMFLAG_REGISTER or SYMFLAG_NULL.
  const std::vector<DebugVariable>& locals(ULONG64 address) const;
  // One property of an entry, as SymGetTypeInfo gives it; false when it has none.
  bool typeInfo(ULONG id, IMAGEHLP_SYMBOL_TYPE_INFO what, void* info) const;

private:
  explicit DwarfInfo(std::string debugPath);
  std::vector<DebugVariable> findLocals(ULONG64 address) const;
  std::optional<ULONG64> answerTypeInfo(ULONG id, IMAGEHLP_SYMBOL_TYPE_INFO what) const;

  // The session holds pointers to these.
  std::string debugPath;
  char* debugPathText;
  Dwfl_Callbacks callbacks;
  Dwfl* session = nullptr;
  Dwfl_Module* module = nullptr;
  Dwarf* dwarf = nullptr;
  Dwarf_Addr bias = 0; // from the session's addresses to the information's
  mutable std::optional<std::vector<DebugVariable>> globalList;
  mutable std::map<ULONG64, std::vector<DebugVariable>> localLists;
  // Answers of typeInfo by entry and property: every report asks the same of its globals.
  mutable std::unordered_map<std::uint64_t, std::optional<ULONG64>> typeAnswers;
};

} // namespace basalt::platform

#endif
