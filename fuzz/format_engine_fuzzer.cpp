// The format engine on formats assembled from flags, widths, precisions, size modifiers and
// conversions, now and then with a byte that the engine must refuse, each called with
// arguments of the types its directive takes; and on raw formats whose conversions are all
// taken out, so that they read no argument. Output goes to strings and to caller buffers of
// exactly the size given.

#include "basalt/text/formatted_text.h"
#include "fuzz_text.h"

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

namespace {

using Units = std::basic_string<unsigned short>;

enum class Value { Integer, Real, Pointer, Character, WideText, NarrowText, Nothing };

struct Directive {
  std::string format;
  int stars = 0; // '*' arguments the engine takes before the value
  Value value = Value::Nothing;
};

Value valueOf(char conversion, char size) {
  const std::string integers = "diouxX";
  const std::string reals = "eEfFgG";
  if (integers.find(conversion) != std::string::npos) {
    return Value::Integer;
  }
  if (reals.find(conversion) != std::string::npos) {
    return Value::Real;
  }
  switch (conversion) {
  case 'p':
    return Value::Pointer;
  case 'c':
    return Value::Character;
  case 's':
    return size == 'h' ? Value::NarrowText : Value::WideText;
  default:
    return Value::Nothing;
  }
}

std::string consumeNumber(FuzzedDataProvider& input) {
  std::string digits;
  for (int n = input.ConsumeIntegralInRange(1, 12); n > 0; --n) {
    digits += static_cast<char>('0' + input.ConsumeIntegralInRange(0, 9));
  }
  return digits;
}

Directive consumeDirective(FuzzedDataProvider& input) {
  static const char flags[] = "#-+0";
  static const char conversions[] = "diouxXeEfFgGpcs%";
  // Bytes that no state inside a directive accepts: each stops the engine before it reads.
  static const char refused[] = " LInSCZqjztw";
  Directive directive;
  std::string& format = directive.format;
  format = "%";
  for (int n = input.ConsumeIntegralInRange(0, 3); n > 0; --n) {
    format += flags[input.ConsumeIntegralInRange(0, 3)];
  }
  int stars = 0;
  switch (input.ConsumeIntegralInRange(0, 2)) {
  case 1:
    format += consumeNumber(input);
    break;
  case 2:
    format += '*';
    ++stars;
    break;
  }
  switch (input.ConsumeIntegralInRange(0, 2)) {
  case 1:
    format += '.' + consumeNumber(input);
    break;
  case 2:
    format += ".*";
    ++stars;
    break;
  }
  const char size = "\0hl"[input.ConsumeIntegralInRange(0, 2)];
  if (size != '\0') {
    format += size;
  }
  const char conversion = conversions[input.ConsumeIntegralInRange(0, 15)];
  format += conversion;
  directive.value = valueOf(conversion, size);
  const bool numeric = directive.value == Value::Integer || directive.value == Value::Real ||
                       directive.value == Value::Pointer;
  directive.stars = numeric ? stars : 0;
  if (input.ConsumeIntegralInRange(0, 7) == 0) {
    const auto at = input.ConsumeIntegralInRange<std::size_t>(1, format.size() - 1);
    format.insert(at, 1, refused[input.ConsumeIntegralInRange(0, 11)]);
  }
  return directive;
}

// Calls call with the directive's '*' arguments and then value.
template <class Call, class T>
bool withStars(const Call& call, int stars, std::int32_t width, std::int32_t precision, T value) {
  switch (stars) {
  case 0:
    return call(value);
  case 1:
    return call(width, value);
  default:
    return call(width, precision, value);
  }
}

template <class Call>
bool callWithArguments(FuzzedDataProvider& input, const Directive& directive, const Call& call,
                       Units& wideText, std::string& narrowText) {
  const auto width = input.ConsumeIntegral<std::int32_t>();
  const auto precision = input.ConsumeIntegral<std::int32_t>();
  switch (directive.value) {
  case Value::Integer:
    return withStars(call, directive.stars, width, precision,
                     input.ConsumeIntegral<std::int32_t>());
  case Value::Real: {
    const auto bits = input.ConsumeIntegral<std::uint64_t>();
    double real;
    std::memcpy(&real, &bits, sizeof(real));
    return withStars(call, directive.stars, width, precision, real);
  }
  case Value::Pointer:
    return withStars(call, directive.stars, width, precision,
                     reinterpret_cast<const void*>(input.ConsumeIntegral<std::uintptr_t>()));
  case Value::Character:
    return call(input.ConsumeIntegral<std::int32_t>());
  case Value::WideText:
    wideText = consumeUnits(input, 16);
    return call(input.ConsumeIntegralInRange(0, 15) == 0 ? nullptr : wideText.c_str());
  case Value::NarrowText:
    narrowText = input.ConsumeRandomLengthString(16);
    return call(input.ConsumeIntegralInRange(0, 15) == 0 ? nullptr : narrowText.c_str());
  default:
    return call(0);
  }
}

void formatAssembled(FuzzedDataProvider& input) {
  KELPString text;
  for (int piece = 0; piece < 8 && input.remaining_bytes() > 0; ++piece) {
    if (input.ConsumeBool()) {
      // Literal text: every byte but the terminator and '%'.
      std::string literal = input.ConsumeRandomLengthString(16);
      for (char& byte : literal) {
        byte = byte == '%' || byte == '\0' ? '#' : byte;
      }
      text.buildAppend(literal.c_str());
      continue;
    }
    const Directive directive = consumeDirective(input);
    const char* format = directive.format.c_str();
    Units wideText;
    std::string narrowText;
    switch (input.ConsumeIntegralInRange(0, 2)) {
    case 0: {
      const std::size_t before = text.size();
      const bool complete = callWithArguments(
          input, directive,
          [&](auto... arguments) { return text.buildAppend(format, arguments...); }, wideText,
          narrowText);
      if (complete && directive.value == Value::WideText) {
        require(text.substr(before) == wideText.c_str(), "%s appends the wide text");
      }
      break;
    }
    case 1: {
      const auto size = input.ConsumeIntegralInRange<unsigned int>(0, 300);
      std::unique_ptr<unsigned short[]> buffer(new unsigned short[size + 1]);
      callWithArguments(
          input, directive,
          [&](auto... arguments) {
            const int copied = suprintf(buffer.get(), size, format, arguments...);
            require(copied >= 0 && static_cast<unsigned int>(copied) <= size,
                    "suprintf copies at most size units");
            return true;
          },
          wideText, narrowText);
      break;
    }
    default: {
      const Units wideFormat(directive.format.begin(), directive.format.end());
      const auto size = input.ConsumeIntegralInRange<unsigned int>(0, 300);
      std::unique_ptr<unsigned short[]> buffer(new unsigned short[size + 1]);
      callWithArguments(
          input, directive,
          [&](auto... arguments) {
            const int copied = suprintf(buffer.get(), size, wideFormat.c_str(), arguments...);
            require(copied >= 0 && static_cast<unsigned int>(copied) <= size,
                    "suprintf copies at most size units");
            return true;
          },
          wideText, narrowText);
      break;
    }
    }
  }
  text.toEscaped();
}

// Any bytes, with the conversions taken out so that nothing reads an argument.
void formatRaw(FuzzedDataProvider& input) {
  std::string format = input.ConsumeRemainingBytesAsString();
  for (char& byte : format) {
    if (byte != '\0' && std::string("diouxXeEfFgGpcs").find(byte) != std::string::npos) {
      byte = 'q';
    }
  }
  KELPString text;
  text.build(format.c_str());
  text.toEscaped();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  if (input.ConsumeBool()) {
    formatAssembled(input);
  } else {
    formatRaw(input);
  }
  return 0;
}
