#ifndef BASALT_TESTS_LOGGING_LOG_SANDBOX_H
#define BASALT_TESTS_LOGGING_LOG_SANDBOX_H

// A registry, an event log and a scratch directory of the test's own, and helpers to write
// the log's configuration as .reg text.

#include "basalt/platform/runtime/event_log.h"
#include "support/registry_sandbox.h"
#include "support/scratch_directory.h"

#include <initializer_list>
#include <string>
#include <vector>

namespace basalt::test {

constexpr std::uint32_t ofMessage = 0xC2010001;     // "%1 of %2, 100%% done"
constexpr std::uint32_t recordMessage = 0x42010002; // "thread %1 record %2"
constexpr std::uint32_t registryEvent = 0xC2011F03;

// The directory of the test's message libraries named sub.
inline std::string messages(const std::string& sub) {
  return std::string(BASALT_LOG_MESSAGES_DIR) + "/" + sub;
}

// A .reg text value holding path in the library's form.
inline std::string regPath(const std::string& path) {
  std::string quoted = "\"";
  for (const char c : path) {
    quoted += c == '/' ? std::string("\\\\") : std::string(1, c);
  }
  return quoted + "\"\n";
}

// The section of the log's key, or of the key below it.
inline std::string logKey(const std::string& below = "") {
  return "[HKEY_LOCAL_MACHINE\\Software\\Corvane Holdings\\10.0\\TRELL(o)\\Log" +
         (below.empty() ? "" : "\\" + below) + "]\n";
}

inline std::string verbosity(const char* hex) {
  return std::string("\"Verbosity\"=dword:") + hex + "\n";
}

// Inserts as the log takes them, their texts kept alive; null stays null.
class Inserts {
public:
  Inserts(std::initializer_list<const char*> texts) {
    strings.reserve(texts.size());
    for (const char* text : texts) {
      strings.emplace_back(text);
      pointers.push_back(text == nullptr ? nullptr : strings.back().c_str());
    }
  }
  int count() const { return static_cast<int>(pointers.size()); }
  const unsigned short** get() { return pointers.data(); }

private:
  std::vector<KELPString> strings;
  std::vector<const unsigned short*> pointers;
};

class LogSandbox {
public:
  // Syslog goes to a socket nobody listens on; the events file is what tests read.
  LogSandbox() { platform::setSyslogSocketPath(registry.path("no-syslog").c_str()); }
  ~LogSandbox() { platform::setSyslogSocketPath(nullptr); }
  LogSandbox(const LogSandbox&) = delete;
  LogSandbox& operator=(const LogSandbox&) = delete;

  // The registry becomes this .reg body, in a new file that no cache can answer for.
  void configure(const std::string& body) {
    const std::string name = "log" + std::to_string(++configurations) + ".reg";
    registry.write(name, "Windows Registry Editor Version 5.00\n\n" + body);
    registry.useSources(name);
  }

  std::vector<std::string> lines(const std::string& file) const {
    std::vector<std::string> result;
    std::istringstream in(scratch.read(file));
    for (std::string line; std::getline(in, line);) {
      result.push_back(line);
    }
    return result;
  }

  testing::RegistrySandbox registry;
  ScratchDirectory scratch;

private:
  int configurations = 0;
};

} // namespace basalt::test

#endif
