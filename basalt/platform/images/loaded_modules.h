#ifndef BASALT_PLATFORM_IMAGES_LOADED_MODULES_H
#define BASALT_PLATFORM_IMAGES_LOADED_MODULES_H

// Loadable modules. A Windows PE file (a message library, say) loads as a data module: it
// is mapped read-only and only its resources can be read, no code of it runs. An ELF shared
// object loads with dlopen. Loading one file twice gives the same handle and counts; each
// FreeLibrary gives one back. All of it is thread-safe.
//
// A bare name is looked for in the main program's directory, the current directory, the
// directories of LD_LIBRARY_PATH and then of PATH; an ELF object not found there is left to
// dlopen's own search. A name with a separator is a path and is not searched for. A name
// is taken as it is: callers add ".dll" where Windows would.
//
// "imagehlp.dll" is built in (debug_help.h): its bare name, in any case, gives the built-in
// module whatever lies on disk, and FreeLibrary never unloads it.

#include "basalt/platform/base/win_types.h"
#include "basalt/platform/images/pe_image.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace basalt::platform {

// With this flag, what an ELF object needs is looked for first in the object's own
// directory, as Windows does for a DLL's dependencies.
constexpr DWORD LOAD_WITH_ALTERED_SEARCH_PATH = 0x8;

// Null on failure, with the last error: ERROR_MOD_NOT_FOUND when there is no such file,
// ERROR_BAD_EXE_FORMAT when it is neither a sound PE image nor an ELF object for this
// machine, ERROR_ACCESS_DENIED when it can't be read, ERROR_INVALID_PARAMETER for a null
// name, a file argument or an unknown flag.
HMODULE LoadLibraryExW(LPCWSTR name, HANDLE file, DWORD flags);
HMODULE LoadLibraryW(LPCWSTR name);
// The name in the ANSI code page.
HMODULE LoadLibraryA(const char* name);

// An exported symbol of a module loaded here (not of what it depends on); a null module is the
// main program. Null with ERROR_PROC_NOT_FOUND when there is none, which is always the case
// for a data module and for an ordinal; ERROR_INVALID_HANDLE for a handle of no module loaded
// here.
FARPROC GetProcAddress(HMODULE module, const char* name);

// Gives back one load; the module goes with the last. FALSE with ERROR_INVALID_HANDLE for a
// handle not loaded here.
BOOL FreeLibrary(HMODULE module);

// A module this layer has loaded. The record outlives its last FreeLibrary for as long as
// someone still holds it, so a reader never sees its contents go.
class LoadedModule {
public:
  LoadedModule(std::string path, void* library);
  LoadedModule(std::string path, std::vector<unsigned char> contents);
  ~LoadedModule();
  LoadedModule(const LoadedModule&) = delete;
  LoadedModule& operator=(const LoadedModule&) = delete;

  // The resolved path in the system's form.
  const std::string& path() const { return filePath; }
  // The PE image of a data module; null for an ELF object.
  const PeImage* image() const { return peImage ? &*peImage : nullptr; }
  // dlopen's handle of an ELF object; null for a data module.
  void* library() const { return dlHandle; }

private:
  std::string filePath;
  void* dlHandle = nullptr;
  // A data module's file, read whole: a mapping would fault if the file shrank under it.
  std::vector<unsigned char> contents;
  std::optional<PeImage> peImage;
};

// The record behind a handle, or null when the handle isn't one of ours.
std::shared_ptr<const LoadedModule> findLoadedModule(HMODULE module);

} // namespace basalt::platform

#endif
