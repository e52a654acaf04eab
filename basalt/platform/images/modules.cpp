#include "basalt/platform/images/modules.h"

#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/runtime/paths.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <dlfcn.h>
#include <link.h>
#include <mutex>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace basalt::platform {
namespace {

struct Module {
  HMODULE handle;
  std::string path;
};

struct LoadedModules {
  std::mutex mutex;
  std::vector<Module> modules;
};

// Never destroyed: modules may be given back while the library unloads.
LoadedModules& loadedModules() {
  static auto* registry = new LoadedModules;
  return *registry;
}

std::vector<Module> registeredModules() {
  LoadedModules& registry = loadedModules();
  std::lock_guard<std::mutex> lock(registry.mutex);
  return registry.modules;
}

// A shared object as the dynamic loader lists it: its path and an address inside it, by
// which dladdr1 finds its handle while it stays loaded.
struct SharedObject {
  std::string path;
  const void* address;
};

std::string mainProgramPath() {
  std::string path(256, '\0');
  for (;;) {
    const ssize_t length = ::readlink("/proc/self/exe", path.data(), path.size());
    if (length < 0) {
      return std::string();
    }
    if (static_cast<std::size_t>(length) < path.size()) {
      path.resize(static_cast<std::size_t>(length));
      return path;
    }
    path.resize(path.size() * 2);
  }
}

struct Collector {
  std::vector<SharedObject> objects;
  bool first = true;
};

int collectObject(dl_phdr_info* info, std::size_t, void* data) {
  auto& collector = *static_cast<Collector*>(data);
  const bool isMainProgram = collector.first;
  collector.first = false;
  const void* address = nullptr;
  for (ElfW(Half) i = 0; i < info->dlpi_phnum; ++i) {
    if (info->dlpi_phdr[i].p_type == PT_LOAD && info->dlpi_phdr[i].p_memsz > 0) {
      address = reinterpret_cast<const void*>(info->dlpi_addr + info->dlpi_phdr[i].p_vaddr);
      break;
    }
  }
  // Objects without a path, such as the kernel's vDSO, are no files and no modules.
  const char* name = info->dlpi_name;
  if (address != nullptr && (isMainProgram || std::strchr(name, '/') != nullptr)) {
    collector.objects.push_back({isMainProgram ? std::string() : absoluteOsPath(name), address});
  }
  return 0;
}

// The main program first, then the shared objects in the loader's order.
std::vector<SharedObject> sharedObjects() {
  Collector collector;
  ::dl_iterate_phdr(collectObject, &collector);
  if (!collector.objects.empty()) {
    collector.objects.front().path = mainProgramPath();
  }
  return std::move(collector.objects);
}

// The dlopen handle of the object at address; null once it has been unloaded.
HMODULE handleAt(const void* address) {
  Dl_info info;
  void* map = nullptr;
  if (::dladdr1(address, &info, &map, RTLD_DL_LINKMAP) == 0) {
    return nullptr;
  }
  return map;
}

bool endsWithIgnoringCase(const std::string& text, const std::string& suffix) {
  return text.size() >= suffix.size() &&
         std::equal(suffix.begin(), suffix.end(), text.end() - suffix.size(),
                    [](char lower, char c) {
                      return lower == std::tolower(static_cast<unsigned char>(c));
                    });
}

bool endsWith(const std::string& text, const std::string& suffix) {
  return text.size() >= suffix.size() &&
         text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

bool sameFile(const std::string& a, const std::string& b) {
  struct stat first {};
  struct stat second {};
  return ::stat(a.c_str(), &first) == 0 && ::stat(b.c_str(), &second) == 0 &&
         first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

// A module name as a caller gives it, with the file names it stands for.
class ModuleName {
public:
  explicit ModuleName(const std::string& osName) {
    OsPathParts parts = splitOsPath(osName);
    const std::string& fileName = parts.lastComponent;
    if (fileName.empty()) {
      return;
    }
    if (osName.find('/') != std::string::npos) {
      directory = std::move(parts.directory);
    }
    fileNames.push_back(fileName);
    const bool windowsSuffix =
        endsWithIgnoringCase(fileName, ".dll") || endsWithIgnoringCase(fileName, ".exe");
    if (!windowsSuffix && fileName.find('.') != std::string::npos) {
      return;
    }
    stem = windowsSuffix ? fileName.substr(0, fileName.size() - 4) : fileName;
    for (const std::string& name : {stem, stem + ".dll", stem + ".so", "lib" + stem + ".so"}) {
      fileNames.push_back(name);
    }
  }

  bool matches(const std::string& path) const {
    const OsPathParts parts = splitOsPath(path);
    const bool nameMatches =
        std::any_of(fileNames.begin(), fileNames.end(), [&](const std::string& name) {
          return parts.lastComponent == name ||
                 (endsWith(name, ".so") &&
                  parts.lastComponent.compare(0, name.size() + 1, name + ".") == 0);
        });
    return nameMatches && (directory.empty() || sameFile(directory, parts.directory));
  }

  // The library's own names, which find its code however it was linked.
  bool namesThisLibrary() const { return directory.empty() && stem == "basalt"; }

private:
  std::string directory;
  std::string stem;
  std::vector<std::string> fileNames;
};

HMODULE findModule(const ModuleName& name) {
  for (const Module& module : registeredModules()) {
    if (name.matches(module.path)) {
      return module.handle;
    }
  }
  for (const SharedObject& object : sharedObjects()) {
    if (name.matches(object.path)) {
      if (HMODULE handle = handleAt(object.address)) {
        return handle;
      }
    }
  }
  if (name.namesThisLibrary()) {
    return handleAt(reinterpret_cast<const void*>(&GetModuleHandleW));
  }
  return nullptr;
}

std::string pathOf(HMODULE module) {
  for (const Module& registered : registeredModules()) {
    if (registered.handle == module) {
      return registered.path;
    }
  }
  for (const SharedObject& object : sharedObjects()) {
    if (handleAt(object.address) == module) {
      return object.path;
    }
  }
  return std::string();
}

} // namespace

HMODULE GetModuleHandleW(LPCWSTR moduleName) {
  const HMODULE module =
      moduleName != nullptr ? findModule(ModuleName(toOsPath(moduleName))) : nullptr;
  if (module == nullptr) {
    SetLastError(ERROR_MOD_NOT_FOUND);
  }
  return module;
}

DWORD GetModuleFileNameW(HMODULE module, LPWSTR fileName, DWORD size) {
  if (fileName == nullptr && size > 0) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  const std::string path = module == nullptr ? mainProgramPath() : pathOf(module);
  if (path.empty()) {
    SetLastError(ERROR_MOD_NOT_FOUND);
    return 0;
  }
  if (size == 0) {
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return 0;
  }
  const WideString text = fromOsPath(path);
  const std::size_t count = std::min<std::size_t>(text.size(), size - 1);
  std::copy_n(text.begin(), count, fileName);
  fileName[count] = 0;
  if (count < text.size()) {
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return size;
  }
  return static_cast<DWORD>(count);
}

void registerLoadedModule(HMODULE module, const std::string& osPath) {
  LoadedModules& registry = loadedModules();
  std::lock_guard<std::mutex> lock(registry.mutex);
  const auto known = std::find_if(registry.modules.begin(), registry.modules.end(),
                                  [&](const Module& entry) { return entry.handle == module; });
  if (known != registry.modules.end()) {
    known->path = osPath;
  } else {
    registry.modules.push_back({module, osPath});
  }
}

void unregisterLoadedModule(HMODULE module) {
  LoadedModules& registry = loadedModules();
  std::lock_guard<std::mutex> lock(registry.mutex);
  registry.modules.erase(
      std::remove_if(registry.modules.begin(), registry.modules.end(),
                     [&](const Module& entry) { return entry.handle == module; }),
      registry.modules.end());
}

} // namespace basalt::platform
