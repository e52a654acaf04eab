#ifndef BASALT_TESTS_SUPPORT_REGISTRY_SANDBOX_H
#define BASALT_TESTS_SUPPORT_REGISTRY_SANDBOX_H

// A temporary directory that the registry and the event log use for one test: .reg files
// written there are the registry, and events land in events.jsonl there.

#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <optional>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace basalt::testing {

struct LoggedEvent {
  std::string source;
  std::string type;
  unsigned int category = 0;
  std::uint32_t event = 0;
  std::vector<std::optional<std::string>> strings;
};

// Reads the event log file's lines. Only the shapes the log writes are understood; anything
// else fails the test.
class EventLineReader {
public:
  explicit EventLineReader(const std::string& line) : text(line) {}

  LoggedEvent read() {
    LoggedEvent event;
    expect('{');
    do {
      const std::string key = readString();
      expect(':');
      if (key == "strings") {
        expect('[');
        if (!take(']')) {
          do {
            event.strings.push_back(readStringOrNull());
          } while (take(','));
          expect(']');
        }
      } else if (key == "source" || key == "type" || key == "time" || key == "data") {
        const std::string value = readString();
        event.source = key == "source" ? value : event.source;
        event.type = key == "type" ? value : event.type;
      } else {
        const std::uint64_t number = readNumber();
        event.category = key == "category" ? static_cast<unsigned int>(number) : event.category;
        event.event = key == "event" ? static_cast<std::uint32_t>(number) : event.event;
      }
    } while (take(','));
    expect('}');
    EXPECT_EQ(at, text.size()) << text;
    return event;
  }

private:
  void skipSpace() {
    while (at < text.size() && text[at] == ' ') {
      ++at;
    }
  }
  bool take(char c) {
    skipSpace();
    if (at < text.size() && text[at] == c) {
      ++at;
      return true;
    }
    return false;
  }
  void expect(char c) {
    EXPECT_TRUE(take(c)) << "expected " << c << " at " << at << " in " << text;
  }
  std::uint64_t readNumber() {
    skipSpace();
    std::uint64_t value = 0;
    while (at < text.size() && text[at] >= '0' && text[at] <= '9') {
      value = value * 10 + static_cast<std::uint64_t>(text[at++] - '0');
    }
    return value;
  }
  std::optional<std::string> readStringOrNull() {
    skipSpace();
    if (text.compare(at, 4, "null") == 0) {
      at += 4;
      return std::nullopt;
    }
    return readString();
  }
  std::string readString() {
    expect('"');
    std::string value;
    while (at < text.size() && text[at] != '"') {
      char c = text[at++];
      if (c == '\\' && at < text.size()) {
        c = text[at++];
        if (c == 'n' || c == 'r' || c == 't') {
          c = c == 'n' ? '\n' : c == 'r' ? '\r' : '\t';
        } else if (c == 'u') {
          c = static_cast<char>(std::stoi(text.substr(at, 4), nullptr, 16));
          at += 4;
        }
      }
      value += c;
    }
    expect('"');
    return value;
  }

  std::string text;
  std::size_t at = 0;
};

class RegistrySandbox {
public:
  RegistrySandbox() {
    std::string pattern = (std::filesystem::temp_directory_path() / "basalt-registry-XXXXXX");
    root = ::mkdtemp(pattern.data());
    remember("BASALT_REGISTRY");
    remember("BASALT_EVENTLOG");
    useSources("");
    ::setenv("BASALT_EVENTLOG", path("events.jsonl").c_str(), 1);
  }
  ~RegistrySandbox() {
    for (const auto& [name, value] : saved) {
      if (value) {
        ::setenv(name.c_str(), value->c_str(), 1);
      } else {
        ::unsetenv(name.c_str());
      }
    }
    std::filesystem::remove_all(root);
  }
  RegistrySandbox(const RegistrySandbox&) = delete;
  RegistrySandbox& operator=(const RegistrySandbox&) = delete;

  std::string path(const std::string& name) const { return (root / name).string(); }

  // Writes bytes as they are; the file's modification time is set to seconds after the
  // epoch when given, so that tests can tell versions apart by time alone.
  std::string write(const std::string& name, const std::string& bytes,
                    std::optional<long> seconds = std::nullopt) const {
    const std::filesystem::path file = root / name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary | std::ios::trunc) << bytes;
    if (seconds) {
      setTime(name, *seconds);
    }
    return file.string();
  }

  void setTime(const std::string& name, long seconds) const {
    const timespec times[2] = {{seconds, 0}, {seconds, 0}};
    ::utimensat(AT_FDCWD, path(name).c_str(), times, 0);
  }

  // The registry's sources, as BASALT_REGISTRY: names relative to the sandbox joined by ':'.
  void useSources(const std::string& names) const {
    std::string list;
    std::istringstream parts(names);
    for (std::string name; std::getline(parts, name, ':');) {
      list += (list.empty() ? "" : ":") + path(name);
    }
    ::setenv("BASALT_REGISTRY", list.c_str(), 1);
  }

  std::vector<LoggedEvent> events() const {
    std::vector<LoggedEvent> events;
    std::ifstream file(path("events.jsonl"));
    for (std::string line; std::getline(file, line);) {
      events.push_back(EventLineReader(line).read());
    }
    return events;
  }

private:
  void remember(const char* name) {
    const char* value = std::getenv(name);
    saved.emplace_back(name, value ? std::optional<std::string>(value) : std::nullopt);
  }

  std::filesystem::path root;
  std::vector<std::pair<std::string, std::optional<std::string>>> saved;
};

// UTF-16LE with a byte order mark, as the registry editor saves its files.
inline std::string utf16File(const std::u16string& text) {
  std::string bytes = "\xFF\xFE";
  for (const char16_t unit : text) {
    bytes += static_cast<char>(unit & 0xFF);
    bytes += static_cast<char>(unit >> 8);
  }
  return bytes;
}

} // namespace basalt::testing

#endif
