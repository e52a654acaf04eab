#include "basalt/platform/registry/registry_tree.h"

#include <algorithm>
#include <unicode/uchar.h>

namespace basalt::platform {
namespace {

bool isHive(int slot) {
  return slot >= 0 && slot < hiveSlots && slot != 4;
}

template <class Keys> auto lowerBound(Keys& keys, const WString& folded) {
  return std::lower_bound(keys.begin(), keys.end(), folded,
                          [](const std::unique_ptr<RegKey>& key, const WString& name) {
                            return key->foldedName < name;
                          });
}

RegKey* findOrCreate(RegKey& parent, const WString& name) {
  WString folded = foldName(name);
  auto at = lowerBound(parent.subKeys, folded);
  if (at == parent.subKeys.end() || (*at)->foldedName != folded) {
    auto key = std::make_unique<RegKey>();
    key->name = name;
    key->foldedName = std::move(folded);
    at = parent.subKeys.insert(at, std::move(key));
  }
  return at->get();
}

RegKey* findSubKey(RegKey& parent, const WString& folded) {
  auto at = lowerBound(parent.subKeys, folded);
  return at != parent.subKeys.end() && (*at)->foldedName == folded ? at->get() : nullptr;
}

} // namespace

WString foldName(const WString& name) {
  WString folded(name);
  for (WCHAR& unit : folded) {
    if (unit >= 'a' && unit <= 'z') {
      unit = static_cast<WCHAR>(unit - 'a' + 'A');
    } else if (unit >= 0x80 && (unit < 0xD800 || unit > 0xDFFF)) {
      const UChar32 upper = u_toupper(unit);
      // A character whose capital lies outside the BMP keeps its own form.
      unit = upper <= 0xFFFF ? static_cast<WCHAR>(upper) : unit;
    }
  }
  return folded;
}

const RegKey* RegKey::findSubKey(const WString& folded) const {
  auto at = lowerBound(subKeys, folded);
  return at != subKeys.end() && (*at)->foldedName == folded ? at->get() : nullptr;
}

void RegistryTree::apply(const std::vector<RegOperation>& operations) {
  RegKey* current = nullptr;
  for (const RegOperation& operation : operations) {
    switch (operation.kind) {
    case RegOperation::OpenKey:
      current = nullptr;
      if (isHive(operation.hive)) {
        current = &hives[operation.hive];
        for (const WString& name : operation.path) {
          current = findOrCreate(*current, name);
        }
      }
      break;
    case RegOperation::DeleteKey: {
      current = nullptr;
      if (!isHive(operation.hive) || operation.path.empty()) {
        break;
      }
      RegKey* parent = &hives[operation.hive];
      for (std::size_t i = 0; parent != nullptr && i + 1 < operation.path.size(); ++i) {
        parent = findSubKey(*parent, foldName(operation.path[i]));
      }
      if (RegKey* key =
              parent != nullptr ? findSubKey(*parent, foldName(operation.path.back())) : nullptr) {
        parent->subKeys.erase(lowerBound(parent->subKeys, key->foldedName));
      }
      break;
    }
    case RegOperation::SetValue:
      if (current != nullptr) {
        RegValue& value = current->values[foldName(operation.name)];
        if (value.name.empty()) {
          value.name = operation.name;
        }
        value.type = operation.type;
        value.data = operation.data;
      }
      break;
    case RegOperation::DeleteValue:
      if (current != nullptr) {
        current->values.erase(foldName(operation.name));
      }
      break;
    }
  }
}

const RegKey* RegistryTree::hive(int slot) const {
  return isHive(slot) ? &hives[slot] : nullptr;
}

} // namespace basalt::platform
