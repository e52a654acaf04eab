#ifndef BASALT_PLATFORM_REGISTRY_REGISTRY_TREE_H
#define BASALT_PLATFORM_REGISTRY_REGISTRY_TREE_H

// The registry as the .reg files describe it once their changes are applied in order.
// A tree is built once and then only read, so any number of threads may share it. Its
// readers are exported for the tools that ship with the library.

#include "basalt/platform/registry/reg_file_parser.h"

#include <array>
#include <map>
#include <memory>

namespace basalt::platform {

// Names compare by their upper-case forms, one code unit at a time, as on Windows.
WString foldName(const WString& name);

struct RegValue {
  WString name;
  DWORD type = 0;
  std::vector<BYTE> data;
};

struct RegKey {
  WString name;
  WString foldedName;
  // In case-blind alphabetical order.
  std::vector<std::unique_ptr<RegKey>> subKeys;
  std::map<WString, RegValue> values; // by folded name

  // Null when there is no sub-key of that (folded) name.
  const RegKey* findSubKey(const WString& folded) const;
};

class RegistryTree {
public:
  // Applies one file's operations.
  void apply(const std::vector<RegOperation>& operations);

  // The root key of a hive slot (see reg_file_parser.h); null for a slot that holds no hive.
  const RegKey* hive(int slot) const;

private:
  std::array<RegKey, hiveSlots> hives;
};

} // namespace basalt::platform

#endif
