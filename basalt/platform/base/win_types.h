#ifndef BASALT_PLATFORM_BASE_WIN_TYPES_H
#define BASALT_PLATFORM_BASE_WIN_TYPES_H

// The original interface's scalar types, with the widths they had there: LONG and DWORD
// are 32 bits, so wrap-around, hexadecimal widths and result codes stay as they were.

#include <cstdint>

namespace basalt::platform {

using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using DWORD64 = std::uint64_t;
using ULONG64 = std::uint64_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using UINT = unsigned int;
using BOOL = int;
using HRESULT = std::int32_t;
using LCID = DWORD;
using WCHAR = unsigned short;
using LPWSTR = WCHAR*;
using LPCWSTR = const WCHAR*;
using BSTR = WCHAR*;
using HANDLE = void*;
using HMODULE = void*;
using HINSTANCE = HMODULE;
using FARPROC = void*;

// 100-nanosecond intervals since 1 January 1601, UTC.
// A plain value, for one thread at a time.
struct FILETIME {
  DWORD dwLowDateTime;
  DWORD dwHighDateTime;
};

constexpr BOOL TRUE = 1;
constexpr BOOL FALSE = 0;
constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057);
constexpr HRESULT S_OK = 0;

} // namespace basalt::platform

#endif
