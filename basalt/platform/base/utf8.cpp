#include "basalt/platform/base/utf8.h"

#include <cstdint>
#include <cstring>

namespace basalt::platform::utf8 {

std::size_t decode(const unsigned char* bytes, std::size_t available, WCHAR units[2],
                   int& unitCount) {
  if (available == 0) {
    return 0;
  }
  const unsigned char lead = bytes[0];
  if (lead < 0x80) {
    units[0] = lead;
    unitCount = 1;
    return 1;
  }
  std::size_t length;
  char32_t code;
  char32_t minimum;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2, code = lead & 0x1F, minimum = 0x80;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3, code = lead & 0x0F, minimum = 0x800;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4, code = lead & 0x07, minimum = 0x10000;
  } else {
    return 0;
  }
  if (available < length) {
    return 0;
  }
  for (std::size_t i = 1; i < length; ++i) {
    if ((bytes[i] & 0xC0) != 0x80) {
      return 0;
    }
    code = (code << 6) | (bytes[i] & 0x3F);
  }
  if (code < minimum || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) {
    return 0;
  }
  if (code >= 0x10000) {
    code -= 0x10000;
    units[0] = static_cast<WCHAR>(0xD800 + (code >> 10));
    units[1] = static_cast<WCHAR>(0xDC00 + (code & 0x3FF));
    unitCount = 2;
  } else {
    units[0] = static_cast<WCHAR>(code);
    unitCount = 1;
  }
  return length;
}

void append(std::string& out, const WCHAR* units, std::size_t count) {
  // Written through a pointer into room for the longest result, three bytes a unit (a pair
  // of units makes four), and cut to length at the end: a log line is mostly 7-bit text, and
  // a push_back a byte cost more than the rest of its writing.
  const std::size_t start = out.size();
  out.resize(start + 3 * count);
  char* next = out.data() + start;
  for (std::size_t i = 0; i < count; ++i) {
    // Four 7-bit units at a time, the usual case.
    for (std::uint64_t four = 0; i + 4 <= count; i += 4, next += 4) {
      std::memcpy(&four, units + i, sizeof four);
      if ((four & 0xFF80FF80FF80FF80U) != 0) {
        break;
      }
      for (int unit = 0; unit < 4; ++unit) {
        next[unit] = static_cast<char>(four >> (16 * unit));
      }
    }
    if (i == count) {
      break;
    }
    char32_t code = units[i];
    if (code < 0x80) {
      *next++ = static_cast<char>(code);
      continue;
    }
    if (code >= 0xD800 && code <= 0xDBFF && i + 1 < count && units[i + 1] >= 0xDC00 &&
        units[i + 1] <= 0xDFFF) {
      code = 0x10000 + ((code - 0xD800) << 10) + (units[++i] - 0xDC00);
    } else if (code >= 0xD800 && code <= 0xDFFF) {
      code = 0xFFFD;
    }
    if (code < 0x800) {
      *next++ = static_cast<char>(0xC0 | (code >> 6));
    } else if (code < 0x10000) {
      *next++ = static_cast<char>(0xE0 | (code >> 12));
      *next++ = static_cast<char>(0x80 | ((code >> 6) & 0x3F));
    } else {
      *next++ = static_cast<char>(0xF0 | (code >> 18));
      *next++ = static_cast<char>(0x80 | ((code >> 12) & 0x3F));
      *next++ = static_cast<char>(0x80 | ((code >> 6) & 0x3F));
    }
    *next++ = static_cast<char>(0x80 | (code & 0x3F));
  }
  out.resize(static_cast<std::size_t>(next - out.data()));
}

std::string encode(const std::basic_string<WCHAR>& units) {
  std::string out;
  append(out, units.data(), units.size());
  return out;
}

std::string encode(const WCHAR* text) {
  std::size_t length = 0;
  while (text[length] != 0) {
    ++length;
  }
  std::string out;
  append(out, text, length);
  return out;
}

bool decodeAll(const std::string& bytes, std::basic_string<WCHAR>& text) {
  text.clear();
  const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
  for (std::size_t at = 0; at < bytes.size();) {
    WCHAR units[2];
    int count = 0;
    const std::size_t used = decode(data + at, bytes.size() - at, units, count);
    if (used == 0) {
      return false;
    }
    text.append(units, static_cast<std::size_t>(count));
    at += used;
  }
  return true;
}

} // namespace basalt::platform::utf8
