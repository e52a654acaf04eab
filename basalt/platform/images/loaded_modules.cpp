#include "basalt/platform/images/loaded_modules.h"

#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/images/debug_help.h"
#include "basalt/platform/images/elf_dependencies.h"
#include "basalt/platform/images/modules.h"
#include "basalt/platform/nls/code_pages.h"
#include "basalt/platform/nls/locale.h"
#include "basalt/platform/runtime/paths.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <elf.h>
#include <fcntl.h>
#include <link.h>
#include <map>
#include <mutex>
#include <set>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace basalt::platform {
namespace {

constexpr DWORD knownFlags = LOAD_WITH_ALTERED_SEARCH_PATH;

#if defined(__x86_64__)
constexpr unsigned char nativeElfClass = ELFCLASS64;
constexpr WORD nativeElfMachine = EM_X86_64;
#elif defined(__aarch64__)
constexpr unsigned char nativeElfClass = ELFCLASS64;
constexpr WORD nativeElfMachine = EM_AARCH64;
#elif defined(__i386__)
constexpr unsigned char nativeElfClass = ELFCLASS32;
constexpr WORD nativeElfMachine = EM_386;
#else
#error "Name this machine's ELF class and machine"
#endif

struct ModuleTable {
  struct Entry {
    std::shared_ptr<LoadedModule> module;
    unsigned count;
  };
  // Recursive, because an ELF object's constructors and destructors may load and free
  // modules themselves.
  std::recursive_mutex mutex;
  std::map<HMODULE, Entry> entries;
};

// Never destroyed: clients may free modules from exit handlers that run after static
// destruction.
ModuleTable& moduleTable() {
  static ModuleTable* const table = new ModuleTable;
  return *table;
}

std::string resolvedPath(const std::string& path) {
  char* resolved = ::realpath(path.c_str(), nullptr);
  if (resolved == nullptr) {
    return path;
  }
  std::string result(resolved);
  std::free(resolved);
  return result;
}

bool isRegularFile(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

// Called with the table locked.
HMODULE countAgain(ModuleTable& table, const std::string& path) {
  for (auto& [handle, entry] : table.entries) {
    if (entry.module->path() == path) {
      ++entry.count;
      return handle;
    }
  }
  return nullptr;
}

// A data module's handle is its record; an ELF object's is dlopen's, which the dynamic loader
// hands out for it everywhere.
HMODULE enter(ModuleTable& table, std::shared_ptr<LoadedModule> module) {
  const HMODULE handle = module->library() != nullptr ? module->library() : module.get();
  // GetModuleHandleW and GetModuleFileNameW find it from here on.
  registerLoadedModule(handle, module->path());
  table.entries.emplace(handle, ModuleTable::Entry{std::move(module), 1});
  return handle;
}

// An ELF object that dlopen had loaded already, by this or another path, is counted again.
HMODULE enterLibrary(ModuleTable& table, const std::string& path, void* library) {
  const auto loaded = table.entries.find(library);
  if (loaded != table.entries.end()) {
    ::dlclose(library);
    ++loaded->second.count;
    return library;
  }
  return enter(table, std::make_shared<LoadedModule>(path, library));
}

HMODULE fail(DWORD error) {
  SetLastError(error);
  return nullptr;
}

class FileDescriptor {
public:
  explicit FileDescriptor(int fd) : fd(fd) {}
  ~FileDescriptor() {
    if (fd >= 0) {
      ::close(fd);
    }
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  int get() const { return fd; }

private:
  int fd;
};

// The whole file, read rather than mapped so that a file cut short while we read it is a
// short read, not a fault. Empty when it can't be read.
std::vector<unsigned char> readWholeFile(int fd, std::size_t size) {
  std::vector<unsigned char> contents(size);
  std::size_t done = 0;
  while (done < size) {
    const ssize_t got = ::pread(fd, contents.data() + done, size - done, static_cast<off_t>(done));
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got <= 0) {
      contents.resize(done);
      break;
    }
    done += static_cast<std::size_t>(got);
  }
  return contents;
}

std::vector<std::string> neededLibraries(int fd) {
  struct stat status {};
  if (::fstat(fd, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size == 0) {
    return {};
  }
  const std::vector<unsigned char> contents =
      readWholeFile(fd, static_cast<std::size_t>(status.st_size));
  return elfNeededLibraries(contents.data(), contents.size());
}

// Loads, deepest first, what the object in file needs from directory, so that dlopen then
// finds those by name among the objects already loaded.
void preloadFromDirectory(const std::string& directory, int file, std::set<std::string>& visited,
                          std::vector<void*>& preloaded) {
  for (const std::string& name : neededLibraries(file)) {
    std::string candidate = directory;
    candidate += '/';
    candidate += name;
    if (name.find('/') != std::string::npos || !isRegularFile(candidate) ||
        !visited.insert(candidate).second) {
      continue;
    }
    const FileDescriptor dependency(::open(candidate.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (dependency.get() >= 0) {
      preloadFromDirectory(directory, dependency.get(), visited, preloaded);
    }
    if (void* library = ::dlopen(candidate.c_str(), RTLD_NOW | RTLD_LOCAL)) {
      preloaded.push_back(library);
    }
  }
}

HMODULE loadElf(ModuleTable& table, const std::string& path, int fd, bool ownDirectoryFirst) {
  unsigned char header[EI_NIDENT + 4] = {};
  if (::pread(fd, header, sizeof header, 0) != static_cast<ssize_t>(sizeof header) ||
      header[EI_CLASS] != nativeElfClass ||
      static_cast<WORD>(header[18] | (header[19] << 8)) != nativeElfMachine) {
    return fail(ERROR_BAD_EXE_FORMAT);
  }
  std::vector<void*> preloaded;
  if (ownDirectoryFirst) {
    std::set<std::string> visited{path};
    preloadFromDirectory(splitOsPath(path).directory, fd, visited, preloaded);
  }
  void* library = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  // The object holds what it uses of the preloaded ones; the rest go again.
  for (auto preload = preloaded.rbegin(); preload != preloaded.rend(); ++preload) {
    ::dlclose(*preload);
  }
  if (library == nullptr) {
    // A sound object for this machine that won't link: a dependency or symbol is missing.
    return fail(ERROR_MOD_NOT_FOUND);
  }
  return enterLibrary(table, path, library);
}

HMODULE loadPeImage(ModuleTable& table, const std::string& path, int fd, std::size_t size) {
  std::vector<unsigned char> contents = readWholeFile(fd, size);
  auto module = std::make_shared<LoadedModule>(path, std::move(contents));
  if (module->image() == nullptr) {
    return fail(ERROR_BAD_EXE_FORMAT);
  }
  return enter(table, std::move(module));
}

// Loads the file at path, or counts it again when it is loaded already.
HMODULE loadFile(ModuleTable& table, const std::string& path, bool ownDirectoryFirst) {
  // Non-blocking, so that a FIFO can't hold the caller up.
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (file.get() < 0) {
    return fail(errno == EACCES || errno == EPERM ? ERROR_ACCESS_DENIED : ERROR_MOD_NOT_FOUND);
  }
  struct stat status {};
  if (::fstat(file.get(), &status) != 0) {
    return fail(ERROR_MOD_NOT_FOUND);
  }
  if (S_ISDIR(status.st_mode)) {
    return fail(ERROR_ACCESS_DENIED);
  }
  if (!S_ISREG(status.st_mode)) {
    return fail(ERROR_BAD_EXE_FORMAT);
  }
  const std::string resolved = resolvedPath(path);
  if (const HMODULE loaded = countAgain(table, resolved)) {
    return loaded;
  }
  unsigned char magic[4] = {};
  const ssize_t got = ::pread(file.get(), magic, sizeof magic, 0);
  if (got == static_cast<ssize_t>(sizeof magic) && std::memcmp(magic, ELFMAG, SELFMAG) == 0) {
    return loadElf(table, resolved, file.get(), ownDirectoryFirst);
  }
  if (got >= 2 && magic[0] == 'M' && magic[1] == 'Z') {
    return loadPeImage(table, resolved, file.get(), static_cast<std::size_t>(status.st_size));
  }
  return fail(ERROR_BAD_EXE_FORMAT);
}

// The main program's path in the system's form; empty when it can't be read.
std::string programPath() {
  const DWORD saved = GetLastError();
  std::vector<WCHAR> path(PATH_MAX + 1, 0);
  const DWORD length = GetModuleFileNameW(nullptr, path.data(), PATH_MAX + 1);
  SetLastError(saved);
  return length == 0 || length > PATH_MAX ? std::string() : toOsPath(path.data());
}

void appendSearchList(std::vector<std::string>& directories, const char* variable) {
  const char* value = std::getenv(variable);
  if (value == nullptr) {
    return;
  }
  const std::string list(value);
  std::size_t start = 0;
  while (start <= list.size()) {
    std::size_t end = list.find(':', start);
    if (end == std::string::npos) {
      end = list.size();
    }
    if (end > start) {
      directories.push_back(list.substr(start, end - start));
    }
    start = end + 1;
  }
}

std::vector<std::string> searchDirectories() {
  std::vector<std::string> directories;
  if (const std::string program = programPath(); !program.empty()) {
    directories.push_back(splitOsPath(program).directory);
  }
  if (char* current = ::getcwd(nullptr, 0)) {
    directories.emplace_back(current);
    std::free(current);
  }
  appendSearchList(directories, "LD_LIBRARY_PATH");
  appendSearchList(directories, "PATH");
  return directories;
}

HMODULE loadFromDlopenSearch(ModuleTable& table, const std::string& name) {
  void* library = ::dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    return fail(ERROR_MOD_NOT_FOUND);
  }
  link_map* map = nullptr;
  const std::string path =
      ::dlinfo(library, RTLD_DI_LINKMAP, &map) == 0 && map != nullptr && map->l_name[0] != '\0'
          ? resolvedPath(map->l_name)
          : name;
  return enterLibrary(table, path, library);
}

HMODULE load(LPCWSTR name, DWORD flags) {
  const bool ownDirectoryFirst = (flags & LOAD_WITH_ALTERED_SEARCH_PATH) != 0;
  if (name == nullptr) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  const std::string path = toOsPath(name);
  // Built in, so found by its bare name the way Windows finds its system libraries.
  if (isDebugHelpLibraryName(path.c_str())) {
    return debugHelpModule();
  }
  ModuleTable& table = moduleTable();
  const std::lock_guard<std::recursive_mutex> lock(table.mutex);
  if (path.find('/') != std::string::npos) {
    return loadFile(table, path, ownDirectoryFirst);
  }
  for (const std::string& directory : searchDirectories()) {
    std::string candidate = directory;
    candidate += '/';
    candidate += path;
    if (isRegularFile(candidate)) {
      return loadFile(table, candidate, ownDirectoryFirst);
    }
  }
  return loadFromDlopenSearch(table, path);
}

// Whether address lies in the object that dlopen's handle library stands for, and not in one
// of the objects it depends on.
bool definedIn(void* library, void* address) {
  link_map* own = nullptr;
  if (::dlinfo(library, RTLD_DI_LINKMAP, &own) != 0) {
    return false;
  }
  Dl_info info{};
  link_map* owner = nullptr;
  return ::dladdr1(address, &info, reinterpret_cast<void**>(&owner), RTLD_DL_LINKMAP) != 0 &&
         owner == own;
}

FARPROC findSymbol(void* library, const char* name) {
  ::dlerror();
  void* address = ::dlsym(library, name);
  if (address == nullptr || !definedIn(library, address)) {
    SetLastError(ERROR_PROC_NOT_FOUND);
    return nullptr;
  }
  return address;
}

} // namespace

LoadedModule::LoadedModule(std::string path, void* library)
    : filePath(std::move(path)), dlHandle(library) {}

LoadedModule::LoadedModule(std::string path, std::vector<unsigned char> contents)
    : filePath(std::move(path)), contents(std::move(contents)),
      peImage(PeImage::parse(this->contents.data(), this->contents.size())) {}

LoadedModule::~LoadedModule() {
  if (dlHandle != nullptr) {
    ::dlclose(dlHandle);
  }
}

HMODULE LoadLibraryExW(LPCWSTR name, HANDLE file, DWORD flags) {
  if (file != nullptr || (flags & ~knownFlags) != 0) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  return load(name, flags);
}

HMODULE LoadLibraryW(LPCWSTR name) {
  return load(name, 0);
}

HMODULE LoadLibraryA(const char* name) {
  if (name == nullptr) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  const std::size_t length = std::strlen(name);
  if (length > INT_MAX - 1) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  // No code page makes more units than bytes.
  std::vector<WCHAR> wide(length + 1, 0);
  if (length > 0 && MultiByteToWideChar(GetACP(), 0, name, static_cast<int>(length), wide.data(),
                                        static_cast<int>(length)) == 0) {
    return fail(ERROR_MOD_NOT_FOUND);
  }
  return load(wide.data(), 0);
}

FARPROC GetProcAddress(HMODULE module, const char* name) {
  // Windows takes a value below 0x10000 as an ordinal; nothing here exports by ordinal.
  if (reinterpret_cast<std::uintptr_t>(name) < 0x10000) {
    SetLastError(ERROR_PROC_NOT_FOUND);
    return nullptr;
  }
  if (module == nullptr) {
    void* program = ::dlopen(nullptr, RTLD_LAZY);
    ::dlclose(program);
    return findSymbol(program, name);
  }
  if (module == debugHelpModule()) {
    FARPROC address = debugHelpProcedure(name);
    if (address == nullptr) {
      SetLastError(ERROR_PROC_NOT_FOUND);
    }
    return address;
  }
  const std::shared_ptr<const LoadedModule> loaded = findLoadedModule(module);
  if (loaded == nullptr) {
    SetLastError(ERROR_INVALID_HANDLE);
    return nullptr;
  }
  if (loaded->library() == nullptr) {
    SetLastError(ERROR_PROC_NOT_FOUND);
    return nullptr;
  }
  return findSymbol(loaded->library(), name);
}

BOOL FreeLibrary(HMODULE module) {
  // Built in, it never goes.
  if (module == debugHelpModule()) {
    return TRUE;
  }
  ModuleTable& table = moduleTable();
  // Declared before the lock, so that the module goes after the lock is released: its
  // destructors may call back into this table.
  std::shared_ptr<LoadedModule> last;
  const std::lock_guard<std::recursive_mutex> lock(table.mutex);
  const auto found = table.entries.find(module);
  if (found == table.entries.end()) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  if (--found->second.count == 0) {
    unregisterLoadedModule(module);
    last = std::move(found->second.module);
    table.entries.erase(found);
  }
  return TRUE;
}

std::shared_ptr<const LoadedModule> findLoadedModule(HMODULE module) {
  ModuleTable& table = moduleTable();
  const std::lock_guard<std::recursive_mutex> lock(table.mutex);
  const auto found = table.entries.find(module);
  return found == table.entries.end() ? nullptr : found->second.module;
}

} // namespace basalt::platform
