#include "basalt/logging/message_probe.h"
#include "basalt/platform/base/utf8.h"
#include "basalt/version.h"
#include "tools/basalt-admin/commands.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <iterator>
#include <link.h>
#include <unistd.h>

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

// The directory of the libbasalt that a component started like this tool would load: the
// first one in the dynamic loader's search path (LD_LIBRARY_PATH, then this tool's run path,
// where the library was installed beside it, then the system's directories). The tool holds
// the library's code itself, so it can't simply ask where its own copy lies.
std::string libraryDirectory() {
  void* self = dlopen(nullptr, RTLD_LAZY);
  Dl_serinfo size;
  if (self == nullptr || dlinfo(self, RTLD_DI_SERINFOSIZE, &size) != 0) {
    return {};
  }
  std::vector<char> buffer(size.dls_size);
  auto* info = reinterpret_cast<Dl_serinfo*>(buffer.data());
  *info = size;
  std::string found;
  if (dlinfo(self, RTLD_DI_SERINFO, info) == 0) {
    const std::string file = "/libbasalt.so." + std::to_string(BASALT_VERSION_MAJOR);
    for (unsigned int i = 0; i < info->dls_cnt && found.empty(); ++i) {
      char* directory = realpath(info->dls_serpath[i].dls_name, nullptr);
      if (directory != nullptr && access((directory + file).c_str(), F_OK) == 0) {
        found = directory;
      }
      std::free(directory);
    }
  }
  dlclose(self);
  return found;
}

int showMessage(const CommandLine& line) {
  KELPString language;
  const bool languageGiven = line.has("--language");
  if (languageGiven) {
    std::basic_string<plat::WCHAR> text;
    if (!platform::utf8::decodeAll(line.options.at("--language"), text) || text.empty()) {
      complain("--language needs a language, such as ENU, in UTF-8");
      return exitUsage;
    }
    language = KELPString(std::move(text));
  }
  if (line.operands.empty()) {
    complain("message needs a message number; try basalt-admin message --help");
    return exitUsage;
  }
  std::uint32_t message = 0;
  if (!parseNumber(line.operands[0], message)) {
    complain("\"" + line.operands[0] +
             "\" is no message number: give it in decimal, or in hexadecimal after 0x");
    return exitUsage;
  }
  std::vector<KELPString> insertTexts;
  for (std::size_t i = 1; i < line.operands.size(); ++i) {
    std::basic_string<plat::WCHAR> text;
    if (!platform::utf8::decodeAll(line.operands[i], text)) {
      complain("insert " + std::to_string(i) + " isn't valid UTF-8");
      return exitUsage;
    }
    insertTexts.emplace_back(std::move(text));
  }
  std::vector<const unsigned short*> inserts;
  inserts.reserve(insertTexts.size());
  for (const KELPString& text : insertTexts) {
    inserts.push_back(text.c_str());
  }
  KELPString fallback;
  if (!platform::utf8::decodeAll(libraryDirectory(), fallback)) {
    fallback.clear();
  }
  std::replace(fallback.begin(), fallback.end(), u'/', u'\\');

  const MessageProbe probe = probeMessage(message, languageGiven ? &language : nullptr, fallback,
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

constexpr OptionSpec messageOptions[] = {{"--language", true}};

} // namespace

const Command messageCommand = {
    "message",
    "message [--language LANG] NUMBER [--] [INSERT...]",
    R"(    Prints the text of a message number with its inserts (%1, %2, ...) as the
    log writes it, and which message library gave it. The library is sought as
    the log seeks it: strings_<facility>_xx.dll, then _<LANG>, then the first
    two letters of LANG, then "en", in the Location directory of the log's
    registry key, else in the directory of libbasalt, then by bare name. NUMBER
    is decimal, or hexadecimal after 0x. Inserts that begin with '-' go after
    "--". With --events, a library that doesn't load is reported to the event
    log as a log reports it.
    --language LANG  the user's language, three letters such as DEU; without
                     it, the language of the locale (LC_ALL, LC_MESSAGES, LANG).
)",
    messageOptions,
    std::size(messageOptions),
    showMessage};

} // namespace basalt::admin
