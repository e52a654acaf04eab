#include "basalt/frame/library_entry.h"
#include "basalt/frame/static/static_objects.h"
#include "basalt/logging/core_log.h"
#include "basalt/platform/base/debug_output.h"
#include "basalt/platform/runtime/orb.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

namespace frame = basalt::frame;
namespace plat = basalt::platform;

std::vector<std::string> traced;
void collect(const char* text) {
  traced.emplace_back(text);
}

// The test executable carries the library's objects, so its own load ran process attach.
TEST(LibraryEntry, ThreadReasonsDoNothingAndDetachEndsTheThreadLibraryButNotTheLog) {
  plat::JTCInitialize* const before = frame::threadLibraryInit;
  ASSERT_NE(before, nullptr);
  ASSERT_EQ(frame::libraryLog, basalt::getLogObject());
  EXPECT_EQ(frame::libraryEntryPoint(nullptr, frame::DLL_THREAD_ATTACH, nullptr), 1);
  EXPECT_EQ(frame::libraryEntryPoint(nullptr, frame::DLL_THREAD_DETACH, nullptr), 1);
  EXPECT_EQ(frame::threadLibraryInit, before);

  traced.clear();
  plat::setDebugOutputHook(collect);
  EXPECT_EQ(frame::libraryEntryPoint(nullptr, frame::DLL_PROCESS_DETACH, nullptr), 1);
  EXPECT_EQ(frame::threadLibraryInit, nullptr);
  EXPECT_FALSE(plat::JTCInitialize::initialized());
  // A second detach finds nothing to end.
  EXPECT_EQ(frame::libraryEntryPoint(nullptr, frame::DLL_PROCESS_DETACH, nullptr), 1);

  // Attach again: the thread library restarts, and the log object is the one of before.
  EXPECT_EQ(frame::libraryEntryPoint(nullptr, frame::DLL_PROCESS_ATTACH, nullptr), 1);
  plat::setDebugOutputHook(nullptr);
  EXPECT_TRUE(plat::JTCInitialize::initialized());
  EXPECT_EQ(frame::libraryLog, basalt::getLogObject());
  const std::vector<std::string> expected = {"basalt: thread library ended\n",
                                             "basalt: thread library started\n",
                                             "basalt: ORB taken\n", "basalt: ORB released\n"};
  EXPECT_EQ(traced, expected);
}

} // namespace
