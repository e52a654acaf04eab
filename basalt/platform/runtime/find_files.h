#ifndef BASALT_PLATFORM_RUNTIME_FIND_FILES_H
#define BASALT_PLATFORM_RUNTIME_FIND_FILES_H

// Directory listing by pattern. The last component of the pattern may hold '*' and '?' with
// the meaning they have on Windows (so "*.*" matches every name, "a.*" matches "a" too, and
// '?' before a dot or at the end may match nothing). Names compare case-sensitively, and a
// name without wildcards is looked up the way the file system looks it up. "." and ".." are
// entries like any other. Entries come in the byte order of their UTF-8 names.

#include "basalt/platform/base/win_types.h"

#include <cstdint>

namespace basalt::platform {

constexpr DWORD MAX_PATH = 260;

// Of an entry, only what the library reads: its name. (Windows' attributes, times and sizes
// are not filled in here.)
struct WIN32_FIND_DATAW {
  // The bare name, NUL-terminated.
  WCHAR cFileName[MAX_PATH];
};

// The handle value that a failed FindFirstFileW returns. A constant folded at compile time,
// so it needs no initialisation at load.
inline const HANDLE INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(~std::uintptr_t{0});

// Fills data with the first match of pattern and returns the handle of the listing, or
// INVALID_HANDLE_VALUE with the last error set: ERROR_FILE_NOT_FOUND when nothing matches,
// ERROR_PATH_NOT_FOUND when the directory doesn't exist (or the pattern is empty),
// ERROR_ACCESS_DENIED when it can't be read.
HANDLE FindFirstFileW(LPCWSTR pattern, WIN32_FIND_DATAW* data);

// The next match; FALSE with ERROR_NO_MORE_FILES after the last one.
BOOL FindNextFileW(HANDLE find, WIN32_FIND_DATAW* data);

BOOL FindClose(HANDLE find);

} // namespace basalt::platform

#endif
