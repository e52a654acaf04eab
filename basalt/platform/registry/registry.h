#ifndef BASALT_PLATFORM_REGISTRY_REGISTRY_H
#define BASALT_PLATFORM_REGISTRY_REGISTRY_H

// Reading the registry, which lives in .reg files (see registry_store.h). Names of keys and
// values match without regard to case; sub-keys enumerate in case-blind alphabetical order;
// text values are UTF-16 with their terminator counted in the size. A key shows the files
// as they were when it was opened: a change is seen by the next open, not by keys already
// open. All operations are thread-safe. Results are Windows' codes: ERROR_FILE_NOT_FOUND for
// a missing key or value, ERROR_MORE_DATA for a small buffer, ERROR_NO_MORE_ITEMS past the
// last sub-key, ERROR_INVALID_HANDLE for a bad handle, ERROR_INVALID_PARAMETER for bad
// arguments, and ERROR_ACCESS_DENIED for an open that asks for more than KEY_READ.

#include "basalt/platform/registry/registry_types.h"

namespace basalt::platform {

using LPCSTR = const char*;

// Opens subKey below key. A null or empty subKey opens key itself again. A path may end in
// a backslash; one that starts with a backslash gives ERROR_BAD_PATHNAME, and an empty name
// inside it ERROR_INVALID_PARAMETER. Opening below a key whose key has since gone from the
// files gives ERROR_KEY_DELETED. *result is null on failure.
LONG RegOpenKeyExW(HKEY key, LPCWSTR subKey, DWORD options, REGSAM access, HKEY* result);

// A null or empty name is the default value. With data null, gives the type and the size in
// bytes; with data, copies the bytes when *size allows it, else sets *size and gives
// ERROR_MORE_DATA.
LONG RegQueryValueExW(HKEY key, LPCWSTR valueName, DWORD* reserved, DWORD* type, BYTE* data,
                      DWORD* size);

// The name of the sub-key at index, with a terminator; *nameSize is in characters, the
// room on entry and the name's length without terminator on return. Keys have no class or
// time here: reserved, className, classSize and lastWriteTime must be null.
LONG RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, DWORD* nameSize, DWORD* reserved,
                   LPWSTR className, DWORD* classSize, FILETIME* lastWriteTime);

LONG RegCloseKey(HKEY key);

// The same with 8-bit names and text values in the process's ANSI code page.
LONG RegOpenKeyExA(HKEY key, LPCSTR subKey, DWORD options, REGSAM access, HKEY* result);
LONG RegQueryValueExA(HKEY key, LPCSTR valueName, DWORD* reserved, DWORD* type, BYTE* data,
                      DWORD* size);

} // namespace basalt::platform

#endif
