#include "basalt/concurrency/thread_registry.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <thread>

namespace {

using basalt::ThreadRegistry;

TEST(ThreadRegistry, DepthCountsNestedCallsAndRecordsOutliveDepthZero) {
  ThreadRegistry registry;
  int context = 0;
  registry.setThisThreadContext(&context); // no record yet: kept nowhere
  EXPECT_EQ(registry.getThisThreadContext(), nullptr);

  EXPECT_EQ(registry.registerThread(), registry.getThisId());
  registry.registerThread();
  registry.setThisThreadContext(&context);
  registry.setThisThreadNovi(0xBEEF);
  EXPECT_EQ(registry.depth(), 2u);
  registry.unregisterThread();
  registry.unregisterThread(registry.getThisId());
  EXPECT_EQ(registry.depth(), 0u);
  EXPECT_EQ(registry.getThisThreadContext(), &context); // the record stays
  registry.decreaseDepth();
  EXPECT_EQ(registry.depth(), std::numeric_limits<std::uint32_t>::max());

  for (int i = 0; i < 4; ++i) {
    registry.increaseDepth(); // wraps round to 3
  }
  EXPECT_EQ(registry.depth(), 3u);
  registry.registerLUMAThread();
  EXPECT_EQ(registry.depth(), 1u);
  EXPECT_EQ(registry.getThisThreadNovi(), 0xBEEF); // the same record
  registry.unregisterLUMAThread();
  EXPECT_EQ(registry.depth(), 0u);
  EXPECT_EQ(registry.getThisThreadContext(), nullptr);
}

// The first NOVI caller gets a record of its own, found ahead of the list for the life of the
// registry, also once the list no longer holds it; everybody else is a plain record.
TEST(ThreadRegistry, OnlyTheFirstNoviThreadIsKeptApart) {
  ThreadRegistry registry;
  registry.registerThread();
  registry.registerThread();
  registry.setThisThreadNovi(7);
  registry.registerNOVIThread(); // a second record, which from now on is the one found
  EXPECT_EQ(registry.depth(), 1u);
  EXPECT_EQ(registry.getThisThreadNovi(), 0);

  std::uint32_t other = 0;
  std::thread([&] {
    other = registry.registerNOVIThread();
    registry.registerNOVIThread();
  }).join();
  EXPECT_EQ(registry.depth(other), 2u);
  registry.unregisterLUMAThread(other); // a plain record goes altogether
  EXPECT_EQ(registry.depth(other), 0u);

  // Taking the first listed record of this thread (the plain one) leaves the NOVI record.
  registry.unregisterLUMAThread();
  EXPECT_EQ(registry.depth(), 1u);
  registry.setThisThreadNovi(3);
  registry.unregisterLUMAThread(); // now the NOVI record leaves the list
  EXPECT_EQ(registry.getThisThreadNovi(), 3);
  // So a LUMA registration makes a further record, which the NOVI record still hides from
  // every other operation.
  registry.registerLUMAThread();
  registry.registerLUMAThread();
  EXPECT_EQ(registry.depth(), 1u);
  registry.increaseDepth();
  EXPECT_EQ(registry.depth(), 2u);
} // the leak check of the sanitizer builds sees whether the detached record was freed

TEST(ThreadRegistry, ThreadsRegisterAndReachEachOthersRecordsConcurrently) {
  ThreadRegistry registry;
  const std::uint32_t main = registry.registerNOVIThread();
  std::thread threads[8];
  std::uint32_t ids[8] = {};
  for (int i = 0; i < 8; ++i) {
    threads[i] = std::thread([&, i] {
      ids[i] = registry.registerThread();
      for (int round = 0; round < 500; ++round) {
        registry.registerThread();
        registry.increaseDepth(main);
        registry.setThisThreadContext(&ids[i]);
        registry.unregisterThread();
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(registry.depth(), 1u + 8 * 500);
  for (std::uint32_t& id : ids) {
    EXPECT_EQ(registry.depth(id), 1u);
    EXPECT_EQ(registry.getThisThreadContext(id), &id);
  }
}

} // namespace
