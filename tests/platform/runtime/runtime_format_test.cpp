#include "basalt/platform/runtime/runtime_format.h"

#include <gtest/gtest.h>
#include <string>

namespace plat = basalt::platform;

namespace {

template <class Value> std::string format(const char* directive, Value value) {
  char buffer[256];
  const int length = plat::_snprintf(buffer, sizeof(buffer), directive, value);
  return length < 0 ? "<failed>" : std::string(buffer, static_cast<std::size_t>(length));
}

TEST(RuntimeFormat, ArgumentsKeepTheOriginalWidths) {
  EXPECT_EQ(format("%ld", plat::LONG{-1}), "-1");
  EXPECT_EQ(format("%lu", plat::LONG{-1}), "4294967295");
  EXPECT_EQ(format("%lx", plat::LONG{-1}), "ffffffff");
  EXPECT_EQ(format("%hd", plat::LONG{65535}), "-1");
  EXPECT_EQ(format("%+06.3hd", plat::LONG{-2}), "  -002");
  EXPECT_EQ(format("%p", static_cast<const void*>(nullptr)), "0000000000000000");
  EXPECT_EQ(format("%-20p", reinterpret_cast<const void*>(0xABCDEFU)), "0000000000ABCDEF    ");
  EXPECT_EQ(format("%.2p", reinterpret_cast<const void*>(0xAU)), "000000000000000A");
  EXPECT_EQ(format("%lf", 1.5), "1.500000");
  EXPECT_EQ(format("%hG", 1e-10), "1E-10");
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
  EXPECT_EQ(format("%.2147483647f", 1.0), "<failed>");
  EXPECT_EQ(format("%#.2147483647g", 1.0), "<failed>");
  // Without '#', %g drops trailing zeros, so a huge precision shows every digit of the double.
  EXPECT_EQ(format("%.2147483647g", 0.1),
            "0.1000000000000000055511151231257827021181583404541015625");
  EXPECT_EQ(format("%.2147483647g", 1e300), format("%.800g", 1e300));
}

TEST(RuntimeFormat, TextThatFillsTheBufferHasNoTerminator) {
  char buffer[4] = {'x', 'x', 'x', 'x'};
  EXPECT_EQ(plat::_snprintf(buffer, 3, "%d", plat::LONG{123}), 3);
  EXPECT_EQ(std::string(buffer, 4), "123x");
  EXPECT_EQ(plat::_snprintf(buffer, 3, "%d", plat::LONG{1234}), -1);
  EXPECT_EQ(plat::_snprintf(buffer, 0, "%d", plat::LONG{1}), -1);
}

} // namespace
