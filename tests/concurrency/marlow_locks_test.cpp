#include "basalt/concurrency/marlow_thread_library.h"
#include "basalt/concurrency/marlow_verbose_synchronized.h"
#include "basalt/frame/library_entry.h"
#include "basalt/frame/static/static_objects.h"
#include "basalt/logging/core_log.h"
#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/threads/jtc_exceptions.h"

// Needs the string and log headers above.
#include "logging/log_sandbox.h"
#include "support/bounded_wait.h"

#include <future>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

namespace plat = basalt::platform;
using basalt::MarlowMonitor;
using basalt::MarlowMutex;
using basalt::MarlowRecursiveMutex;
using basalt::MarlowSynchronized;
using basalt::MarlowVerboseSynchronized;

// Which of the three locks another thread can take at this moment.
std::string freeForOthers(MarlowMutex& mutex, MarlowRecursiveMutex& recursive,
                          MarlowMonitor& monitor) {
  return std::async(std::launch::async,
                    [&] {
                      std::string free;
                      if (plat::TryEnterCriticalSection(mutex.criticalSection())) {
                        plat::LeaveCriticalSection(mutex.criticalSection());
                        free += "mutex ";
                      }
                      if (recursive.trylock()) {
                        recursive.unlock();
                        free += "recursive ";
                      }
                      if (monitor.lock(true)) {
                        monitor.unlock();
                        free += "monitor";
                      }
                      return free;
                    })
      .get();
}

// Each kind of guard holds its lock for the scope, needs each taking released, and releases
// also when an exception leaves the scope. The thread library's errors reach the caller
// unchanged: only the owner may unlock, wait or notify.
TEST(MarlowSynchronized, EveryKindReleasesItsOwnLock) {
  MarlowMutex mutex;
  MarlowRecursiveMutex recursive;
  MarlowMonitor monitor;
  EXPECT_THROW(
      {
        MarlowSynchronized a(mutex);
        MarlowSynchronized b(recursive);
        MarlowSynchronized c(monitor);
        {
          MarlowSynchronized again(mutex);
          MarlowSynchronized againRecursive(recursive);
          MarlowSynchronized againMonitor(monitor);
        }
        EXPECT_EQ(freeForOthers(mutex, recursive, monitor), "");
        EXPECT_THROW(std::async(std::launch::async, [&] { recursive.unlock(); }).get(),
                     plat::JTCIllegalMonitorStateException);
        EXPECT_TRUE(recursive.trylock()); // the owner re-enters
        recursive.unlock();
        monitor.wait(0); // the guard's hold is the monitor's own lock
        throw std::runtime_error("leaves the scope");
      },
      std::runtime_error);
  EXPECT_EQ(freeForOthers(mutex, recursive, monitor), "mutex recursive monitor");
  EXPECT_THROW(monitor.notify(), plat::JTCIllegalMonitorStateException);
  EXPECT_THROW(monitor.wait(), plat::JTCIllegalMonitorStateException);
  EXPECT_THROW(monitor.unlock(), plat::JTCIllegalMonitorStateException);
  EXPECT_THROW(recursive.unlock(), plat::JTCIllegalMonitorStateException);
}

// The first hold starts the thread library and the last ends it, from any thread; copies
// share a hold. A thread the library didn't start is known while any copy of its adoption
// lives.
TEST(MarlowInitialize, FirstHoldStartsAndLastEndsFromAnyThreadAndAdoptionsShareOne) {
  // This executable's own process attach holds the library; give it back for the test.
  basalt::frame::libraryEntryPoint(nullptr, basalt::frame::DLL_PROCESS_DETACH, nullptr);
  ASSERT_FALSE(plat::JTCInitialize::initialized());
  EXPECT_FALSE(plat::JTCInitialize::getTermGroup());
  {
    const basalt::MarlowInitialize outer;
    std::thread threads[4];
    for (std::thread& thread : threads) {
      thread = std::thread([] {
        for (int i = 0; i < 2000; ++i) {
          basalt::MarlowInitialize inner;
          basalt::MarlowInitialize copy(inner);
          copy = inner;
        }
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
    EXPECT_TRUE(plat::JTCInitialize::getTermGroup());
    std::thread([] {
      auto adopt = std::make_unique<basalt::MarlowAdoptCurrentThread>();
      plat::JTCThread* self = plat::JTCThread::currentThread();
      ASSERT_NE(self, nullptr);
      EXPECT_TRUE(self->isAlive());
      {
        const basalt::MarlowAdoptCurrentThread nested;
        basalt::MarlowAdoptCurrentThread copy(*adopt);
        copy = nested;
        adopt.reset();
        EXPECT_EQ(plat::JTCThread::currentThread(), self);
      }
      EXPECT_EQ(plat::JTCThread::currentThread(), nullptr);
    }).join();
  }
  EXPECT_FALSE(plat::JTCInitialize::initialized());
  basalt::frame::libraryEntryPoint(nullptr, basalt::frame::DLL_PROCESS_ATTACH, nullptr);
}

// The library's log, configured for SUPPORT/Synchronization at 5 with the records' texts,
// records who asks for, holds and releases a lock.
TEST(MarlowVerboseSynchronized, RecordsAskingHoldingAndReleasingWithTheThreadAndName) {
  using namespace basalt::test;
  LogSandbox sandbox;
  sandbox.configure(logKey() + "\"Location\"=" + regPath(BASALT_SYNCHRONIZATION_MESSAGES_DIR) +
                    "\"LogFile\"=" + regPath(sandbox.scratch.os("locks.log")) +
                    logKey("Modules\\SUPPORT") + verbosity("1") +
                    logKey("Modules\\SUPPORT\\Components\\Synchronization") + verbosity("5"));
  basalt::CoreLog log;
  basalt::CoreLog* const saved = std::exchange(basalt::frame::libraryLog, &log);
  // The log's lines without their time stamps.
  const auto texts = [&] {
    std::vector<std::string> result;
    for (const std::string& line : sandbox.lines("locks.log")) {
      result.push_back(line.substr(line.find(": ") + 2));
    }
    return result;
  };
  MarlowMutex mutex;
  const std::string self = std::to_string(plat::GetCurrentThreadId()).substr(0, 8);
  std::string other;
  std::thread waiter;
  {
    MarlowVerboseSynchronized outer(mutex, "tables");
    {
      MarlowVerboseSynchronized unnamed(mutex, ""); // re-entered at once
    }
    waiter = std::thread([&] {
      other = std::to_string(plat::GetCurrentThreadId()).substr(0, 8);
      MarlowVerboseSynchronized blocked(mutex, nullptr);
    });
    // The waiter's first record comes before its lock: it shows while this scope holds.
    basalt::test::await([&] { return texts().size() >= 6; });
  }
  waiter.join();
  basalt::frame::libraryLog = saved;
  const auto line = [](const std::string& thread, const std::string& what) {
    return "SUPPORT: thread " + thread + " " + what + " lock ";
  };
  EXPECT_EQ(texts(), (std::vector<std::string>{
                         line(self, "asks for") + "tables", line(self, "holds") + "tables",
                         line(self, "asks for"), line(self, "holds"), line(self, "releases"),
                         line(other, "asks for"), line(self, "releases") + "tables",
                         line(other, "holds"), line(other, "releases")}));
}

} // namespace
