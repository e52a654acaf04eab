#include "basalt/crash/variable_line.h"

#include "basalt/frame/static/static_objects.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace basalt::crash {
namespace {

constexpr std::size_t nameLimit = 127;

const char* wordOf(TypeClass type) {
  switch (type) {
  case TypeClass::Char:
    return "char ";
  case TypeClass::CharPointer:
    return "char* ";
  case TypeClass::Float:
    return "float ";
  case TypeClass::FloatPointer:
    return "float* ";
  case TypeClass::Double:
    return "double ";
  case TypeClass::DoublePointer:
    return "double* ";
  case TypeClass::Int:
    return "int ";
  case TypeClass::IntPointer:
    return "int* ";
  case TypeClass::Global:
    return "global ";
  case TypeClass::Plain:
  case TypeClass::Hex:
    break;
  }
  return "";
}

std::uint64_t bitsOf(const VariableValue& value) {
  std::uint64_t bits = 0;
  std::memcpy(&bits, value.bytes, value.size);
  return bits;
}

// The value's bits, widened to 64 as its sign says.
std::uint64_t widened(const VariableValue& value) {
  std::uint64_t bits = bitsOf(value);
  const unsigned width = static_cast<unsigned>(value.size) * 8;
  if (value.isSigned && width < 64 && (bits >> (width - 1)) != 0) {
    bits |= ~std::uint64_t{0} << width;
  }
  return bits;
}

void formatValue(char (&text)[64], TypeClass type, const VariableValue& value, int hexDigits) {
  if (!value.read || value.size == 0 || value.size > sizeof value.bytes) {
    std::snprintf(text, sizeof text, "??");
    return;
  }
  const std::uint64_t bits = widened(value);
  switch (type) {
  case TypeClass::Char:
    std::snprintf(text, sizeof text, "%c", static_cast<char>(value.bytes[0]));
    return;
  case TypeClass::Float:
  case TypeClass::Double:
    if (value.size == sizeof(float)) {
      float real = 0;
      std::memcpy(&real, value.bytes, sizeof real);
      std::snprintf(text, sizeof text, "%f", static_cast<double>(real));
    } else {
      double real = 0;
      std::memcpy(&real, value.bytes, sizeof real);
      std::snprintf(text, sizeof text, "%f", real);
    }
    return;
  case TypeClass::Int:
  case TypeClass::Plain:
    if (value.size < 8) {
      std::snprintf(text, sizeof text, "%d", static_cast<int>(static_cast<std::int32_t>(bits)));
    } else if (value.isSigned) {
      std::snprintf(text, sizeof text, "%lld", static_cast<long long>(bits));
    } else {
      std::snprintf(text, sizeof text, "%llu", static_cast<unsigned long long>(bits));
    }
    return;
  default:
    std::snprintf(text, sizeof text, "0x%0*llX", hexDigits,
                  static_cast<unsigned long long>(bitsOf(value)));
    return;
  }
}

} // namespace

bool claimGlobal(const char* name) {
  std::vector<std::string>& printed = frame::printedGlobals();
  if (name[0] != 'g' || std::find(printed.begin(), printed.end(), name) != printed.end()) {
    return false;
  }
  printed.emplace_back(name);
  return true;
}

void writeVariableLine(platform::FILE* stream, TypeClass type, const char* name,
                       const VariableValue& value, int hexDigits) {
  if (std::strlen(name) > nameLimit) {
    return;
  }
  char text[64];
  formatValue(text, type, value, hexDigits);
  char line[512];
  std::snprintf(line, sizeof line, "\n\t\t%s%s = %s", wordOf(type), name, text);
  platform::fputs(line, stream);
}

} // namespace basalt::crash
