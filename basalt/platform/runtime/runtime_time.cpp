#include "basalt/platform/runtime/runtime_time.h"

#include <cstdio>
#include <ctime>

namespace basalt::platform {
namespace {

constexpr long nanosecondsPerMillisecond = 1000000;

} // namespace

void _ftime(_timeb* now) {
  timespec clock{};
  ::clock_gettime(CLOCK_REALTIME, &clock);
  now->time = clock.tv_sec;
  now->millitm = static_cast<unsigned short>(clock.tv_nsec / nanosecondsPerMillisecond);
}

const char* ctime(const time_t* seconds) {
  static const char* const days[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  static const char* const months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                       "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  // The text of the second shown last is kept: a log writes many lines in one second.
  thread_local char buffer[32]; // 26 used; room for what the compiler can't rule out
  thread_local time_t shown = -1;
  if (*seconds == shown) {
    return buffer;
  }
  const ::time_t value = static_cast<::time_t>(*seconds);
  tm local{};
  if (value < 0 || ::localtime_r(&value, &local) == nullptr || local.tm_year > 9999 - 1900) {
    return nullptr;
  }
  std::snprintf(buffer, sizeof buffer, "%s %s %2d %02d:%02d:%02d %d\n", days[local.tm_wday],
                months[local.tm_mon], local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                local.tm_year + 1900);
  shown = *seconds;
  return buffer;
}

} // namespace basalt::platform
