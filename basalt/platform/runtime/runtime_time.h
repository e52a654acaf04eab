#ifndef BASALT_PLATFORM_RUNTIME_RUNTIME_TIME_H
#define BASALT_PLATFORM_RUNTIME_RUNTIME_TIME_H

// The runtime library's clock and its text form of a time.

#include <cstdint>

namespace basalt::platform {

using time_t = std::int64_t;

// The runtime's structure less its time zone fields, which nothing here reads.
struct _timeb {
  time_t time;            // seconds since 1970-01-01 00:00 UTC
  unsigned short millitm; // milliseconds, 0 to 999
};

// The current time of day.
void _ftime(_timeb* now);

// The local time of seconds as "Www Mmm dd hh:mm:ss yyyy\n", day of the month padded with a
// blank, names in English. The text lies in a buffer of the calling thread that the next
// call overwrites; a call for the second shown last gives it unchanged, so a change of time
// zone shows from the next second on. Null for a time before 1970 or after the year 9999.
const char* ctime(const time_t* seconds);

} // namespace basalt::platform

#endif
