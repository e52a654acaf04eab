#include "basalt/logging/message_probe.h"
#include "basalt/platform/base/utf8.h"
#include "basalt/platform/registry/reg_file_parser.h"
#include "tools/basalt-admin/commands.h"

#include <cstdint>
#include <cstdio>

namespace basalt::admin {
namespace {

namespace plat = basalt::platform;

// Decimal, or hexadecimal after "0x"; no sign, nothing above 32 bits.
bool parseNumber(const std::string& text, std::uint32_t& number) {
  const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  const std::size_t start = hex ? 2 : 0;
  if (text.size() == start) {
    return false;
  }
  std::uint64_t value = 0;
  for (std::size_t i = start; i < text.size(); ++i) {
    const char c = text[i];
    int digit = -1;
    if (c >= '0' && c <= '9') {
      digit = c - '0';
    } else if (hex && c >= 'a' && c <= 'f') {
      digit = c - 'a' + 10;
    } else if (hex && c >= 'A' && c <= 'F') {
      digit = c - 'A' + 10;
    }
    if (digit < 0) {
      return false;
    }
    value = value * (hex ? 16 : 10) + static_cast<std::uint64_t>(digit);
    if (value > 0xFFFFFFFFu) {
      return false;
    }
  }
  number = static_cast<std::uint32_t>(value);
  return true;
}

// A path as the system spells it: the library writes '\' between its parts.
std::string systemPath(const KELPString& path) {
  std::string text = platform::utf8::encode(path);
  for (char& c : text) {
    c = c == '\\' ? '/' : c;
  }
  return text;
}

std::string hex(std::uint32_t number, int digits) {
  char text[16];
  std::snprintf(text, sizeof(text), "0x%0*X", digits, static_cast<unsigned int>(number));
  return text;
}

std::string describe(std::uint32_t message, const MessageProbe& probe) {
  std::string out = "message:  " + hex(message, 8) + " (facility " +
                    hex((message >> 16) & 0xFFF, 1) + ", string " +
                    std::to_string(message & 0xFFFF) + ")\n";
  out +=
      "language: " + (probe.language.empty() ? "(none)" : platform::utf8::encode(probe.language)) +
      "\n";
  out += "location: ";
  if (probe.location.empty()) {
    out += "(none: libraries are sought by file name alone)";
  } else {
    out += systemPath(probe.location);
  }
  out += probe.locationFailure.empty()
             ? " (the Location value)"
             : std::string(probe.location.empty() ? "" : " (libbasalt's directory)") +
                   "; Location isn't usable: " + platform::utf8::encode(probe.locationFailure);
  out += "\ntried:   ";
  for (const KELPString& name : probe.triedFileNames) {
    out += " " + platform::utf8::encode(name);
  }
  out += "\nlibrary:  " +
         (probe.libraryPath.empty() ? std::string("(none loaded)") : systemPath(probe.libraryPath));
  out +=
      "\ntext:     " + (probe.found ? platform::utf8::encode(probe.text) : std::string("(none)")) +
      "\n";
  return out;
}

} // namespace

int showMessage(const std::vector<std::string>& arguments) {
  std::size_t next = 0;
  KELPString language;
  bool languageGiven = false;
  if (next < arguments.size() && arguments[next] == "--language") {
    plat::WString text;
    if (next + 1 >= arguments.size() || !platform::utf8::decodeAll(arguments[next + 1], text)) {
      complain("--language needs a language, such as ENU, in UTF-8");
      return exitUsage;
    }
    language = KELPString(std::move(text));
    languageGiven = true;
    next += 2;
  }
  if (next >= arguments.size()) {
    complain("message needs a message number; try basalt-admin --help");
    return exitUsage;
  }
  std::uint32_t message = 0;
  if (!parseNumber(arguments[next], message)) {
    complain("\"" + arguments[next] +
             "\" is no message number: give it in decimal, or in hexadecimal after 0x");
    return exitUsage;
  }
  std::vector<KELPString> insertTexts;
  for (std::size_t i = next + 1; i < arguments.size(); ++i) {
    plat::WString text;
    if (!platform::utf8::decodeAll(arguments[i], text)) {
      complain("insert " + std::to_string(i - next) + " isn't valid UTF-8");
      return exitUsage;
    }
    insertTexts.emplace_back(std::move(text));
  }
  std::vector<const unsigned short*> inserts;
  inserts.reserve(insertTexts.size());
  for (const KELPString& text : insertTexts) {
    inserts.push_back(text.c_str());
  }

  const MessageProbe probe = probeMessage(message, languageGiven ? &language : nullptr,
                                          static_cast<int>(inserts.size()), inserts.data());
  if (!emit(describe(message, probe))) {
    return exitUsage;
  }
  if (probe.libraryPath.empty()) {
    complain("no message library of facility " + hex((message >> 16) & 0xFFF, 1) +
             " could be loaded; the names tried are listed above");
    return exitNotFound;
  }
  if (!probe.found) {
    complain(platform::utf8::encode(probe.triedFileNames.back()) + " has no text for message " +
             hex(message, 8));
    return exitNotFound;
  }
  return exitSuccess;
}

} // namespace basalt::admin
