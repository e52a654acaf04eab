#include "basalt/logging/core_log.h"
#include "basalt/logging/core_log_impl.h"
#include "log_sandbox.h"

#include <atomic>
#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace {

using basalt::CoreLog;
using basalt::test::registryEvent;

// A lost or doubly made implementation shows as a leak or a double free under ASan.
TEST(CoreLog, ConcurrentFirstUseMakesOneUsableImplementation) {
  basalt::test::LogSandbox sandbox;
  constexpr int threadCount = 8;
  for (int round = 0; round < 20; ++round) {
    CoreLog log;
    std::atomic<int> waiting{threadCount};
    std::vector<std::thread> threads;
    threads.reserve(threadCount);
    std::vector<CoreLog::VerbosityType*> seen(threadCount);
    for (int i = 0; i < threadCount; ++i) {
      threads.emplace_back([&, i] {
        waiting.fetch_sub(1);
        while (waiting.load() > 0) {
        }
        // Different entry points race into the first use.
        if (i % 3 == 0) {
          EXPECT_FALSE(log.log(registryEvent, CoreLog::VerbosityError, "M", "C", 0, nullptr));
        } else if (KELPString text; i % 3 == 1) {
          EXPECT_FALSE(log.get(text, registryEvent, 0, nullptr));
        }
        seen[i] = log.getModuleVerbosity("M", "C");
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
    for (CoreLog::VerbosityType* verbosity : seen) {
      ASSERT_NE(verbosity, nullptr);
      EXPECT_EQ(*verbosity, CoreLog::VerbosityOff);
    }
  }
}

TEST(CoreLog, GateRefusesAboveTheHighestThresholdWithoutTheLock) {
  basalt::test::LogSandbox sandbox;
  sandbox.configure(basalt::test::logKey("Modules\\SUPPORT") + basalt::test::verbosity("4"));
  basalt::CoreLogImpl impl;
  ASSERT_EQ(impl.maxVerbosity, CoreLog::VerbosityInformation);
  std::future<bool> refused;
  bool decided = false;
  {
    basalt::PavaneSynchronized lock(*impl.mutex);
    // Blocks on the held mutex unless the gate decides first.
    refused = std::async(std::launch::async, [&] {
      return impl.writeRecord(registryEvent, CoreLog::VerbosityDetail, "SUPPORT", "", 0, nullptr);
    });
    decided = refused.wait_for(std::chrono::seconds(30)) == std::future_status::ready;
  }
  EXPECT_TRUE(decided);
  EXPECT_FALSE(refused.get());
}

} // namespace
