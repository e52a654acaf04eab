// The directives that the format engine above never lets through; what it does let through
// is checked by formatting text in tests/text.

#include "basalt/platform/runtime/runtime_format.h"

#include <gtest/gtest.h>
#include <string>

namespace plat = basalt::platform;

namespace {

template <class Value> std::string format(const char* directive, Value value, int size = 256) {
  char buffer[256];
  const int length = plat::_snprintf(buffer, static_cast<std::size_t>(size), directive, value);
  return length < 0 ? "<failed>" : std::string(buffer, static_cast<std::size_t>(length));
}

// Huge widths and precisions must fail without the work of filling them.
TEST(RuntimeFormat, RefusesWhatItCannotDo) {
  for (const char* directive :
       {"", "%", "d", "%d%d", "x%d", "%d ", "%*d", "%.*d", "%lld", "%hhd", "%Ld", "%n", "%s", "%a",
        "%5", "%2147483647d", "%99999999999999999999d"}) {
    EXPECT_EQ(format(directive, plat::LONG{1}), "<failed>") << directive;
  }
  EXPECT_EQ(format("%f", plat::LONG{1}), "<failed>");
  EXPECT_EQ(format("%d", 1.0), "<failed>");
  EXPECT_EQ(format("%d", static_cast<const void*>(nullptr)), "<failed>");
  EXPECT_EQ(format(nullptr, plat::LONG{1}), "<failed>");
  EXPECT_EQ(format("%d", plat::LONG{1}, 0), "<failed>");
  EXPECT_EQ(format("%.2147483647f", 1.0), "<failed>");
  EXPECT_EQ(format("%#.2147483647g", 1.0), "<failed>");
  // Without '#', %g drops trailing zeros, so a huge precision shows every digit of the double.
  EXPECT_EQ(format("%.2147483647g", 0.1),
            "0.1000000000000000055511151231257827021181583404541015625");
  EXPECT_EQ(format("%.2147483647g", 1e300), format("%.800g", 1e300));
}

} // namespace
