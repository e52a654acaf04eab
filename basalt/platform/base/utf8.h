#ifndef BASALT_PLATFORM_BASE_UTF8_H
#define BASALT_PLATFORM_BASE_UTF8_H

// Strict UTF-8 for the layer's edges (files, the OS, UTF-8 as a code page): no overlong
// forms, no encoded surrogates, nothing above U+10FFFF. Exported for the tools that ship
// with the library.

#include "basalt/platform/base/win_types.h"

#include <cstddef>
#include <string>

namespace basalt::platform::utf8 {

// Decodes the character at bytes[0..available) into one or two units (a surrogate pair
// above U+FFFF). Returns the bytes consumed, or 0 when no valid character starts there.
std::size_t decode(const unsigned char* bytes, std::size_t available, WCHAR units[2],
                   int& unitCount);

// Appends units as UTF-8: a surrogate pair becomes one 4-byte character, a lone surrogate
// becomes U+FFFD.
void append(std::string& out, const WCHAR* units, std::size_t count);

// The units as UTF-8, as append writes them; the second form stops at the first zero unit.
std::string encode(const std::basic_string<WCHAR>& units);
std::string encode(const WCHAR* text);

// The whole of bytes as units; false when it isn't valid UTF-8, and text then holds what came
// before the fault.
bool decodeAll(const std::string& bytes, std::basic_string<WCHAR>& text);

} // namespace basalt::platform::utf8

#endif
