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

// Each kind of guard holds its lock for the scope, re-entered or not, and releases it also
// when an exception leaves the scope.
TEST(MarlowSynchronized, EveryKindReleasesItsOwnLock) {
  MarlowMutex mutex;
  MarlowRecursiveMutex recursive;
  MarlowMonitor monitor;
  EXPECT_THROW(
      {
        MarlowSynchronized a(mutex);
        { MarlowSynchronized inner(mutex); }
        MarlowSynchronized b(recursive);
        MarlowSynchronized c(monitor);
        MarlowSynchronized again(monitor);
        EXPECT_EQ(freeForOthers(mutex, recursive, monitor), "");
        monitor.wait(0); // the guard's hold is the monitor's own lock
        throw std::runtime_error("leaves the scope");
      },
      std::runtime_error);
  EXPECT_EQ(freeForOthers(mutex, recursive, monitor), "mutex recursive monitor");
  // The thread library's errors reach the caller unchanged.
  EXPECT_THROW(monitor.notify(), plat::JTCIllegalMonitorStateException);
}

TEST(MarlowInitialize, CopiesShareOneHoldOnTheThreadLibrary) {
  basalt::frame::libraryEntryPoint(nullptr, basalt::frame::DLL_PROCESS_DETACH, nullptr);
  {
    basalt::MarlowInitialize first;
    {
      basalt::MarlowInitialize copy(first);
      basalt::MarlowInitialize assigned;
      assigned = copy;
      copy = assigned;
    }
    EXPECT_TRUE(plat::JTCInitialize::initialized());
    std::thread([] {
      basalt::MarlowAdoptCurrentThread adopt;
      basalt::MarlowAdoptCurrentThread copy(adopt);
      copy = adopt;
      EXPECT_NE(plat::JTCThread::currentThread(), nullptr);
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
