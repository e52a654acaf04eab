#include "basalt/system/registry_wrapper.h"

#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/registry/registry.h"
#include "basalt/system/system_support.h"

#include <algorithm>
#include <vector>

namespace plat = basalt::platform;

namespace {

constexpr std::uint32_t keyRead = plat::KEY_READ;
constexpr plat::DWORD enumNameRoom = 1024;

// Each read by path opens a key of its own, whatever *key held before.
void clearKey(RegistryKey** key) {
  if (key != nullptr) {
    *key = nullptr;
  }
}

} // namespace

const plat::HKEY RegistryWrapper::rootKeys[5] = {plat::HKEY_CLASSES_ROOT, plat::HKEY_CURRENT_CONFIG,
                                                 plat::HKEY_CURRENT_USER, plat::HKEY_LOCAL_MACHINE,
                                                 plat::HKEY_USERS};

RegistryWrapper::~RegistryWrapper() {
  for (RegistryKey* key : keys) {
    delete key;
  }
}

bool RegistryWrapper::readRegKeyValue(RootKey root, const KELPString& keyPath,
                                      const KELPString& valueName, KELPString& value,
                                      RegistryKey** key) {
  clearKey(key);
  return readText(root, keyPath, valueName, value, key);
}

bool RegistryWrapper::readRegKeyValue(RegistryKey* key, const KELPString& valueName,
                                      KELPString& value) {
  return readText(NoRootKey, KELPString(), valueName, value, &key);
}

bool RegistryWrapper::readRegKeyValue(RootKey root, const KELPString& keyPath,
                                      const KELPString& valueName, std::uint32_t& value,
                                      RegistryKey** key) {
  clearKey(key);
  return readNumber(root, keyPath, valueName, value, key);
}

bool RegistryWrapper::readRegKeyValue(RegistryKey* key, const KELPString& valueName,
                                      std::uint32_t& value) {
  return readNumber(NoRootKey, KELPString(), valueName, value, &key);
}

bool RegistryWrapper::readRegKeyValue(RootKey root, const KELPString& keyPath,
                                      const KELPString& valueName, bool& value, RegistryKey** key) {
  clearKey(key);
  return readFlag(root, keyPath, valueName, value, key);
}

bool RegistryWrapper::readRegKeyValue(RegistryKey* key, const KELPString& valueName, bool& value) {
  return readFlag(NoRootKey, KELPString(), valueName, value, &key);
}

bool RegistryWrapper::readText(RootKey root, const KELPString& keyPath, const KELPString& valueName,
                               KELPString& value, RegistryKey** key) {
  std::uint32_t number = 0;
  return readGenericRegKeyValue(root, keyPath, valueName, key, value, number) && !value.empty();
}

bool RegistryWrapper::readNumber(RootKey root, const KELPString& keyPath,
                                 const KELPString& valueName, std::uint32_t& value,
                                 RegistryKey** key) {
  KELPString text;
  std::uint32_t number = value;
  if (!readGenericRegKeyValue(root, keyPath, valueName, key, text, number)) {
    return false;
  }
  value = number;
  return true;
}

bool RegistryWrapper::readFlag(RootKey root, const KELPString& keyPath, const KELPString& valueName,
                               bool& value, RegistryKey** key) {
  KELPString text;
  std::uint32_t number = 0;
  if (!readGenericRegKeyValue(root, keyPath, valueName, key, text, number)) {
    return false;
  }
  value = number != 0;
  return true;
}

bool RegistryWrapper::readGenericRegKeyValue(RootKey root, const KELPString& keyPath,
                                             const KELPString& valueName, RegistryKey** key,
                                             KELPString& text, std::uint32_t& number) {
  if (key != nullptr && *key != nullptr) {
    return queryRegValue(*key, valueName, text, number);
  }
  if (root == NoRootKey) {
    // A read through a held key, and the caller held none.
    lastError = plat::ERROR_INVALID_HANDLE;
    errorKeyPath = KELPString();
    errorValueName = valueName;
    return false;
  }
  auto* opened = new RegistryKey(root, keyPath);
  if (!opened->open(keyRead)) {
    recordKeyFailure(*opened);
    delete opened;
    return false;
  }
  const bool found = queryRegValue(opened, valueName, text, number);
  if (key == nullptr) {
    delete opened;
  } else {
    keys.push_back(opened);
    *key = opened;
  }
  return found;
}

bool RegistryWrapper::queryRegValue(RegistryKey* key, const KELPString& valueName, KELPString& text,
                                    std::uint32_t& number) {
  plat::DWORD type = 0;
  plat::DWORD size = 0;
  plat::LONG result =
      plat::RegQueryValueExW(key->handle, valueName.c_str(), nullptr, &type, nullptr, &size);
  if (result == 0 && type == plat::REG_DWORD) {
    // No more than the four bytes of number, whatever size the value reports; a shorter
    // value is widened with zeros.
    number = 0;
    plat::DWORD numberSize = std::min<plat::DWORD>(size, sizeof(number));
    plat::RegQueryValueExW(key->handle, valueName.c_str(), nullptr, &type,
                           reinterpret_cast<plat::BYTE*>(&number), &numberSize);
    return true;
  }
  std::vector<plat::BYTE> data;
  if (result == 0) {
    data.assign(size, 0);
    result =
        plat::RegQueryValueExW(key->handle, valueName.c_str(), nullptr, &type, data.data(), &size);
  }
  if (result != 0) {
    lastError = static_cast<std::uint32_t>(result);
    errorKeyPath = key->getFullPath();
    errorValueName = valueName;
    return false;
  }
  KELPString::Base units(data.size() / 2, 0);
  for (std::size_t i = 0; i < units.size(); ++i) {
    units[i] = static_cast<unsigned short>(data[2 * i] | (data[2 * i + 1] << 8));
  }
  text = units.c_str();
  return true;
}

bool RegistryWrapper::enumRegKeys(RootKey root,
                                  KELPString keyPath, // NOLINT(performance-unnecessary-value-param)
                                  std::vector<RegistryKey*>& subKeys) {
  RegistryKey parent(root, keyPath);
  if (!parent.open(keyRead)) {
    recordKeyFailure(parent);
    return false;
  }
  return enumRegKeys(&parent, subKeys);
}

bool RegistryWrapper::enumRegKeys(RegistryKey* key, std::vector<RegistryKey*>& subKeys) {
  if (key == nullptr) {
    return false;
  }
  if (!key->isOpen() && !key->open(keyRead)) {
    recordKeyFailure(*key);
    return false;
  }
  KELPString prefix = key->pathName;
  prefix += static_cast<unsigned short>('\\');
  std::vector<unsigned short> name(enumNameRoom);
  for (plat::DWORD index = 0;; ++index) {
    plat::DWORD size = enumNameRoom;
    const plat::LONG result = plat::RegEnumKeyExW(key->handle, index, name.data(), &size, nullptr,
                                                  nullptr, nullptr, nullptr);
    if (result == plat::ERROR_NO_MORE_ITEMS) {
      return true;
    }
    if (result != 0) {
      lastError = static_cast<std::uint32_t>(result);
      errorKeyPath = key->getFullPath();
      errorValueName = KELPString();
      // Only a name too long for the buffer belongs to one index; any other failure would
      // come back at every index, so the walk ends here.
      if (result == plat::ERROR_MORE_DATA) {
        continue;
      }
      return true;
    }
    KELPString path = prefix;
    path.append(name.data(), size);
    auto* subKey = new RegistryKey(key->root, path);
    if (subKey->open(keyRead)) {
      subKeys.push_back(subKey);
      keys.push_back(subKey);
    } else {
      recordKeyFailure(*subKey);
      delete subKey;
    }
  }
}

KELPString RegistryWrapper::getErrorText() {
  KELPString message;
  SystemSupport::FormatError(message, lastError);
  KELPString text = errorKeyPath;
  if (!errorValueName.empty()) {
    text += static_cast<unsigned short>('\\');
    text += errorValueName;
  }
  text += ": ";
  text += message;
  return text;
}

void RegistryWrapper::recordKeyFailure(const RegistryKey& key) {
  lastError = key.lastError;
  errorKeyPath = key.getFullPath();
  errorValueName = KELPString();
}
