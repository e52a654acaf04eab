#ifndef BASALT_PLATFORM_IMAGES_MODULES_H
#define BASALT_PLATFORM_IMAGES_MODULES_H

// The modules of the process: the main program, every shared object the dynamic loader has
// mapped, and the modules that the layer itself has loaded (see registerLoadedModule).
//
// A shared object's handle is the one dlopen gives for it, so it serves for dlsym too.
//
// A name without a directory matches a module by its file name. A name that ends in ".dll"
// or ".exe", or has no extension (Windows then takes ".dll"), matches by its stem: "X",
// "X.dll" and "X.exe" find a file named X, X.so or libX.so, or a versioned X.so.N or
// libX.so.N. Other names must equal the file name or be the unversioned part of it
// ("libX.so" finds libX.so.1). A name with a directory matches in that directory only.
// Names compare case-sensitively, but for the ".dll" and ".exe" endings.
//
// "basalt" and "basalt.dll" also find the module that holds this library's code when no
// shared object by that name is loaded: the executable, when the library is linked into it.

#include "basalt/platform/base/win_types.h"

#include <string>

namespace basalt::platform {

// The handle of a loaded module; null with ERROR_MOD_NOT_FOUND when no module has that name
// (or for a null name). Loads nothing and takes no reference.
HMODULE GetModuleHandleW(LPCWSTR moduleName);

// Writes the module's full path in the library's form and returns its length. A path of size
// units or more is cut to size - 1 units, and the result is then size with
// ERROR_INSUFFICIENT_BUFFER. 0 with ERROR_MOD_NOT_FOUND for a handle of no loaded module.
// A null handle stands for the main program.
DWORD GetModuleFileNameW(HMODULE module, LPWSTR fileName, DWORD size);

// The layer's loader records here each module it loads, with the absolute OS path it was
// loaded from, when the module's handle first appears, and removes it when its last reference
// goes. The two functions above look at these modules first, before the process's shared
// objects, and they are the only way to find modules that the dynamic loader doesn't know
// (such as resource libraries read as data). Registering a handle again replaces its path.
void registerLoadedModule(HMODULE module, const std::string& osPath);
void unregisterLoadedModule(HMODULE module);

} // namespace basalt::platform

#endif
