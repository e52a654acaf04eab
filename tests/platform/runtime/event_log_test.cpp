#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/runtime/event_log.h"
#include "support/registry_sandbox.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace basalt::platform {
namespace {

using basalt::testing::RegistrySandbox;

const WCHAR* w(const char16_t* text) {
  return reinterpret_cast<const WCHAR*>(text);
}

// A datagram socket standing in for the syslog daemon.
class SyslogListener {
public:
  explicit SyslogListener(const std::string& path) {
    fd = ::socket(AF_UNIX, SOCK_DGRAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof(address.sun_path), "%s", path.c_str());
    EXPECT_EQ(::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    timeval timeout{5, 0};
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof(timeout));
    setSyslogSocketPath(path.c_str());
  }
  ~SyslogListener() {
    setSyslogSocketPath(nullptr);
    ::close(fd);
  }
  std::string receive() {
    char buffer[4096];
    const ssize_t count = ::recv(fd, buffer, sizeof(buffer), 0);
    return count > 0 ? std::string(buffer, static_cast<std::size_t>(count)) : std::string();
  }

private:
  int fd;
};

TEST(EventLog, EachEventIsOneJsonLineAndOneSyslogMessage) {
  RegistrySandbox sandbox;
  SyslogListener syslog(sandbox.path("log.sock"));
  HANDLE source = RegisterEventSourceW(nullptr, w(u"Corvane OLAP Client"));
  ASSERT_NE(source, nullptr);

  LPCWSTR strings[] = {w(u"plain"), nullptr, w(u"quote \" back\\slash\nline\ttab\x01"),
                       w(u"gr\u00fc\u00df")};
  unsigned char data[] = {0x01, 0xAB};
  EXPECT_TRUE(ReportEventW(source, EVENTLOG_WARNING_TYPE, 3, 0xC2013005, nullptr, 4, sizeof(data),
                           strings, data));
  EXPECT_TRUE(ReportEventW(source, EVENTLOG_ERROR_TYPE, 0, 7, nullptr, 0, 0, nullptr, nullptr));
  EXPECT_TRUE(
      ReportEventW(source, EVENTLOG_INFORMATION_TYPE, 1, 8, nullptr, 1, 0, strings, nullptr));
  EXPECT_TRUE(DeregisterEventSource(source));

  const auto events = sandbox.events();
  ASSERT_EQ(events.size(), 3u);
  EXPECT_EQ(events[0].source, "Corvane OLAP Client");
  EXPECT_EQ(events[0].type, "warning");
  EXPECT_EQ(events[0].category, 3u);
  EXPECT_EQ(events[0].event, 0xC2013005u);
  EXPECT_EQ(events[0].strings, (std::vector<std::optional<std::string>>{
                                   "plain", std::nullopt, "quote \" back\\slash\nline\ttab\x01",
                                   "gr\xC3\xBC\xC3\x9F"}));
  EXPECT_EQ(events[1].type, "error");
  EXPECT_TRUE(events[1].strings.empty());
  EXPECT_EQ(events[2].type, "information");

  const std::string pid = std::to_string(::getpid());
  const std::string first = syslog.receive();
  EXPECT_EQ(first.substr(0, 4), "<12>");
  EXPECT_NE(
      first.find(" Corvane OLAP Client[" + pid +
                 "]: event 0xC2013005, category 3: \"plain\", "
                 "null, \"quote \\\" back\\\\slash\\nline\\ttab\\u0001\", \"gr\xC3\xBC\xC3\x9F\"; "
                 "data 01ab"),
      std::string::npos)
      << first;
  const std::string second = syslog.receive();
  EXPECT_EQ(second.substr(0, 4), "<11>");
  EXPECT_EQ(second.substr(second.find("]: ")), "]: event 0x00000007, category 0");
  EXPECT_EQ(syslog.receive().substr(0, 4), "<14>");
}

TEST(EventLog, BadHandlesArgumentsAndFilesAreRefused) {
  RegistrySandbox sandbox;
  EXPECT_EQ(RegisterEventSourceW(w(u"elsewhere"), w(u"x")), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(RegisterEventSourceW(nullptr, nullptr), nullptr);

  HANDLE log = OpenEventLogW(w(u""), w(u"x"));
  ASSERT_NE(log, nullptr);
  EXPECT_FALSE(ReportEventW(log, 3, 0, 1, nullptr, 0, 0, nullptr, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  EXPECT_FALSE(ReportEventW(log, EVENTLOG_ERROR_TYPE, 0, 1, nullptr, 2, 0, nullptr, nullptr));

  ::setenv("BASALT_EVENTLOG", sandbox.path("no/such/dir/events.jsonl").c_str(), 1);
  EXPECT_FALSE(ReportEventW(log, EVENTLOG_ERROR_TYPE, 0, 1, nullptr, 0, 0, nullptr, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
  ::unsetenv("BASALT_EVENTLOG");
  EXPECT_TRUE(ReportEventW(log, EVENTLOG_ERROR_TYPE, 0, 1, nullptr, 0, 0, nullptr, nullptr));

  EXPECT_TRUE(CloseEventLog(log));
  EXPECT_FALSE(CloseEventLog(log));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
  EXPECT_FALSE(DeregisterEventSource(log));
  EXPECT_FALSE(ReportEventW(log, EVENTLOG_ERROR_TYPE, 0, 1, nullptr, 0, 0, nullptr, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

} // namespace
} // namespace basalt::platform
