#include "basalt/platform/runtime/runtime_format.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>

namespace basalt::platform {
namespace {

// A number above INT_MAX reads as INT_MAX + 1, which no buffer can hold anyway.
constexpr long long tooLarge = static_cast<long long>(INT_MAX) + 1;

long long readNumber(const char*& text) {
  long long number = 0;
  for (; *text >= '0' && *text <= '9'; ++text) {
    if (number < tooLarge) {
      number = number * 10 + (*text - '0');
    }
  }
  return number < tooLarge ? number : tooLarge;
}

struct Directive {
  char flags[6] = {}; // each of "-+ #0" at most once, terminated
  std::size_t flagCount = 0;
  long long width = 0;
  long long precision = -1; // -1: none
  char size = 0;            // 'h', 'l' or 0
  char conversion = 0;

  bool hasFlag(char flag) const { return std::memchr(flags, flag, flagCount) != nullptr; }
};

bool isFlag(char byte) {
  return byte == '-' || byte == '+' || byte == ' ' || byte == '#' || byte == '0';
}

bool parse(const char* format, Directive& directive) {
  if (format == nullptr || *format != '%') {
    return false;
  }
  const char* at = format + 1;
  for (; isFlag(*at); ++at) {
    if (!directive.hasFlag(*at)) {
      directive.flags[directive.flagCount++] = *at;
    }
  }
  directive.width = readNumber(at);
  if (*at == '.') {
    ++at;
    directive.precision = readNumber(at);
  }
  if (*at == 'h' || *at == 'l') {
    directive.size = *at++;
  }
  directive.conversion = *at;
  return *at != '\0' && at[1] == '\0' &&
         formatArgumentOf(directive.conversion) != FormatArgument::None;
}

// A double has at most 767 significant decimal digits, so %g (which drops trailing zeros)
// prints the same text for every precision from here up.
constexpr long long longestGeneralPrecision = 800;

// False when the width or the precision alone makes the text longer than size; this also
// keeps the C library from working through absurd widths and precisions.
bool mayFit(const Directive& directive, std::size_t size) {
  // The C library's result is an int, so no text is longer than INT_MAX.
  const long long room =
      size < static_cast<std::size_t>(INT_MAX) ? static_cast<long long>(size) : INT_MAX;
  if (directive.width > room) {
    return false;
  }
  if (directive.precision < 0 || directive.conversion == 'p') {
    return true;
  }
  const bool general = directive.conversion == 'g' || directive.conversion == 'G';
  return (general && !directive.hasFlag('#')) || directive.precision <= room;
}

template <class... Values>
int render(char* buffer, std::size_t size, const char* format, Values... values) {
  const int length = std::snprintf(buffer, size, format, values...);
  if (length < 0 || static_cast<std::size_t>(length) > size) {
    return -1;
  }
  if (length > 0 && static_cast<std::size_t>(length) == size) {
    // The C library always terminates, so a text that takes the whole buffer is made again
    // with room for its last byte.
    char local[512];
    std::unique_ptr<char[]> large(size < sizeof(local) ? nullptr : new char[size + 1]);
    char* whole = large ? large.get() : local;
    std::snprintf(whole, size + 1, format, values...);
    std::memcpy(buffer, whole, size);
  }
  return length;
}

// The directive rebuilt for the C library, with tail in place of its size modifier and
// conversion, and with width and precision taken as arguments.
template <class Value>
int renderRebuilt(char* buffer, std::size_t size, const Directive& directive, const char* tail,
                  int precision, Value value) {
  char format[16]; // '%', five flags, "*.*", two tail bytes, NUL
  format[0] = '%';
  std::strcpy(format + 1, directive.flags);
  std::strcat(format, "*.*");
  std::strcat(format, tail);
  return render(buffer, size, format, static_cast<int>(directive.width), precision, value);
}

bool prepare(const char* format, std::size_t size, FormatArgument argument, Directive& directive) {
  return parse(format, directive) && formatArgumentOf(directive.conversion) == argument &&
         mayFit(directive, size);
}

} // namespace

FormatArgument formatArgumentOf(char conversion) {
  switch (conversion) {
  case 'd':
  case 'i':
  case 'o':
  case 'u':
  case 'x':
  case 'X':
    return FormatArgument::Integer;
  case 'e':
  case 'E':
  case 'f':
  case 'F':
  case 'g':
  case 'G':
    return FormatArgument::Real;
  case 'p':
    return FormatArgument::Pointer;
  default:
    return FormatArgument::None;
  }
}

// A directive goes to the C library as it stands where it means the same there, which is
// the common case and the fast one.

int _snprintf(char* buffer, std::size_t size, const char* format, LONG value) {
  Directive directive;
  if (!prepare(format, size, FormatArgument::Integer, directive)) {
    return -1;
  }
  if (directive.size != 'l') {
    return render(buffer, size, format, static_cast<int>(value));
  }
  // Without the 'l': the value is 32 bits wide whatever the directive says.
  const char conversion[2] = {directive.conversion, '\0'};
  return renderRebuilt(buffer, size, directive, conversion, static_cast<int>(directive.precision),
                       static_cast<int>(value));
}

int _snprintf(char* buffer, std::size_t size, const char* format, double value) {
  Directive directive;
  if (!prepare(format, size, FormatArgument::Real, directive)) {
    return -1;
  }
  const bool general = directive.conversion == 'g' || directive.conversion == 'G';
  const long long precision =
      general ? std::min(directive.precision, longestGeneralPrecision) : directive.precision;
  if (directive.size == 0 && precision == directive.precision) {
    return render(buffer, size, format, value);
  }
  const char conversion[2] = {directive.conversion, '\0'};
  return renderRebuilt(buffer, size, directive, conversion, static_cast<int>(precision), value);
}

int _snprintf(char* buffer, std::size_t size, const char* format, const void* value) {
  static_assert(sizeof(unsigned long) == sizeof(void*), "a pointer prints as an unsigned long");
  Directive directive;
  if (!prepare(format, size, FormatArgument::Pointer, directive)) {
    return -1;
  }
  return renderRebuilt(buffer, size, directive, "lX", static_cast<int>(2 * sizeof(void*)),
                       static_cast<unsigned long>(reinterpret_cast<std::uintptr_t>(value)));
}

} // namespace basalt::platform
