#include "basalt/logging/core_log_impl.h"
#include "basalt/logging/message_library.h"
#include "log_sandbox.h"

#include <ctime>
#include <filesystem>
#include <gtest/gtest.h>
#include <regex>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using basalt::CoreLog;
using basalt::CoreLogImpl;
using namespace basalt::test;

constexpr std::uint32_t textless = 0xC2017003;
constexpr char notice[] = "No message obtained. Check the Event log for errors";

// SUPPORT at 10 with Quiet at 2, the libraries in location, and the log file at logFile.
void configure(LogSandbox& sandbox, const std::string& logFile,
               const std::string& location = messages("neutral")) {
  sandbox.configure(logKey() + "\"Location\"=" + regPath(location) + "\"LogFile\"=" +
                    regPath(logFile) + logKey("Modules\\SUPPORT") + verbosity("a") +
                    logKey("Modules\\SUPPORT\\Components\\Quiet") + verbosity("2"));
}

TEST(LogOutput, LineIsLocalTimeMillisecondsModuleAndText) {
  LogSandbox sandbox;
  configure(sandbox, sandbox.scratch.os("out.log"));
  const std::time_t before = std::time(nullptr);
  {
    CoreLog log;
    Inserts inserts{"A", "B"};
    Inserts withNull{nullptr, "B"};
    EXPECT_TRUE(log.log(ofMessage, CoreLog::VerbosityCritical, "SUPPORT", "", 2, inserts.get()));
    EXPECT_TRUE(log.log(ofMessage, CoreLog::VerbosityAll, "SUPPORT", "Any", 2, withNull.get()));
    // A component's threshold stands in for its module's, through the live entry handed out.
    EXPECT_FALSE(log.log(ofMessage, CoreLog::VerbosityWarning, "SUPPORT", "Quiet", 0, nullptr));
    *log.getModuleVerbosity("SUPPORT", "Quiet") = CoreLog::VerbosityWarning;
    EXPECT_TRUE(log.log(textless, CoreLog::VerbosityWarning, "SUPPORT", "Quiet", 0, nullptr));
    EXPECT_FALSE(log.log(ofMessage, CoreLog::VerbosityError, "SUPPORT", "", -1, inserts.get()));
  }
  const std::time_t after = std::time(nullptr);
  const auto lines = sandbox.lines("out.log");
  const char* const texts[] = {"A of B, 100% done", " of B, 100% done", notice};
  ASSERT_EQ(lines.size(), 3u);
  for (int i = 0; i < 3; ++i) {
    std::smatch match;
    ASSERT_TRUE(std::regex_match(lines[i], match, std::regex("(.{19})\\.[0-9]{3}: SUPPORT: (.*)")))
        << lines[i];
    EXPECT_EQ(match[2], texts[i]);
    bool local = false; // the clock may tick between the records
    for (std::time_t second = before; second <= after; ++second) {
      char shown[32];
      std::tm tm{};
      std::strftime(shown, sizeof shown, "%a %b %e %H:%M:%S", ::localtime_r(&second, &tm));
      local = local || match[1] == shown;
    }
    EXPECT_TRUE(local) << lines[i];
  }
  EXPECT_TRUE(sandbox.registry.events().empty());
}

// A log file in a missing directory can't be opened: records become events with their raw
// inserts, typed by level in the event log and in syslog, and no text is looked up for them.
TEST(LogOutput, WithoutAFileRecordsAreEventsTypedByLevel) {
  LogSandbox sandbox;
  configure(sandbox, sandbox.scratch.os("missing/x.log"));
  // A datagram socket standing in for the syslog daemon.
  sockaddr_un address{AF_UNIX, {}};
  std::snprintf(address.sun_path, sizeof(address.sun_path), "%s",
                sandbox.registry.path("syslog").c_str());
  const int syslog = ::socket(AF_UNIX, SOCK_DGRAM, 0);
  ASSERT_EQ(::bind(syslog, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
  const timeval timeout{5, 0};
  ::setsockopt(syslog, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof(timeout));
  basalt::platform::setSyslogSocketPath(address.sun_path);
  CoreLogImpl impl;
  const char* const escaped = "quote \" back\\slash\nline\ttab\x01";
  Inserts inserts{escaped, nullptr};
  for (int level = 1; level <= 6; ++level) {
    EXPECT_EQ(impl.writeRecord(textless, static_cast<CoreLog::VerbosityType>(level), "SUPPORT", "",
                               2, inserts.get()),
              level <= 5);
  }
  EXPECT_TRUE(impl.writeRecord(registryEvent, CoreLog::VerbosityDetail, "SUPPORT", "", 0, nullptr));
  EXPECT_TRUE(impl.libraries.empty());
  const auto events = sandbox.registry.events();
  ASSERT_EQ(events.size(), 6u); // the failed open itself is silent
  const char* const types[] = {"error", "error", "warning", "information", "information"};
  // Syslog's priority is facility user and the type's severity.
  const char* const priorities[] = {"<11>", "<11>", "<12>", "<14>", "<14>"};
  const std::string syslogText = " Corvane OLAP Client[" + std::to_string(::getpid()) +
                                 "]: event 0xC2017003, category 7: \"quote \\\" "
                                 "back\\\\slash\\nline\\ttab\\u0001\", null";
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(events[i].type, types[i]);
    EXPECT_EQ(events[i].category, 7u);
    EXPECT_EQ(events[i].event, textless);
    EXPECT_EQ(events[i].strings, (std::vector<std::optional<std::string>>{escaped, std::nullopt}));
    char buffer[4096];
    const ssize_t count = ::recv(syslog, buffer, sizeof(buffer), 0);
    const std::string message(buffer, count > 0 ? static_cast<std::size_t>(count) : 0);
    EXPECT_EQ(message.substr(0, 4), priorities[i]);
    EXPECT_NE(message.find(syslogText), std::string::npos) << message;
  }
  ::close(syslog);
}

TEST(LogOutput, FailingWritesAndDamagedLibrariesCostTheLineNotTheProcess) {
  LogSandbox sandbox;
  configure(sandbox, "/dev/full");
  {
    CoreLog log;
    for (int i = 0; i < 1000; ++i) {
      ASSERT_TRUE(log.log(ofMessage, CoreLog::VerbosityError, "SUPPORT", "", 0, nullptr));
    }
  }
  EXPECT_TRUE(sandbox.registry.events().empty()); // no fallback to the event log

  // Cuts and overwritten bytes of a sound library: none may bring the process down.
  const std::string bytes = fileBytes(messages("neutral/strings_201_xx.dll"));
  std::vector<std::string> damaged;
  for (std::size_t at = 0; at + 4 <= bytes.size(); at += 23) {
    damaged.push_back(bytes.substr(0, at));
    damaged.push_back(std::string(bytes).replace(at, 4, "\xff\xff\xff\x7f"));
  }
  for (std::size_t i = 0; i < damaged.size(); ++i) {
    const std::string dir = "d" + std::to_string(i);
    std::filesystem::create_directory(sandbox.scratch.path() / dir);
    sandbox.scratch.write(dir + "/strings_201_xx.dll", damaged[i]);
    basalt::MessageLibrary::setLocation(sandbox.scratch.library(dir));
    basalt::MessageLibrary record(ofMessage, "ENU");
    KELPString text;
    record.library.getString(ofMessage, text);
  }
  // Through the log, a cut library gives the notice.
  configure(sandbox, sandbox.scratch.os("out.log"), sandbox.scratch.os("d2"));
  {
    CoreLog log;
    EXPECT_TRUE(log.log(ofMessage, CoreLog::VerbosityError, "SUPPORT", "", 0, nullptr));
  }
  const auto lines = sandbox.lines("out.log");
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].substr(23), std::string(": SUPPORT: ") + notice);
}

// Eight threads write into one file: every line whole, none lost, each thread's in its order.
TEST(LogOutput, ConcurrentRecordsStayWholeAndInOrder) {
  constexpr int threadCount = 8;
  constexpr int recordCount = 20000;
  LogSandbox sandbox;
  configure(sandbox, sandbox.scratch.os("threads.log"));
  {
    CoreLog log;
    std::vector<std::thread> threads;
    threads.reserve(threadCount);
    for (int t = 0; t < threadCount; ++t) {
      threads.emplace_back([&log, t] {
        for (int r = 0; r < recordCount; ++r) {
          Inserts inserts{std::to_string(t).c_str(), std::to_string(r).c_str()};
          ASSERT_TRUE(log.log(recordMessage, CoreLog::VerbosityWarning, "SUPPORT", "Worker", 2,
                              inserts.get()));
        }
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
  }
  const auto lines = sandbox.lines("threads.log");
  ASSERT_EQ(lines.size(), static_cast<std::size_t>(threadCount * recordCount));
  const std::regex form(".{19}\\.[0-9]{3}: SUPPORT: thread ([0-7]) record ([0-9]+)");
  std::vector<int> next(threadCount, 0);
  for (const std::string& line : lines) {
    std::smatch match;
    ASSERT_TRUE(std::regex_match(line, match, form)) << line;
    ASSERT_EQ(std::stoi(match[2]), next[std::stoi(match[1])]++) << line;
  }
}

} // namespace
