#include "basalt/platform/runtime_time.h"

#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>
#include <optional>
#include <string>

namespace basalt::platform {
namespace {

// Sets TZ for one test and puts back what was there.
class TimeZone {
public:
  explicit TimeZone(const char* zone) {
    if (const char* old = std::getenv("TZ")) {
      saved = old;
    }
    ::setenv("TZ", zone, 1);
    ::tzset();
  }
  ~TimeZone() {
    if (saved) {
      ::setenv("TZ", saved->c_str(), 1);
    } else {
      ::unsetenv("TZ");
    }
    ::tzset();
  }
  TimeZone(const TimeZone&) = delete;
  TimeZone& operator=(const TimeZone&) = delete;

private:
  std::optional<std::string> saved;
};

std::string text(time_t seconds) {
  const char* shown = ctime(&seconds);
  return shown == nullptr ? "(null)" : shown;
}

TEST(RuntimeTime, CtimeShowsLocalTimeWithABlankPaddedDay) {
  TimeZone utc("UTC");
  EXPECT_EQ(text(1258542910), "Wed Nov 18 11:15:10 2009\n");
  EXPECT_EQ(text(1257678905), "Sun Nov  8 11:15:05 2009\n");
  EXPECT_EQ(text(0), "Thu Jan  1 00:00:00 1970\n");
  EXPECT_EQ(text(-1), "(null)");
  EXPECT_EQ(text(253402300800), "(null)"); // the year 10000
  TimeZone india("IST-5:30");
  EXPECT_EQ(text(1258542910), "Wed Nov 18 16:45:10 2009\n");
}

TEST(RuntimeTime, FtimeGivesTheClockWithMillisecondsAndTheZone) {
  TimeZone india("IST-5:30");
  _timeb now{};
  const std::time_t before = std::time(nullptr);
  _ftime(&now);
  const std::time_t after = std::time(nullptr);
  EXPECT_GE(now.time, before);
  EXPECT_LE(now.time, after);
  EXPECT_LT(now.millitm, 1000);
  EXPECT_EQ(now.timezone, -330);
  EXPECT_EQ(now.dstflag, 0);
  // Summer time is in the flag, not in the zone's minutes.
  TimeZone summer("XST5XDT,0/0,J365/25"); // all year long
  _ftime(&now);
  EXPECT_EQ(now.dstflag, 1);
  EXPECT_EQ(now.timezone, 300);
}

} // namespace
} // namespace basalt::platform
