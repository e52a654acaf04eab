#ifndef BASALT_TESTS_SUPPORT_REGISTRY_SANDBOX_H
#define BASALT_TESTS_SUPPORT_REGISTRY_SANDBOX_H

// A temporary directory that the registry and the event log use for one test: .reg files
// written there are the registry, and events land in events.jsonl there.

#include "tests/support/scratch_directory.h"

#include <cstdint>
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

// One line of the event log file: a flat JSON object of strings and numbers, with one array
// of strings and nulls. Only the shapes the log writes are understood; anything else fails
// the test.
inline LoggedEvent readEvent(const std::string& line) {
  LoggedEvent event;
  std::size_t at = 0;
  const auto take = [&](char c) {
    at = std::min(line.find_first_not_of(' ', at), line.size());
    return at < line.size() && line[at] == c ? ++at, true : false;
  };
  const auto expect = [&](char c) { EXPECT_TRUE(take(c)) << c << " at " << at << " in " << line; };
  const auto text = [&]() -> std::optional<std::string> {
    if (!take('"')) {
      EXPECT_EQ(line.compare(at, 4, "null"), 0) << "at " << at << " in " << line;
      at += 4;
      return std::nullopt;
    }
    std::string value;
    for (char c; at < line.size() && (c = line[at++]) != '"'; value += c) {
      if (c == '\\' && at < line.size()) {
        c = line[at++];
        c = c == 'n' ? '\n' : c == 'r' ? '\r' : c == 't' ? '\t' : c;
        if (c == 'u') {
          c = static_cast<char>(std::stoi(line.substr(at, 4), nullptr, 16));
          at += 4;
        }
      }
    }
    EXPECT_EQ(line[at - 1], '"') << "unended text in " << line;
    return value;
  };
  expect('{');
  do {
    const std::string key = text().value_or("");
    expect(':');
    if (key == "strings") {
      expect('[');
      if (!take(']')) {
        do {
          event.strings.push_back(text());
        } while (take(','));
        expect(']');
      }
    } else if (key == "source" || key == "type" || key == "time" || key == "data") {
      const std::string value = text().value_or("");
      event.source = key == "source" ? value : event.source;
      event.type = key == "type" ? value : event.type;
    } else {
      std::size_t digits = 0;
      const std::uint64_t number = std::stoull(line.substr(at), &digits);
      at += digits;
      event.category = key == "category" ? static_cast<unsigned int>(number) : event.category;
      event.event = key == "event" ? static_cast<std::uint32_t>(number) : event.event;
    }
  } while (take(','));
  expect('}');
  EXPECT_EQ(at, line.size()) << line;
  return event;
}

class RegistrySandbox {
public:
  RegistrySandbox() = default;
  RegistrySandbox(const RegistrySandbox&) = delete;
  RegistrySandbox& operator=(const RegistrySandbox&) = delete;

  std::string path(const std::string& name) const { return directory.os(name); }

  // Writes bytes as they are; the file's modification time is set to seconds after the
  // epoch when given, so that tests can tell versions apart by time alone.
  std::string write(const std::string& name, const std::string& bytes,
                    std::optional<long> seconds = std::nullopt) const {
    std::filesystem::create_directories(std::filesystem::path(path(name)).parent_path());
    directory.write(name, bytes);
    if (seconds) {
      setTime(name, *seconds);
    }
    return path(name);
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
      events.push_back(readEvent(line));
    }
    return events;
  }

private:
  basalt::test::ScratchDirectory directory;
  // Put back as they were when the sandbox goes.
  basalt::test::EnvironmentVariable registry{"BASALT_REGISTRY", ""};
  basalt::test::EnvironmentVariable eventLog{"BASALT_EVENTLOG", path("events.jsonl").c_str()};
};

// UTF-16LE with a byte order mark, as the registry editor saves its files.
inline std::string utf16File(const std::u16string& text) {
  std::string bytes = "\xFF\xFE";
  for (const char16_t unit : text) {
    bytes += {static_cast<char>(unit & 0xFF), static_cast<char>(unit >> 8)};
  }
  return bytes;
}

} // namespace basalt::testing

#endif
