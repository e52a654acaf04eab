#include "basalt/platform/runtime_format.h"

#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>

namespace basalt::platform {
namespace {

enum class Argument { Integer, Real, Pointer, None };

Argument argumentOf(char conversion) {
  switch (conversion) {
  case 'd':
  case 'i':
  case 'o':
  case 'u':
  case 'x':
  case 'X':
    return Argument::Integer;
  case 'e':
  case 'E':
  case 'f':
  case 'F':
  case 'g':
  case 'G':
    return Argument::Real;
  case 'p':
    return Argument::Pointer;
  default:
    return Argument::None;
  }
}

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

bool parse(const char* format, Directive& directive) {
  if (format == nullptr || *format != '%') {
    return false;
  }
  const char* at = format + 1;
  for (; *at != '\0' && std::strchr("-+ #0", *at) != nullptr; ++at) {
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
  return *at != '\0' && at[1] == '\0' && argumentOf(directive.conversion) != Argument::None;
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

// The C library's format for the directive: its flags, width and precision from arguments,
// then tail (size modifier and conversion).
void cFormat(const Directive& directive, const char* tail, char* out) {
  *out++ = '%';
  std::memcpy(out, directive.flags, directive.flagCount);
  out += directive.flagCount;
  std::memcpy(out, "*.*", 3);
  std::strcpy(out + 3, tail);
}

template <class Value>
int render(char* buffer, std::size_t size, const char* format, int width, int precision,
           Value value) {
  const int length = std::snprintf(buffer, size, format, width, precision, value);
  if (length < 0 || static_cast<std::size_t>(length) > size) {
    return -1;
  }
  if (length > 0 && static_cast<std::size_t>(length) == size) {
    // The C library always terminates, so a text that takes the whole buffer is made again
    // with room for its last byte.
    std::unique_ptr<char[]> whole(new char[size + 1]);
    std::snprintf(whole.get(), size + 1, format, width, precision, value);
    std::memcpy(buffer, whole.get(), size);
  }
  return length;
}

int precisionOf(const Directive& directive) {
  const bool general = directive.conversion == 'g' || directive.conversion == 'G';
  if (general && directive.precision > longestGeneralPrecision) {
    return static_cast<int>(longestGeneralPrecision);
  }
  return static_cast<int>(directive.precision);
}

constexpr std::size_t cFormatSize = 16; // '%', five flags, "*.*", two tail bytes, NUL

bool prepare(const char* format, std::size_t size, Argument argument, Directive& directive) {
  return parse(format, directive) && argumentOf(directive.conversion) == argument &&
         mayFit(directive, size);
}

} // namespace

int _snprintf(char* buffer, std::size_t size, const char* format, LONG value) {
  Directive directive;
  if (!prepare(format, size, Argument::Integer, directive)) {
    return -1;
  }
  // 'l' is dropped: the value is 32 bits wide whatever the directive says.
  const char tail[3] = {directive.size == 'h' ? 'h' : directive.conversion,
                        directive.size == 'h' ? directive.conversion : '\0', '\0'};
  char c[cFormatSize];
  cFormat(directive, tail, c);
  return render(buffer, size, c, static_cast<int>(directive.width), precisionOf(directive),
                static_cast<int>(value));
}

int _snprintf(char* buffer, std::size_t size, const char* format, double value) {
  Directive directive;
  if (!prepare(format, size, Argument::Real, directive)) {
    return -1;
  }
  const char tail[2] = {directive.conversion, '\0'};
  char c[cFormatSize];
  cFormat(directive, tail, c);
  return render(buffer, size, c, static_cast<int>(directive.width), precisionOf(directive), value);
}

int _snprintf(char* buffer, std::size_t size, const char* format, const void* value) {
  static_assert(sizeof(unsigned long) == sizeof(void*), "a pointer prints as an unsigned long");
  Directive directive;
  if (!prepare(format, size, Argument::Pointer, directive)) {
    return -1;
  }
  char c[cFormatSize];
  cFormat(directive, "lX", c);
  return render(buffer, size, c, static_cast<int>(directive.width),
                static_cast<int>(2 * sizeof(void*)),
                static_cast<unsigned long>(reinterpret_cast<std::uintptr_t>(value)));
}

} // namespace basalt::platform
