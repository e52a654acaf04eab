#ifndef BASALT_PLATFORM_RUNTIME_RUNTIME_FORMAT_H
#define BASALT_PLATFORM_RUNTIME_RUNTIME_FORMAT_H

// The runtime library's formatter, for one numeric directive at a time, with the argument
// widths of the original runtime: an integer directive takes a 32-bit value whatever its size
// modifier says (%ld is %d; %hd prints the low 16 bits), and %p prints every hexadecimal digit
// of the pointer in capitals, zero-padded and without a prefix. Exponents, infinities and NaNs
// are the C library's.

#include "basalt/platform/base/win_types.h"

#include <cstddef>

namespace basalt::platform {

// The argument that a numeric conversion takes; None for any other byte.
enum class FormatArgument { Integer, Real, Pointer, None };
FormatArgument formatArgumentOf(char conversion);

// format is exactly one directive, %[flags][width][.precision][h|l]conversion, with flags out
// of "-+ #0" and no '*'. The overload must match the conversion: d i o u x X take a LONG,
// e E f F g G a double, p a pointer.
//
// Writes at most size bytes into buffer and returns the length of the text; a text of exactly
// size bytes has no terminator. Returns -1 when the text doesn't fit, when the directive is
// malformed and when its conversion takes another type; buffer's content is then unspecified.
int _snprintf(char* buffer, std::size_t size, const char* format, LONG value);
int _snprintf(char* buffer, std::size_t size, const char* format, double value);
int _snprintf(char* buffer, std::size_t size, const char* format, const void* value);

} // namespace basalt::platform

#endif
