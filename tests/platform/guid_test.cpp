#include "basalt/platform/guid.h"

#include <cstring>
#include <gtest/gtest.h>
#include <set>
#include <string>

namespace basalt::platform {
namespace {

TEST(Guid, GuidsAreRandomOfVersionFour) {
  std::set<std::string> seen;
  for (int i = 0; i < 1000; ++i) {
    GUID guid{};
    ASSERT_EQ(CoCreateGuid(&guid), 0);
    EXPECT_EQ(guid.Data3 >> 12, 4);
    EXPECT_EQ(guid.Data4[0] >> 6, 2);
    seen.emplace(reinterpret_cast<const char*>(&guid), sizeof(guid));
  }
  EXPECT_EQ(seen.size(), 1000u);
  EXPECT_EQ(CoCreateGuid(nullptr), static_cast<HRESULT>(0x80070057));
}

} // namespace
} // namespace basalt::platform
