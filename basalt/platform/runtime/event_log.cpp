#include "basalt/platform/runtime/event_log.h"

#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/base/utf8.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <mutex>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <unordered_set>
#include <vector>

namespace basalt::platform {
namespace {

constexpr char defaultSyslogPath[] = "/dev/log";
constexpr int facilityUser = 1 << 3;
constexpr int priorityError = 3;
constexpr int priorityWarning = 4;
constexpr int priorityInformation = 6;

struct EventSource {
  std::string name; // UTF-8
};

struct EventLogState {
  // Where a handle's source is, under the lock; sources.end() with ERROR_INVALID_HANDLE for
  // a handle that is no source.
  std::unordered_set<const EventSource*>::iterator find(HANDLE handle) {
    auto at = sources.find(static_cast<const EventSource*>(handle));
    if (at == sources.end()) {
      SetLastError(ERROR_INVALID_HANDLE);
    }
    return at;
  }

  std::mutex mutex;
  std::unordered_set<const EventSource*> sources;
  std::string syslogPath = defaultSyslogPath;
  bool written = true;
};

// Never destroyed: the library's exit list deregisters sources after the runtime has run
// the destructors of static objects.
EventLogState& state() {
  static auto* instance = new EventLogState;
  return *instance;
}

const char* typeName(WORD type) {
  switch (type) {
  case EVENTLOG_SUCCESS:
    return "success";
  case EVENTLOG_ERROR_TYPE:
    return "error";
  case EVENTLOG_WARNING_TYPE:
    return "warning";
  case EVENTLOG_INFORMATION_TYPE:
    return "information";
  case EVENTLOG_AUDIT_SUCCESS:
    return "audit success";
  case EVENTLOG_AUDIT_FAILURE:
    return "audit failure";
  default:
    return nullptr;
  }
}

int syslogPriority(WORD type) {
  switch (type) {
  case EVENTLOG_ERROR_TYPE:
    return priorityError;
  case EVENTLOG_WARNING_TYPE:
  case EVENTLOG_AUDIT_FAILURE:
    return priorityWarning;
  default:
    return priorityInformation;
  }
}

void appendJsonString(std::string& out, const std::string& text) {
  out += '"';
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (c == '\n') {
      out += "\\n";
    } else if (c == '\r') {
      out += "\\r";
    } else if (c == '\t') {
      out += "\\t";
    } else if (byte < 0x20 || byte == 0x7F) {
      char escape[8];
      std::snprintf(escape, sizeof(escape), "\\u%04x", byte);
      out += escape;
    } else {
      out += c;
    }
  }
  out += '"';
}

// The strings as a comma-separated list of JSON values.
std::string stringList(const std::vector<const std::string*>& strings) {
  std::string out;
  for (std::size_t i = 0; i < strings.size(); ++i) {
    if (i > 0) {
      out += ", ";
    }
    if (strings[i] == nullptr) {
      out += "null";
    } else {
      appendJsonString(out, *strings[i]);
    }
  }
  return out;
}

void sendToSyslog(const std::string& path, const std::string& datagram) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof(address.sun_path)) {
    return;
  }
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  const auto* target = reinterpret_cast<const sockaddr*>(&address);
  const int socketFd = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (socketFd < 0) {
    return;
  }
  const bool sent = ::sendto(socketFd, datagram.data(), datagram.size(), MSG_NOSIGNAL, target,
                             sizeof(address)) >= 0;
  const bool streamSocket = !sent && errno == EPROTOTYPE;
  ::close(socketFd);
  if (!streamSocket) {
    return;
  }
  // Some daemons listen on a stream socket; there each message ends with a NUL.
  const int streamFd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (streamFd < 0) {
    return;
  }
  if (::connect(streamFd, target, sizeof(address)) == 0) {
    ::send(streamFd, datagram.c_str(), datagram.size() + 1, MSG_NOSIGNAL);
  }
  ::close(streamFd);
}

// The head of a syslog datagram, as syslog(3) writes it: "<13>May  1 09:15:02 ".
std::string syslogHead(int priority, std::time_t seconds) {
  static constexpr const char* months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                           "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  std::tm local{};
  localtime_r(&seconds, &local);
  char head[96];
  std::snprintf(head, sizeof(head), "<%d>%s %2d %02d:%02d:%02d ", facilityUser | priority,
                months[local.tm_mon], local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
  return head;
}

std::string isoTime(const timespec& now) {
  std::tm utc{};
  gmtime_r(&now.tv_sec, &utc);
  char text[96];
  std::snprintf(text, sizeof(text), "%04d-%02d-%02dT%02d:%02d:%02d.%03ldZ", utc.tm_year + 1900,
                utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec,
                now.tv_nsec / 1000000);
  return text;
}

DWORD fileError(int error) {
  switch (error) {
  case ENOENT:
  case ENOTDIR:
    return ERROR_PATH_NOT_FOUND;
  case ENOSPC:
  case EDQUOT:
    return ERROR_DISK_FULL;
  case ENOMEM:
    return ERROR_NOT_ENOUGH_MEMORY;
  default:
    return ERROR_ACCESS_DENIED;
  }
}

// Appends one line with a single write, so lines of concurrent writers don't interleave.
bool appendLine(const char* path, const std::string& line) {
  const int fd = ::open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
  if (fd < 0) {
    SetLastError(fileError(errno));
    return false;
  }
  std::size_t written = 0;
  while (written < line.size()) {
    const ssize_t result = ::write(fd, line.data() + written, line.size() - written);
    if (result < 0 && errno == EINTR) {
      continue;
    }
    if (result <= 0) {
      SetLastError(fileError(errno));
      ::close(fd);
      return false;
    }
    written += static_cast<std::size_t>(result);
  }
  ::close(fd);
  return true;
}

HANDLE openSource(LPCWSTR sourceName) {
  if (sourceName == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  auto* source = new EventSource{utf8::encode(sourceName)};
  EventLogState& log = state();
  std::lock_guard<std::mutex> lock(log.mutex);
  log.sources.insert(source);
  return source;
}

BOOL closeSource(HANDLE eventLog) {
  EventLogState& log = state();
  std::lock_guard<std::mutex> lock(log.mutex);
  auto at = log.find(eventLog);
  if (at == log.sources.end()) {
    return FALSE;
  }
  delete *at;
  log.sources.erase(at);
  return TRUE;
}

} // namespace

HANDLE RegisterEventSourceW(LPCWSTR /*serverName*/, LPCWSTR sourceName) {
  return openSource(sourceName);
}

BOOL DeregisterEventSource(HANDLE eventLog) {
  return closeSource(eventLog);
}

HANDLE OpenEventLogW(LPCWSTR /*serverName*/, LPCWSTR sourceName) {
  return openSource(sourceName);
}

BOOL CloseEventLog(HANDLE eventLog) {
  return closeSource(eventLog);
}

BOOL ReportEventW(HANDLE eventLog, WORD type, WORD category, DWORD eventId, PSID userSid,
                  WORD stringCount, DWORD dataSize, LPCWSTR* strings, void* rawData) {
  const char* kind = typeName(type);
  if (kind == nullptr || (stringCount > 0 && strings == nullptr) || dataSize != 0 ||
      rawData != nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  std::string source;
  std::string syslogPath;
  {
    EventLogState& log = state();
    std::lock_guard<std::mutex> lock(log.mutex);
    auto at = log.find(eventLog);
    if (at == log.sources.end()) {
      return FALSE;
    }
    if (!log.written) {
      return TRUE;
    }
    source = (*at)->name;
    syslogPath = log.syslogPath;
  }

  std::vector<std::string> texts(stringCount);
  std::vector<const std::string*> values(stringCount, nullptr);
  for (WORD i = 0; i < stringCount; ++i) {
    if (strings[i] != nullptr) {
      texts[i] = utf8::encode(strings[i]);
      values[i] = &texts[i];
    }
  }
  const std::string listed = stringList(values);
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);

  char number[64];
  std::snprintf(number, sizeof(number), "event 0x%08X, category %u", eventId, category);
  std::string message = number;
  if (stringCount > 0) {
    message += ": " + listed;
  }
  sendToSyslog(syslogPath, syslogHead(syslogPriority(type), now.tv_sec) + source + "[" +
                               std::to_string(::getpid()) + "]: " + message);

  const char* file = std::getenv("BASALT_EVENTLOG");
  if (file == nullptr || *file == '\0') {
    return TRUE;
  }
  std::string line =
      "{\"time\":\"" + isoTime(now) + "\",\"pid\":" + std::to_string(::getpid()) + ",\"source\":";
  appendJsonString(line, source);
  line += ",\"type\":\"" + std::string(kind) + "\",\"category\":" + std::to_string(category) +
          ",\"event\":" + std::to_string(eventId) + ",\"strings\":[" + listed + "]}\n";
  return appendLine(file, line) ? TRUE : FALSE;
}

void setEventsWritten(bool written) {
  EventLogState& log = state();
  std::lock_guard<std::mutex> lock(log.mutex);
  log.written = written;
}

void setSyslogSocketPath(const char* path) {
  EventLogState& log = state();
  std::lock_guard<std::mutex> lock(log.mutex);
  log.syslogPath = path != nullptr ? path : defaultSyslogPath;
}

} // namespace basalt::platform
