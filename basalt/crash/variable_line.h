#ifndef BASALT_CRASH_VARIABLE_LINE_H
#define BASALT_CRASH_VARIABLE_LINE_H

// One line of the crash report for a global or local variable: "\n\t\t", a type word where
// the type is a recognised standard one, the name, " = " and the value.

#include "basalt/platform/runtime/text_stream.h"

#include <cstddef>

namespace basalt::crash {

// The line forms, by the type's class.
enum class TypeClass {
  Char,          // "char x = c"
  CharPointer,   // "char* x = 0x..."
  Float,         // "float x = 1.500000"
  FloatPointer,  // "float* x = 0x..."
  Double,        // "double x = 2.250000"
  DoublePointer, // "double* x = 0x..."
  Int,           // "int x = -3"
  IntPointer,    // "int* x = 0x..."
  Plain,         // "x = 7": other standard types, a number with no type word
  Hex,           // "x = 0x...": user types, shown as wide as a pointer
  Global,        // "global x = 0x..."
};

// The value as read from the variable's address: size bytes (at most 8), or none.
struct VariableValue {
  bool read = false;
  unsigned char bytes[8] = {};
  std::size_t size = 0;
  bool isSigned = true; // how a number narrower than 8 bytes widens
};

// True, and noted as printed, for a global whose name begins with 'g' and that the current
// module hasn't printed yet.
bool claimGlobal(const char* name);

// Names of 128 characters or more give no line. A value that couldn't be read shows "??";
// hexadecimal values show hexDigits digits.
void writeVariableLine(platform::FILE* stream, TypeClass type, const char* name,
                       const VariableValue& value, int hexDigits);

} // namespace basalt::crash

#endif
