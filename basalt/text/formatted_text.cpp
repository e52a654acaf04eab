#include "basalt/text/formatted_text.h"

#include "basalt/platform/runtime/runtime_format.h"
#include "basalt/text/string_converters.h"

#include <algorithm>
#include <cstring>

namespace plat = basalt::platform;

namespace {

// Where the engine stands inside a directive; outside one it is in Text.
enum State : unsigned char {
  Percent,
  Flags,
  Width,
  WidthStar,
  Point,
  Precision,
  PrecisionStar,
  Size,
  Text,
  Fail
};

// The bytes that move the engine inside a directive, other than '%' and the conversions.
enum ByteClass { FlagByte, ZeroByte, DigitByte, StarByte, PointByte, SizeByte, ByteClasses };

// clang-format off
constexpr State transitions[ByteClasses][Size + 1] = {
  //              Percent    Flags      Width  WidthStar Point          Precision  PrecisionStar Size
  /* # - + */    {Flags,     Flags,     Fail,  Fail,     Fail,          Fail,      Fail,         Fail},
  /* 0 */        {Percent,   Flags,     Width, Fail,     Fail,          Precision, Fail,         Fail},
  /* 1 to 9 */   {Width,     Width,     Width, Fail,     Precision,     Precision, Fail,         Fail},
  /* * */        {WidthStar, WidthStar, Fail,  Fail,     PrecisionStar, Fail,      Fail,         Fail},
  /* . */        {Point,     Point,     Point, Point,    Fail,          Fail,      Fail,         Fail},
  /* h l */      {Size,      Size,      Size,  Size,     Size,          Size,      Size,         Fail},
};
// clang-format on

// -1 for a byte that no state inside a directive accepts.
int classOf(char byte) {
  switch (byte) {
  case '#':
  case '-':
  case '+':
    return FlagByte;
  case '0':
    return ZeroByte;
  case '*':
    return StarByte;
  case '.':
    return PointByte;
  case 'h':
  case 'l':
    return SizeByte;
  default:
    return byte >= '1' && byte <= '9' ? DigitByte : -1;
  }
}

enum class Conversion { None, Number, Character, String };

Conversion conversionOf(char byte) {
  if (byte == 'c') {
    return Conversion::Character;
  }
  if (byte == 's') {
    return Conversion::String;
  }
  return plat::formatArgumentOf(byte) == plat::FormatArgument::None ? Conversion::None
                                                                    : Conversion::Number;
}

constexpr std::size_t directiveSize = 32; // terminator included
constexpr std::size_t resultSize = 256;
constexpr std::size_t pendingSize = 128;

// Reads the format and appends to out. Units wait in a buffer on the stack and go into the
// string together, so that a short format appends once.
class FormatEngine {
public:
  FormatEngine(KELPString& out, va_list* arguments) : out_(out), arguments_(arguments) {}

  bool run(const char* format) {
    const bool complete = scan(format);
    flush();
    return complete;
  }

private:
  bool scan(const char* format) {
    State state = Text;
    const char* directive = nullptr;
    char size = 0;
    for (const char* at = format; *at != '\0'; ++at) {
      if (state == Text) {
        if (*at == '%') {
          directive = at;
          size = 0;
          state = Percent;
        } else {
          putWidened(*at);
        }
        continue;
      }
      if (*at == '%') {
        put('%');
        state = Text;
        continue;
      }
      const Conversion conversion = conversionOf(*at);
      if (conversion != Conversion::None) {
        if (!convert(conversion, size, directive, at)) {
          return false;
        }
        state = Text;
        continue;
      }
      const int byteClass = classOf(*at);
      if (byteClass < 0 || (state = transitions[byteClass][state]) == Fail) {
        return false;
      }
      if (byteClass == SizeByte) {
        size = *at;
      }
    }
    // A directive cut off by the end of the format adds nothing.
    return true;
  }

  void put(unsigned short unit) {
    if (pendingCount_ == pendingSize) {
      flush();
    }
    pending_[pendingCount_++] = unit;
  }

  // Format bytes aren't code-page text: each is widened as a signed byte, so 0xE9 gives 0xFFE9.
  void putWidened(char byte) {
    const auto unsignedByte = static_cast<unsigned char>(byte);
    put(unsignedByte < 0x80 ? unsignedByte : static_cast<unsigned short>(0xFF00 | unsignedByte));
  }

  void flush() {
    out_.Base::append(pending_, pendingCount_);
    pendingCount_ = 0;
  }

  // The analyzer doesn't follow the list's copy through the pointer in arguments_.
  // NOLINTBEGIN(clang-analyzer-valist.Uninitialized)

  // Characters and strings never go through the runtime: flags, width and precision have
  // no effect on them, and a '*' takes no argument.
  bool convert(Conversion conversion, char size, const char* first, const char* last) {
    switch (conversion) {
    case Conversion::Character: {
      const int word = va_arg(*arguments_, int);
      if (size == 'h') {
        const char byte = static_cast<char>(word);
        flush();
        out_.append(&byte, 1);
      } else {
        put(static_cast<unsigned short>(word));
      }
      return true;
    }
    case Conversion::String:
      flush();
      if (size == 'h') {
        out_.append(va_arg(*arguments_, const char*));
        return true;
      }
      if (const auto* text = va_arg(*arguments_, const unsigned short*)) {
        out_.append(text);
        return true;
      }
      return false;
    default:
      return number(first, last);
    }
  }

  // The directive from '%' through the conversion byte goes to the runtime with each '*'
  // replaced by its argument, then with the value, through fixed buffers on the stack.
  bool number(const char* first, const char* last) {
    char directive[directiveSize];
    std::size_t used = 0;
    for (const char* at = first; at <= last; ++at) {
      if (*at == '*') {
        const int written = plat::_snprintf(directive + used, directiveSize - used, "%d",
                                            static_cast<plat::LONG>(va_arg(*arguments_, int)));
        if (written < 0) {
          return false;
        }
        used += static_cast<std::size_t>(written);
      } else if (used < directiveSize) {
        directive[used++] = *at;
      } else {
        return false;
      }
    }
    if (used == directiveSize) {
      return false; // no room for the terminator
    }
    directive[used] = '\0';

    char result[resultSize];
    int length;
    switch (plat::formatArgumentOf(*last)) {
    case plat::FormatArgument::Integer:
      length = plat::_snprintf(result, resultSize, directive,
                               static_cast<plat::LONG>(va_arg(*arguments_, int)));
      break;
    case plat::FormatArgument::Real:
      length = plat::_snprintf(result, resultSize, directive, va_arg(*arguments_, double));
      break;
    default:
      length = plat::_snprintf(result, resultSize, directive, va_arg(*arguments_, const void*));
      break;
    }
    if (length < 0 || static_cast<std::size_t>(length) > resultSize) {
      return false;
    }
    for (int i = 0; i < length; ++i) {
      putWidened(result[i]);
    }
    return true;
  }
  // NOLINTEND(clang-analyzer-valist.Uninitialized)

  KELPString& out_;
  va_list* arguments_;
  unsigned short pending_[pendingSize];
  std::size_t pendingCount_ = 0;
};

int copyOut(const KELPString& text, unsigned short* buffer, unsigned int size) {
  const std::size_t count = std::min<std::size_t>(size, text.size());
  std::copy_n(text.data(), count, buffer);
  buffer[count] = 0;
  return static_cast<int>(count);
}

bool isEscaped(unsigned short unit) {
  return unit <= 0x20 || (unit >= 0x7F && unit <= 0xFF) ||
         (unit < 0x7F && std::strchr("\"#%&'./:<>@[\\]^{|}~", unit) != nullptr);
}

} // namespace

bool KELPString::build(const char* format, ...) {
  clear();
  va_list arguments;
  va_start(arguments, format);
  const bool complete = vbuild_private(format, arguments);
  va_end(arguments);
  return complete;
}

bool KELPString::buildAppend(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const bool complete = vbuild_private(format, arguments);
  va_end(arguments);
  return complete;
}

bool KELPString::vbuild(const char* format, va_list arguments) {
  clear();
  return vbuild_private(format, arguments);
}

bool KELPString::vbuild_private(const char* format, va_list arguments) {
  if (format == nullptr) {
    return false;
  }
  // The engine reads the list through a pointer to its own copy, so that it can hand the
  // position on from one call to the next.
  va_list copy;
  va_copy(copy, arguments);
  const bool complete = FormatEngine(*this, &copy).run(format);
  va_end(copy);
  return complete;
}

void KELPString::toEscaped() {
  Base escaped;
  escaped.reserve(size());
  KELPString digits;
  for (const unsigned short unit : *this) {
    if (isEscaped(unit)) {
      escaped.push_back('%');
      StringConverters::convertIntegerToString(unit, digits, 16);
      escaped.append(digits);
    } else {
      escaped.push_back(unit);
    }
  }
  Base::swap(escaped);
}

int suprintf(unsigned short* buffer, unsigned int size, const char* format, ...) {
  KELPString text;
  va_list arguments;
  va_start(arguments, format);
  const bool complete = text.vbuild(format, arguments);
  va_end(arguments);
  return complete && buffer != nullptr ? copyOut(text, buffer, size) : 0;
}

int suprintf(unsigned short* buffer, unsigned int size, const unsigned short* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int copied = vsnuprintf(buffer, size, format, arguments);
  va_end(arguments);
  return copied;
}

int vsnuprintf(unsigned short* buffer, unsigned int size, const unsigned short* format,
               va_list arguments) {
  std::string narrow;
  KELPString(format).fillString(narrow);
  KELPString text;
  return text.vbuild(narrow.c_str(), arguments) && buffer != nullptr ? copyOut(text, buffer, size)
                                                                     : 0;
}

int vsnuprintf(unsigned short* buffer, unsigned int size, const char* format, va_list arguments) {
  KELPString text;
  text.vbuild(format, arguments);
  return buffer != nullptr ? copyOut(text, buffer, size) : 0;
}
