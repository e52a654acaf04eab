#ifndef BASALT_PLATFORM_REGISTRY_REGISTRY_TYPES_H
#define BASALT_PLATFORM_REGISTRY_REGISTRY_TYPES_H

// The registry's handle, access and value types, with Windows' names and numbers.
// The predefined roots may be used on any thread.

#include "basalt/platform/base/win_types.h"

#include <cstdint>

namespace basalt::platform {

struct HKEY__;
using HKEY = HKEY__*;
using REGSAM = DWORD;

// The predefined roots. Each is a hive of its own here: HKEY_CLASSES_ROOT and
// HKEY_CURRENT_CONFIG are not views of other hives.
inline const HKEY HKEY_CLASSES_ROOT = reinterpret_cast<HKEY>(std::uintptr_t{0x80000000});
inline const HKEY HKEY_CURRENT_USER = reinterpret_cast<HKEY>(std::uintptr_t{0x80000001});
inline const HKEY HKEY_LOCAL_MACHINE = reinterpret_cast<HKEY>(std::uintptr_t{0x80000002});
inline const HKEY HKEY_USERS = reinterpret_cast<HKEY>(std::uintptr_t{0x80000003});
inline const HKEY HKEY_CURRENT_CONFIG = reinterpret_cast<HKEY>(std::uintptr_t{0x80000005});

constexpr REGSAM KEY_QUERY_VALUE = 0x0001;
constexpr REGSAM KEY_SET_VALUE = 0x0002;
constexpr REGSAM KEY_ENUMERATE_SUB_KEYS = 0x0008;
constexpr REGSAM KEY_NOTIFY = 0x0010;
constexpr REGSAM READ_CONTROL = 0x00020000;
constexpr REGSAM KEY_READ = READ_CONTROL | KEY_QUERY_VALUE | KEY_ENUMERATE_SUB_KEYS | KEY_NOTIFY;

constexpr DWORD REG_NONE = 0;
constexpr DWORD REG_SZ = 1;
constexpr DWORD REG_EXPAND_SZ = 2;
constexpr DWORD REG_BINARY = 3;
constexpr DWORD REG_DWORD = 4;
constexpr DWORD REG_DWORD_BIG_ENDIAN = 5;
constexpr DWORD REG_LINK = 6;
constexpr DWORD REG_MULTI_SZ = 7;
constexpr DWORD REG_QWORD = 11;

} // namespace basalt::platform

#endif
