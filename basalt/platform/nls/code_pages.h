#ifndef BASALT_PLATFORM_NLS_CODE_PAGES_H
#define BASALT_PLATFORM_NLS_CODE_PAGES_H

// Native text conversion for the single-byte code pages (1250 to 1258, 874, the ISO-8859
// pages), the double-byte ones (932, 936, 949, 950) and UTF-8 (65001).

#include "basalt/platform/base/win_types.h"

namespace basalt::platform {

constexpr UINT CP_ACP = 0;
constexpr UINT CP_UTF8 = 65001;
constexpr DWORD MB_PRECOMPOSED = 0x1;
constexpr DWORD MB_ERR_INVALID_CHARS = 0x8;

// True when the conversions below handle codePage on this system.
BOOL IsValidCodePage(UINT codePage);

// True when byte opens a two-byte character in codePage; always false for UTF-8.
BOOL IsDBCSLeadByteEx(UINT codePage, BYTE byte);

// Converts byteCount bytes into at most unitCount units and returns how many it wrote, 0 on
// failure (malformed input with MB_ERR_INVALID_CHARS, an unknown code page, too little room).
int MultiByteToWideChar(UINT codePage, DWORD flags, const char* bytes, int byteCount, WCHAR* units,
                        int unitCount);

// Converts unitCount units into at most byteCount bytes and returns how many it wrote, 0 on
// failure. A unit the code page can't hold becomes its default character, '?'; for UTF-8 a
// surrogate pair becomes one 4-byte character and a lone surrogate becomes '?'.
int WideCharToMultiByte(UINT codePage, DWORD flags, const WCHAR* units, int unitCount, char* bytes,
                        int byteCount, const char* defaultChar, BOOL* usedDefaultChar);

} // namespace basalt::platform

#endif
