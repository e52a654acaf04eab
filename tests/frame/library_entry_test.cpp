#include "basalt/frame/library_entry.h"
#include "basalt/frame/static/static_objects.h"
#include "basalt/logging/core_log.h"

#include <gtest/gtest.h>

namespace {

namespace frame = basalt::frame;
namespace plat = basalt::platform;

// The test executable carries the library's objects, so its own load ran process attach. What
// attach and detach start and end, in which order, the load order test sees in a real load.
TEST(LibraryEntry, ThreadReasonsDoNothingAndDetachEndsTheThreadLibraryButNotTheLog) {
  plat::JTCInitialize* const before = frame::threadLibraryInit;
  ASSERT_NE(before, nullptr);
  ASSERT_EQ(frame::libraryLog, basalt::getLogObject());
  EXPECT_EQ(frame::libraryEntryPoint(nullptr, frame::DLL_THREAD_ATTACH, nullptr), 1);
  EXPECT_EQ(frame::libraryEntryPoint(nullptr, frame::DLL_THREAD_DETACH, nullptr), 1);
  EXPECT_EQ(frame::threadLibraryInit, before);

  EXPECT_EQ(frame::libraryEntryPoint(nullptr, frame::DLL_PROCESS_DETACH, nullptr), 1);
  EXPECT_EQ(frame::threadLibraryInit, nullptr);
  EXPECT_FALSE(plat::JTCInitialize::initialized());
  // A second detach finds nothing to end.
  EXPECT_EQ(frame::libraryEntryPoint(nullptr, frame::DLL_PROCESS_DETACH, nullptr), 1);

  // Attach again: the thread library restarts, and the log object is the one of before.
  EXPECT_EQ(frame::libraryEntryPoint(nullptr, frame::DLL_PROCESS_ATTACH, nullptr), 1);
  EXPECT_TRUE(plat::JTCInitialize::initialized());
  EXPECT_EQ(frame::libraryLog, basalt::getLogObject());
}

} // namespace
