#include "basalt/frame/unicode_layer.h"

#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/images/loaded_modules.h"
#include "basalt/platform/registry/registry.h"
#include "basalt/text/kelp_string.h"

#include <memory>

namespace plat = basalt::platform;

namespace basalt::frame {
namespace {

constexpr const char* commonKey =
    "Software\\Corvane Holdings\\10.0\\Corvane Cubeview Professional\\Common";
constexpr const char* layerName = "unicows.dll";

// The narrow value `root`, with the size the registry gives for it; null when unreadable.
std::unique_ptr<char[]> readRoot() {
  plat::HKEY key = nullptr;
  if (plat::RegOpenKeyExA(plat::HKEY_LOCAL_MACHINE, commonKey, 0, plat::KEY_READ, &key) !=
      plat::ERROR_SUCCESS) {
    return nullptr;
  }
  plat::DWORD size = 0;
  std::unique_ptr<char[]> root;
  if (plat::RegQueryValueExA(key, "root", nullptr, nullptr, nullptr, &size) ==
      plat::ERROR_SUCCESS) {
    // One byte more than asked for, so that a value stored without its terminator still
    // ends in one.
    root = std::make_unique<char[]>(size + 1);
    if (plat::RegQueryValueExA(key, "root", nullptr, nullptr,
                               reinterpret_cast<plat::BYTE*>(root.get()),
                               &size) != plat::ERROR_SUCCESS) {
      root.reset();
    }
  }
  plat::RegCloseKey(key);
  return root;
}

} // namespace

plat::HMODULE loadUnicodeLayer() {
  if (const std::unique_ptr<char[]> root = readRoot()) {
    // No separator goes in between: root must end with one.
    KELPString path(root.get());
    path += layerName;
    if (const plat::HMODULE layer = plat::LoadLibraryA(path.string().c_str())) {
      return layer;
    }
  }
  return plat::LoadLibraryA(layerName);
}

} // namespace basalt::frame
