#ifndef BASALT_PLATFORM_RUNTIME_PATHS_H
#define BASALT_PLATFORM_RUNTIME_PATHS_H

// The one place where paths cross the layer's edge. Inside the library a path is wide text
// with '\' as its one separator; the OS takes UTF-8 bytes with '/'. Drive letters mean
// nothing here: "C:\x" becomes the relative path "C:/x".

#include "basalt/platform/base/win_types.h"

#include <string>

namespace basalt::platform {

using WideString = std::basic_string<WCHAR>;

// A library path up to its NUL, as the OS takes it; null gives an empty path. A lone
// surrogate becomes U+FFFD.
std::string toOsPath(LPCWSTR path);

// A library path in the process's ANSI code page, as the OS takes it.
std::string nativeToOsPath(const char* path);

// A path from the OS in the library's form; a byte that starts no valid UTF-8 character
// becomes U+FFFD. A '\' inside an OS file name reads as a separator from then on.
WideString fromOsPath(const std::string& path);

// The path itself when it starts at the root, else the working directory, '/' and the path.
std::string absoluteOsPath(const std::string& path);

// An OS path split at its last '/': the directory ("." when there is no '/', "/" for the
// root) and the last component, which may be empty.
struct OsPathParts {
  std::string directory;
  std::string lastComponent;
};
OsPathParts splitOsPath(const std::string& path);

} // namespace basalt::platform

#endif
