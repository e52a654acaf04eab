#ifndef BASALT_TESTS_LOGGING_LOG_SANDBOX_H
#define BASALT_TESTS_LOGGING_LOG_SANDBOX_H

// A registry, an event log and a scratch directory of the test's own, and the .reg text of
// the log's configuration.

#include "../support/registry_sandbox.h"
#include "../support/scratch_directory.h"
#include "basalt/platform/event_log.h"

#include <string>

namespace basalt::test {

constexpr char messagesDir[] = BASALT_LOG_MESSAGES_DIR;
constexpr std::uint32_t registryEvent = 0xC2011F03;

// A .reg text value: the path in the library's form, '\' and '"' escaped.
inline std::string regText(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : text) {
    quoted += c == '/' || c == '\\' ? std::string("\\\\")
              : c == '"'            ? std::string("\\\"")
                                    : std::string(1, c);
  }
  return quoted + "\"";
}

// The section header of the log's key, or of a key below it.
inline std::string logKey(const std::string& below = "") {
  return "[HKEY_LOCAL_MACHINE\\Software\\Corvane Holdings\\10.0\\TRELL(o)\\Log" +
         (below.empty() ? "" : "\\" + below) + "]\n";
}

class LogSandbox {
public:
  // Syslog goes to a socket nobody listens on; the events file is what tests read.
  LogSandbox() { platform::setSyslogSocketPath(registry.path("no-syslog").c_str()); }
  ~LogSandbox() { platform::setSyslogSocketPath(nullptr); }
  LogSandbox(const LogSandbox&) = delete;
  LogSandbox& operator=(const LogSandbox&) = delete;

  // The registry becomes this .reg body, in a file of its own so that no cache of an earlier
  // one can answer.
  void configure(const std::string& body) {
    const std::string name = "log" + std::to_string(++configurations) + ".reg";
    registry.write(name, "Windows Registry Editor Version 5.00\n\n" + body);
    registry.useSources(name);
  }

  testing::RegistrySandbox registry;
  ScratchDirectory scratch;

private:
  int configurations = 0;
};

} // namespace basalt::test

#endif
