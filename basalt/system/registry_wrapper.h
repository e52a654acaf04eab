#ifndef BASALT_SYSTEM_REGISTRY_WRAPPER_H
#define BASALT_SYSTEM_REGISTRY_WRAPPER_H

#include "basalt/export.h"
#include "basalt/platform/registry/registry_types.h"
#include "basalt/text/kelp_string.h"

#include <cstdint>
#include <vector>

class RegistryKey;

// Reads text, number and yes/no values and lists of sub-keys. Operations report failure by
// their result and keep the latest failure, which getErrorText puts into words; a success
// doesn't clear it. The wrapper owns every key it hands out: they stay open until the
// wrapper goes. One thread at a time.
class BASALT_API RegistryWrapper {
public:
  // Ordered by display name; NoRootKey marks a read through a key already held.
  enum RootKey { ClassesRoot = 0, CurrentConfig, CurrentUser, LocalMachine, Users, NoRootKey };

  RegistryWrapper() = default;
  ~RegistryWrapper();

  // With key not null, *key is set to null first and receives the key opened for the read,
  // also when the value is missing; a key that can't be opened leaves it null. An empty
  // valueName reads the key's default value.
  //
  // Text: a DWORD leaves value alone and gives true only when value isn't empty; any other
  // type gives its text up to the first NUL, and false when that is empty.
  bool readRegKeyValue(RootKey root, const KELPString& keyPath, const KELPString& valueName,
                       KELPString& value, RegistryKey** key);
  bool readRegKeyValue(RegistryKey* key, const KELPString& valueName, KELPString& value);
  // Number: a DWORD gives its number; any other type leaves value alone and gives true.
  bool readRegKeyValue(RootKey root, const KELPString& keyPath, const KELPString& valueName,
                       std::uint32_t& value, RegistryKey** key);
  bool readRegKeyValue(RegistryKey* key, const KELPString& valueName, std::uint32_t& value);
  // Yes/no: a DWORD other than 0 is true; any other type is false.
  bool readRegKeyValue(RootKey root, const KELPString& keyPath, const KELPString& valueName,
                       bool& value, RegistryKey** key);
  bool readRegKeyValue(RegistryKey* key, const KELPString& valueName, bool& value);

  // Appends the sub-keys of a key, each opened from the root by its whole path, in the
  // system's order. A sub-key that can't be opened is left out and recorded as the failure;
  // the result is still true.
  bool enumRegKeys(RootKey root, KELPString keyPath, std::vector<RegistryKey*>& subKeys);
  bool enumRegKeys(RegistryKey* key, std::vector<RegistryKey*>& subKeys);

  // "<full path of the key>[\<value name>]: <system message>" for the latest failure.
  KELPString getErrorText();

private:
  friend class RegistryKey;

  // The three kinds of read, by path or, with NoRootKey, through the key in *key.
  bool readText(RootKey root, const KELPString& keyPath, const KELPString& valueName,
                KELPString& value, RegistryKey** key);
  bool readNumber(RootKey root, const KELPString& keyPath, const KELPString& valueName,
                  std::uint32_t& value, RegistryKey** key);
  bool readFlag(RootKey root, const KELPString& keyPath, const KELPString& valueName, bool& value,
                RegistryKey** key);
  bool readGenericRegKeyValue(RootKey root, const KELPString& keyPath, const KELPString& valueName,
                              RegistryKey** key, KELPString& text, std::uint32_t& number);
  bool queryRegValue(RegistryKey* key, const KELPString& valueName, KELPString& text,
                     std::uint32_t& number);
  void recordKeyFailure(const RegistryKey& key);

  static const basalt::platform::HKEY rootKeys[5];

  std::uint32_t lastError = 0;
  KELPString errorKeyPath;
  KELPString errorValueName;
  std::vector<RegistryKey*> keys;
};

// One key as the wrapper sees it. Only a RegistryWrapper makes, opens and deletes keys.
// It belongs to its wrapper, and so to one thread at a time.
class BASALT_API RegistryKey {
public:
  RegistryKey(const RegistryKey& other) = default;
  RegistryKey& operator=(const RegistryKey& other) = default;

  // The root's display name, such as "[HKEY_LOCAL_MACHINE]", then the path: for messages.
  KELPString getFullPath() const;
  KELPString getPathName() const;
  // What follows the last backslash of the path, or the whole path.
  KELPString getName() const;
  bool isOpen() const;
  // The result of the last open.
  std::uint32_t getLastError() const;

private:
  friend class RegistryWrapper;

  RegistryKey(RegistryWrapper::RootKey root, const KELPString& path);
  ~RegistryKey();
  bool open(std::uint32_t access);

  basalt::platform::HKEY handle = nullptr;
  std::uint32_t access = 0;
  RegistryWrapper::RootKey root;
  KELPString pathName;
  KELPString name;
  bool opened = false;
  std::uint32_t lastError = 0;
};

#endif
