#include "basalt/logging/core_log.h"
#include "basalt/logging/core_log_impl.h"
#include "basalt/logging/log_app.h"
#include "log_sandbox.h"

#include <atomic>
#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace {

using basalt::CoreLog;
using basalt::CoreLogImpl;
using basalt::LogApp;

constexpr std::uint32_t registryEvent = 0xC2011F03;

// What a process without any log configuration sees, on any thread and from any log object.
void expectUnconfigured(CoreLog& log) {
  CoreLog::VerbosityType* verbosity = log.getModuleVerbosity("SUPPORT", "Synchronization");
  ASSERT_NE(verbosity, nullptr);
  EXPECT_EQ(*verbosity, CoreLog::VerbosityOff);
  for (int level = -1; level <= CoreLog::VerbosityAll + 1; ++level) {
    EXPECT_FALSE(log.log(registryEvent, static_cast<CoreLog::VerbosityType>(level), "SUPPORT", "",
                         0, nullptr));
  }
  KELPString text("kept");
  const unsigned short* inserts[] = {KELPString("A").c_str()};
  EXPECT_FALSE(log.get(text, registryEvent, 1, inserts));
  EXPECT_EQ(text.string(), "kept");
}

TEST(CoreLog, ProcessLogWithoutConfigurationRefusesEverything) {
  basalt::test::LogSandbox sandbox;
  CoreLog* log = basalt::getLogObject();
  ASSERT_NE(log, nullptr);
  EXPECT_EQ(basalt::getLogObject(), log);
  expectUnconfigured(*log);
  // A private log behaves the same, whatever its name.
  CoreLog named("ignored");
  expectUnconfigured(named);
}

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
        } else if (i % 3 == 1) {
          KELPString text;
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
  // A lost or doubly made implementation shows as a leak or a double free under ASan.
}

TEST(CoreLog, CopiesShareOneImplementation) {
  basalt::test::LogSandbox sandbox;
  CoreLog first;
  first.getModuleVerbosity("M", "");
  {
    CoreLog copy(first);
    expectUnconfigured(copy);
    CoreLog assigned;
    assigned.getModuleVerbosity("M", ""); // its own implementation goes on assignment
    assigned = copy;
    const CoreLog& same = assigned;
    assigned = same;
    expectUnconfigured(assigned);
  }
  expectUnconfigured(first);
}

// A table as the configuration would leave it: SUPPORT at 4, with Synchronization at 2 and
// Trace at 6; Zeta at 0.
class ConfiguredLog : public ::testing::Test {
protected:
  void SetUp() override {
    auto* support = new LogApp("SUPPORT");
    support->verbosity = CoreLog::VerbosityInformation;
    support->addComponent("Trace", CoreLog::VerbosityAll);
    support->addComponent("Synchronization", CoreLog::VerbosityError);
    impl.addModule(new LogApp("Zeta"));
    impl.addModule(support);
    impl.addModule(new LogApp("Alpha"));
    impl.maxVerbosity = CoreLog::VerbosityAll;
  }

  bool write(CoreLog::VerbosityType level, const char* module, const char* component) {
    return impl.writeRecord(registryEvent, level, module, component, 0, nullptr);
  }

  basalt::test::LogSandbox sandbox; // made before impl, which reads the registry
  CoreLogImpl impl;
};

TEST_F(ConfiguredLog, TablesStaySortedAndLookupIsExact) {
  ASSERT_EQ(impl.modules.size(), 3u);
  EXPECT_EQ(impl.modules[0]->name.string(), "Alpha");
  EXPECT_EQ(impl.modules[1]->name.string(), "SUPPORT");
  EXPECT_EQ(impl.modules[2]->name.string(), "Zeta");
  LogApp* support = impl.findModule("SUPPORT");
  ASSERT_NE(support, nullptr);
  EXPECT_EQ(support->componentCount, 2);
  EXPECT_EQ(support->components[0]->name.string(), "Synchronization");
  EXPECT_EQ(impl.findModule("support"), nullptr); // case-sensitive
  EXPECT_EQ(impl.findModule("SUPPORTS"), nullptr);

  LogApp* found = support;
  EXPECT_EQ(*impl.findVerbosity("Nowhere", "Trace", &found), CoreLog::VerbosityOff);
  EXPECT_EQ(found, nullptr);
  EXPECT_EQ(impl.findVerbosity("SUPPORT", "Unknown", &found), &support->verbosity);
  EXPECT_EQ(found, support);
}

TEST_F(ConfiguredLog, ComponentThresholdReplacesTheModules) {
  EXPECT_TRUE(write(CoreLog::VerbosityInformation, "SUPPORT", ""));
  EXPECT_FALSE(write(CoreLog::VerbosityDetail, "SUPPORT", ""));
  EXPECT_TRUE(write(CoreLog::VerbosityError, "SUPPORT", "Synchronization"));
  EXPECT_FALSE(write(CoreLog::VerbosityWarning, "SUPPORT", "Synchronization"));
  EXPECT_TRUE(write(CoreLog::VerbosityDetail, "SUPPORT", "Trace"));
  // Above Detail only a log file takes a record; there is none.
  EXPECT_FALSE(write(CoreLog::VerbosityAll, "SUPPORT", "Trace"));
  EXPECT_FALSE(write(CoreLog::VerbosityCritical, "Zeta", ""));
  EXPECT_FALSE(write(CoreLog::VerbosityCritical, "support", ""));
  EXPECT_FALSE(write(CoreLog::VerbosityCritical, "Unknown", "Trace"));
  EXPECT_FALSE(write(CoreLog::VerbosityOff, "SUPPORT", ""));
  EXPECT_FALSE(write(static_cast<CoreLog::VerbosityType>(-1), "SUPPORT", ""));

  // The pointer handed out is the live entry.
  *impl.getVerbosity("SUPPORT", "Synchronization") = CoreLog::VerbosityDetail;
  EXPECT_TRUE(write(CoreLog::VerbosityDetail, "SUPPORT", "Synchronization"));
}

TEST_F(ConfiguredLog, GateRefusesAboveMaximumWithoutTheLock) {
  impl.maxVerbosity = CoreLog::VerbosityInformation;
  std::promise<void> locked;
  std::promise<void> done;
  std::thread holder([&] {
    basalt::PavaneSynchronized lock(*impl.mutex);
    locked.set_value();
    done.get_future().wait();
  });
  locked.get_future().wait();
  // Blocks on the held mutex unless the gate decides first.
  auto refused = std::async(std::launch::async,
                            [&] { return write(CoreLog::VerbosityDetail, "SUPPORT", "Trace"); });
  const bool decided = refused.wait_for(std::chrono::seconds(30)) == std::future_status::ready;
  done.set_value();
  holder.join();
  EXPECT_TRUE(decided);
  EXPECT_FALSE(refused.get());
}

} // namespace
