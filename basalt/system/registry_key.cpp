#include "basalt/frame/static/static_objects.h"
#include "basalt/platform/registry/registry.h"
#include "basalt/system/registry_wrapper.h"

namespace plat = basalt::platform;

RegistryKey::RegistryKey(RegistryWrapper::RootKey root, const KELPString& path)
    : root(root), pathName(path) {
  const std::size_t separator = pathName.rfind('\\');
  name = separator == KELPString::npos ? pathName : KELPString(pathName.substr(separator + 1));
}

RegistryKey::~RegistryKey() {
  if (opened) {
    plat::RegCloseKey(handle);
  }
}

bool RegistryKey::open(std::uint32_t newAccess) {
  if (opened && newAccess != access) {
    plat::RegCloseKey(handle);
    opened = false;
  }
  if (opened) {
    return true;
  }
  if (root == RegistryWrapper::NoRootKey) {
    return false;
  }
  access = newAccess;
  lastError =
      plat::RegOpenKeyExW(RegistryWrapper::rootKeys[root], pathName.c_str(), 0, access, &handle);
  opened = lastError == 0;
  return opened;
}

KELPString RegistryKey::getFullPath() const {
  if (root == RegistryWrapper::NoRootKey) {
    return pathName;
  }
  KELPString full = basalt::frame::registryRootName(root);
  full += pathName;
  return full;
}

KELPString RegistryKey::getPathName() const {
  return pathName;
}

KELPString RegistryKey::getName() const {
  return name;
}

bool RegistryKey::isOpen() const {
  return opened;
}

std::uint32_t RegistryKey::getLastError() const {
  return lastError;
}
