#include "basalt/logging/core_log.h"
#include "log_sandbox.h"

#include <atomic>
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

} // namespace
