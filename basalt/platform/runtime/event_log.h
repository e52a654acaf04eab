#ifndef BASALT_PLATFORM_RUNTIME_EVENT_LOG_H
#define BASALT_PLATFORM_RUNTIME_EVENT_LOG_H

// The event log, on syslog. Each event goes to the local syslog socket with the source name
// as its identity, facility user, and a priority by its type: error as err, warning and
// audit failure as warning, the others as info. The message reads
//   event 0x0000002A, category 3: "first string", null, "third string"
// with the strings quoted and escaped as in JSON. Events carry no binary data here.
//
// When the environment variable BASALT_EVENTLOG names a file, each event is also appended
// to it as one JSON object on a line of its own, written and flushed at once:
//   {"time":"2024-05-01T09:15:02.123Z","pid":4711,"source":"...","type":"warning",
//    "category":3,"event":42,"strings":["first string",null,"third string"]}
// Types are "success", "error", "warning", "information", "audit success" and "audit failure".
//
// Events are written to the syslog socket directly rather than through openlog and syslog,
// so a client's own syslog identity and options stay as they were.

#include "basalt/platform/base/win_types.h"

namespace basalt::platform {

using PSID = void*;

constexpr WORD EVENTLOG_SUCCESS = 0x0000;
constexpr WORD EVENTLOG_ERROR_TYPE = 0x0001;
constexpr WORD EVENTLOG_WARNING_TYPE = 0x0002;
constexpr WORD EVENTLOG_INFORMATION_TYPE = 0x0004;
constexpr WORD EVENTLOG_AUDIT_SUCCESS = 0x0008;
constexpr WORD EVENTLOG_AUDIT_FAILURE = 0x0010;

// A handle for reporting under sourceName, in the local machine's log whatever serverName
// says. Null with ERROR_INVALID_PARAMETER for a null source.
HANDLE RegisterEventSourceW(LPCWSTR serverName, LPCWSTR sourceName);
BOOL DeregisterEventSource(HANDLE eventLog);

// The same kind of handle, for the callers that report through the log's own handle.
HANDLE OpenEventLogW(LPCWSTR serverName, LPCWSTR sourceName);
BOOL CloseEventLog(HANDLE eventLog);

// Adds one event. A null entry of strings is shown as null. FALSE with ERROR_INVALID_HANDLE
// for an unknown handle, ERROR_INVALID_PARAMETER for an unknown type, missing strings or data,
// and the file's error when BASALT_EVENTLOG names a file that can't be appended to. Syslog takes
// events as syslog(3) does: without a word when no syslog daemon listens.
BOOL ReportEventW(HANDLE eventLog, WORD type, WORD category, DWORD eventId, PSID userSid,
                  WORD stringCount, DWORD dataSize, LPCWSTR* strings, void* rawData);

// Whether reported events go anywhere; they do unless this was set false. The tools that ship
// with the library turn it off unless asked, so that a diagnosis run leaves nothing in the
// system's log: ReportEventW then checks its arguments and succeeds without writing.
void setEventsWritten(bool written);

// Where syslog datagrams go: /dev/log unless a test has its own listener; null restores it.
void setSyslogSocketPath(const char* path);

} // namespace basalt::platform

#endif
