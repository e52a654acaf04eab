#include "basalt/platform/registry/registry.h"

#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/nls/code_pages.h"
#include "basalt/platform/nls/locale.h"
#include "basalt/platform/registry/registry_store.h"

#include <cstring>
#include <mutex>
#include <unordered_map>

namespace basalt::platform {
namespace {

constexpr std::uintptr_t predefinedBase = 0x80000000;

// What a handle stands for: one key of one version of the registry.
struct OpenKey {
  std::shared_ptr<const RegistryTree> tree;
  const RegKey* key;
  int hive;
  std::vector<WString> path; // folded names from the hive's root
};

class HandleTable {
public:
  HKEY add(std::shared_ptr<const OpenKey> key) {
    std::lock_guard<std::mutex> lock(mutex);
    const std::uintptr_t id = next;
    next += 4;
    keys.emplace(id, std::move(key));
    return reinterpret_cast<HKEY>(id);
  }
  std::shared_ptr<const OpenKey> find(HKEY handle) {
    std::lock_guard<std::mutex> lock(mutex);
    auto at = keys.find(reinterpret_cast<std::uintptr_t>(handle));
    return at == keys.end() ? nullptr : at->second;
  }
  bool remove(HKEY handle) {
    std::lock_guard<std::mutex> lock(mutex);
    return keys.erase(reinterpret_cast<std::uintptr_t>(handle)) != 0;
  }

private:
  std::mutex mutex;
  std::unordered_map<std::uintptr_t, std::shared_ptr<const OpenKey>> keys;
  // Handles are numbers, never addresses, so a stale or made-up one is caught. They start
  // above the predefined roots' values and are not reused.
  std::uintptr_t next = sizeof(std::uintptr_t) > 4 ? std::uintptr_t{1} << 32 : 0x1000;
};

// Never destroyed, so that keys can still close while the library unloads.
HandleTable& handles() {
  static auto* table = new HandleTable;
  return *table;
}

// The hive slot of a predefined root; -1 for any other handle.
int predefinedSlot(HKEY key) {
  const auto value = reinterpret_cast<std::uintptr_t>(key);
  if (value < predefinedBase || value >= predefinedBase + hiveSlots) {
    return -1;
  }
  const int slot = static_cast<int>(value - predefinedBase);
  return slot == 4 ? -1 : slot;
}

LONG resolve(HKEY key, std::shared_ptr<const OpenKey>& open) {
  const int slot = predefinedSlot(key);
  if (slot < 0) {
    open = handles().find(key);
    return open != nullptr ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
  }
  std::shared_ptr<const RegistryTree> tree = currentRegistry();
  const RegKey* root = tree->hive(slot);
  open = std::make_shared<const OpenKey>(OpenKey{std::move(tree), root, slot, {}});
  return ERROR_SUCCESS;
}

LONG splitPath(LPCWSTR subKey, std::vector<WString>& names) {
  if (subKey == nullptr || subKey[0] == 0) {
    return ERROR_SUCCESS;
  }
  if (subKey[0] == '\\') {
    return ERROR_BAD_PATHNAME;
  }
  WString name;
  for (LPCWSTR unit = subKey; *unit != 0; ++unit) {
    if (*unit != '\\') {
      name.push_back(*unit);
    } else if (name.empty()) {
      return ERROR_INVALID_PARAMETER;
    } else {
      names.push_back(foldName(name));
      name.clear();
    }
  }
  if (!name.empty()) {
    names.push_back(foldName(name));
  }
  return ERROR_SUCCESS;
}

LONG findValue(HKEY key, LPCWSTR valueName, std::shared_ptr<const OpenKey>& open,
               const RegValue*& value) {
  if (const LONG result = resolve(key, open); result != ERROR_SUCCESS) {
    return result;
  }
  auto at = open->key->values.find(foldName(valueName != nullptr ? valueName : WString()));
  if (at == open->key->values.end()) {
    return ERROR_FILE_NOT_FOUND;
  }
  value = &at->second;
  return ERROR_SUCCESS;
}

LONG copyValue(const std::vector<BYTE>& bytes, DWORD valueType, DWORD* type, BYTE* data,
               DWORD* size) {
  if (type != nullptr) {
    *type = valueType;
  }
  if (size == nullptr) {
    return ERROR_SUCCESS;
  }
  const auto needed = static_cast<DWORD>(bytes.size());
  if (data != nullptr) {
    if (*size < needed) {
      *size = needed;
      return ERROR_MORE_DATA;
    }
    if (needed > 0) {
      std::memcpy(data, bytes.data(), needed);
    }
  }
  *size = needed;
  return ERROR_SUCCESS;
}

bool isText(DWORD type) {
  return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ;
}

WString fromAnsi(LPCSTR text) {
  const std::size_t length = std::strlen(text);
  WString wide(length, 0);
  const int count = length == 0 ? 0
                                : MultiByteToWideChar(GetACP(), 0, text, static_cast<int>(length),
                                                      wide.data(), static_cast<int>(length));
  wide.resize(static_cast<std::size_t>(count));
  return wide;
}

std::vector<BYTE> toAnsi(const std::vector<BYTE>& utf16) {
  WString units(utf16.size() / 2, 0);
  for (std::size_t i = 0; i < units.size(); ++i) {
    units[i] = static_cast<WCHAR>(utf16[2 * i] | (utf16[2 * i + 1] << 8));
  }
  std::vector<BYTE> bytes(units.size() * 4);
  const int count =
      units.empty() ? 0
                    : WideCharToMultiByte(GetACP(), 0, units.data(), static_cast<int>(units.size()),
                                          reinterpret_cast<char*>(bytes.data()),
                                          static_cast<int>(bytes.size()), nullptr, nullptr);
  bytes.resize(static_cast<std::size_t>(count));
  return bytes;
}

// Both query forms; the narrow one gives text values in the ANSI code page.
LONG queryValue(HKEY key, LPCWSTR valueName, DWORD* reserved, DWORD* type, BYTE* data, DWORD* size,
                bool ansi) {
  if (reserved != nullptr || (data != nullptr && size == nullptr)) {
    return ERROR_INVALID_PARAMETER;
  }
  std::shared_ptr<const OpenKey> open;
  const RegValue* value = nullptr;
  if (const LONG status = findValue(key, valueName, open, value); status != ERROR_SUCCESS) {
    return status;
  }
  if (ansi && isText(value->type)) {
    return copyValue(toAnsi(value->data), value->type, type, data, size);
  }
  return copyValue(value->data, value->type, type, data, size);
}

} // namespace

LONG RegOpenKeyExW(HKEY key, LPCWSTR subKey, DWORD options, REGSAM access, HKEY* result) {
  if (result == nullptr) {
    return ERROR_INVALID_PARAMETER;
  }
  *result = nullptr;
  if (options != 0) {
    return ERROR_INVALID_PARAMETER;
  }
  // The files are read only, and every key may be both queried and enumerated.
  if ((access & ~KEY_READ) != 0) {
    return ERROR_ACCESS_DENIED;
  }
  std::vector<WString> names;
  if (const LONG status = splitPath(subKey, names); status != ERROR_SUCCESS) {
    return status;
  }
  int slot = predefinedSlot(key);
  std::shared_ptr<const OpenKey> parent;
  if (slot < 0) {
    if ((parent = handles().find(key)) == nullptr) {
      return ERROR_INVALID_HANDLE;
    }
    slot = parent->hive;
  }
  // Every open sees the files as they are now, also one below a key opened earlier.
  auto opened = std::make_shared<OpenKey>(OpenKey{currentRegistry(), nullptr, slot, {}});
  const RegKey* at = opened->tree->hive(slot);
  if (parent != nullptr) {
    opened->path = parent->path;
    for (std::size_t i = 0; at != nullptr && i < opened->path.size(); ++i) {
      at = at->findSubKey(opened->path[i]);
    }
    if (at == nullptr) {
      return ERROR_KEY_DELETED;
    }
  }
  for (WString& name : names) {
    if ((at = at->findSubKey(name)) == nullptr) {
      return ERROR_FILE_NOT_FOUND;
    }
    opened->path.push_back(std::move(name));
  }
  opened->key = at;
  *result = handles().add(std::move(opened));
  return ERROR_SUCCESS;
}

LONG RegQueryValueExW(HKEY key, LPCWSTR valueName, DWORD* reserved, DWORD* type, BYTE* data,
                      DWORD* size) {
  return queryValue(key, valueName, reserved, type, data, size, false);
}

LONG RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, DWORD* nameSize, DWORD* reserved,
                   LPWSTR className, DWORD* classSize, FILETIME* lastWriteTime) {
  if (name == nullptr || nameSize == nullptr || reserved != nullptr || className != nullptr ||
      classSize != nullptr || lastWriteTime != nullptr) {
    return ERROR_INVALID_PARAMETER;
  }
  std::shared_ptr<const OpenKey> open;
  if (const LONG status = resolve(key, open); status != ERROR_SUCCESS) {
    return status;
  }
  if (index >= open->key->subKeys.size()) {
    return ERROR_NO_MORE_ITEMS;
  }
  const RegKey& subKey = *open->key->subKeys[index];
  if (*nameSize <= subKey.name.size()) {
    return ERROR_MORE_DATA;
  }
  std::memcpy(name, subKey.name.c_str(), (subKey.name.size() + 1) * sizeof(WCHAR));
  *nameSize = static_cast<DWORD>(subKey.name.size());
  return ERROR_SUCCESS;
}

LONG RegCloseKey(HKEY key) {
  if (predefinedSlot(key) >= 0) {
    return ERROR_SUCCESS;
  }
  return handles().remove(key) ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
}

LONG RegOpenKeyExA(HKEY key, LPCSTR subKey, DWORD options, REGSAM access, HKEY* result) {
  if (subKey == nullptr) {
    return RegOpenKeyExW(key, nullptr, options, access, result);
  }
  return RegOpenKeyExW(key, fromAnsi(subKey).c_str(), options, access, result);
}

LONG RegQueryValueExA(HKEY key, LPCSTR valueName, DWORD* reserved, DWORD* type, BYTE* data,
                      DWORD* size) {
  const WString name = valueName != nullptr ? fromAnsi(valueName) : WString();
  return queryValue(key, name.c_str(), reserved, type, data, size, true);
}

} // namespace basalt::platform
