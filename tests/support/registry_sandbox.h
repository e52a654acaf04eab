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
#include <regex>
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

// One line of the event log file as the log writes it: a flat JSON object whose last fields
// are these, in this order. Anything else fails the test.
inline LoggedEvent readEvent(const std::string& line) {
  static const std::regex fields(
      R"re("source":"([^"]*)","type":"([^"]*)","category":(\d+),"event":(\d+),"strings":\[)re");
  std::smatch match;
  if (!std::regex_search(line, match, fields)) {
    ADD_FAILURE() << "not an event: " << line;
    return {};
  }
  LoggedEvent event{match[1],
                    match[2],
                    static_cast<unsigned int>(std::stoul(match[3])),
                    static_cast<std::uint32_t>(std::stoul(match[4])),
                    {}};
  for (auto at = static_cast<std::size_t>(match.position(0) + match.length(0));
       at < line.size() && line[at] != ']'; at = line.find_first_not_of(", ", at)) {
    if (line.compare(at, 4, "null") == 0) {
      event.strings.emplace_back();
      at += 4;
      continue;
    }
    std::string value;
    for (++at; at < line.size() && line[at] != '"'; ++at) {
      char c = line[at];
      if (c == '\\' && ++at < line.size()) {
        c = line[at] == 'n' ? '\n' : line[at] == 'r' ? '\r' : line[at] == 't' ? '\t' : line[at];
        if (c == 'u') {
          c = static_cast<char>(std::stoi(line.substr(at + 1, 4), nullptr, 16));
          at += 4;
        }
      }
      value += c;
    }
    event.strings.push_back(value);
    ++at; // the closing quote
  }
  return event;
}

class RegistrySandbox {
public:
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
