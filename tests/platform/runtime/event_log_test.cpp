// The syslog side of the event log and a handle used after it is gone; the JSON lines of
// typed events are read back through the log in tests/logging.

#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/runtime/event_log.h"
#include "support/registry_sandbox.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace basalt::platform {
namespace {

using basalt::test::w;

TEST(EventLog, EachEventIsOneJsonLineAndOneSyslogMessageWithItsStringsEscaped) {
  basalt::testing::RegistrySandbox sandbox;
  // A datagram socket standing in for the syslog daemon.
  sockaddr_un address{AF_UNIX, {}};
  std::snprintf(address.sun_path, sizeof(address.sun_path), "%s", sandbox.path("s").c_str());
  const int syslog = ::socket(AF_UNIX, SOCK_DGRAM, 0);
  ASSERT_EQ(::bind(syslog, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
  const timeval timeout{5, 0};
  ::setsockopt(syslog, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof(timeout));
  setSyslogSocketPath(address.sun_path);

  HANDLE source = RegisterEventSourceW(nullptr, w(u"Corvane OLAP Client"));
  LPCWSTR strings[] = {w(u"plain"), nullptr, w(u"quote \" back\\slash\nline\ttab\x01"),
                       w(u"gr\u00fc\u00df")};
  EXPECT_TRUE(
      ReportEventW(source, EVENTLOG_WARNING_TYPE, 3, 0xC2013005, nullptr, 4, 0, strings, nullptr));
  EXPECT_TRUE(ReportEventW(source, EVENTLOG_ERROR_TYPE, 0, 7, nullptr, 0, 0, nullptr, nullptr));
  EXPECT_TRUE(
      ReportEventW(source, EVENTLOG_INFORMATION_TYPE, 1, 8, nullptr, 0, 0, nullptr, nullptr));
  EXPECT_TRUE(DeregisterEventSource(source));
  setSyslogSocketPath(nullptr);
  // The log may report after its source is gone; the handle must be refused, not read.
  EXPECT_FALSE(ReportEventW(source, EVENTLOG_ERROR_TYPE, 0, 7, nullptr, 0, 0, nullptr, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);

  EXPECT_EQ(sandbox.events().size(), 3u); // their strings are written as in the messages below
  std::string messages[3];
  for (std::string& message : messages) {
    char buffer[4096];
    const ssize_t count = ::recv(syslog, buffer, sizeof(buffer), 0);
    message.assign(buffer, count > 0 ? static_cast<std::size_t>(count) : 0);
  }
  ::close(syslog);
  // The priority is facility user and the type's severity: warning, err, info.
  const std::string identity = " Corvane OLAP Client[" + std::to_string(::getpid()) + "]: ";
  EXPECT_EQ(messages[0].substr(0, 4), "<12>");
  EXPECT_NE(messages[0].find(identity + "event 0xC2013005, category 3: \"plain\", null, "
                                        "\"quote \\\" back\\\\slash\\nline\\ttab\\u0001\", "
                                        "\"gr\xC3\xBC\xC3\x9F\""),
            std::string::npos)
      << messages[0];
  EXPECT_EQ(messages[1].substr(0, 4), "<11>");
  EXPECT_EQ(messages[1].substr(messages[1].find("]: ")), "]: event 0x00000007, category 0");
  EXPECT_EQ(messages[2].substr(0, 4), "<14>");
}

} // namespace
} // namespace basalt::platform
