// The thread library's rules that the concurrency module's classes don't show: starting and
// ending it from many threads, handles and thread objects across threads, who may unlock or
// wait, and the interruption hook. The order of wake-ups and the priority errors are checked
// through PavaneCondition and PavaneThread in tests/concurrency.

#include "basalt/frame/library_entry.h"
#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/runtime/orb.h"
#include "basalt/platform/threads/jtc_exceptions.h"
#include "basalt/platform/threads/jtc_monitor.h"
#include "basalt/platform/threads/jtc_mutex.h"
#include "basalt/platform/threads/jtc_thread.h"
#include "basalt/platform/threads/thread_interruption.h"
#include "basalt/platform/threads/thread_library.h"
#include "support/bounded_wait.h"

#include <atomic>
#include <future>
#include <gtest/gtest.h>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace plat = basalt::platform;
using basalt::test::await;
using basalt::test::startBlocked;

template <class Work> void onThreads(int count, Work work) {
  std::vector<std::thread> threads;
  threads.reserve(count);
  for (int i = 0; i < count; ++i) {
    threads.emplace_back(work);
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

TEST(JTCInitialize, FirstObjectStartsAndLastEndsFromAnyThread) {
  // This executable's own process attach holds the library; give it back for the test.
  basalt::frame::libraryEntryPoint(nullptr, basalt::frame::DLL_PROCESS_DETACH, nullptr);
  ASSERT_FALSE(plat::JTCInitialize::initialized());
  EXPECT_FALSE(plat::JTCInitialize::getTermGroup());
  {
    const plat::JTCInitialize outer;
    onThreads(4, [] {
      for (int i = 0; i < 2000; ++i) {
        plat::JTCInitialize inner;
        plat::JTCInitialize copy(inner); // shares the hold
        copy = inner;
      }
    });
    EXPECT_TRUE(plat::JTCInitialize::getTermGroup());
  }
  EXPECT_FALSE(plat::JTCInitialize::initialized());
  basalt::frame::libraryEntryPoint(nullptr, basalt::frame::DLL_PROCESS_ATTACH, nullptr);
  EXPECT_TRUE(plat::JTCInitialize::initialized());
}

std::atomic<int> countedAlive{0};
struct Counted : plat::JTCRefCount {
  Counted() { ++countedAlive; }
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;
  ~Counted() override { --countedAlive; }
};

TEST(JTCHandleT, LastHandleDeletesOnceWhateverThreadLetsGo) {
  {
    plat::JTCHandleT<Counted> first(new Counted);
    first = first.get(); // the same pointer or handle: nothing changes
    first = static_cast<const plat::JTCHandleT<Counted>&>(first);
    const plat::JTCHandleT<plat::JTCRefCount> base(first);
    plat::JTCHandleT<Counted> other = first;
    other = nullptr;
    EXPECT_EQ(first->refCount(), 2);
  }
  EXPECT_EQ(countedAlive.load(), 0);

  // Copies made and dropped on many threads at once: a lost count shows as a leak or a
  // double delete under the sanitizers.
  for (int round = 0; round < 20; ++round) {
    plat::JTCHandleT<Counted> shared(new Counted);
    onThreads(4, [copy = shared] {
      for (int i = 0; i < 500; ++i) {
        plat::JTCHandleT<Counted> local;
        local = copy;
        plat::JTCHandleT<Counted> other(local);
        other = nullptr;
      }
    });
    EXPECT_EQ(shared->refCount(), 1);
  }
  EXPECT_EQ(countedAlive.load(), 0);
}

// A thread that runs until it is let go, and tells when its object is destroyed.
class GatedThread : public plat::JTCThread {
public:
  GatedThread(plat::JTCHandleT<plat::JTCThreadGroup> group, std::shared_future<void> gate,
              std::promise<void>* destroyed)
      : JTCThread(group, "gated-thread-with-a-long-name"), gate(std::move(gate)),
        destroyed(destroyed) {}
  GatedThread(const GatedThread&) = delete;
  GatedThread& operator=(const GatedThread&) = delete;
  ~GatedThread() override {
    if (destroyed != nullptr) {
      destroyed->set_value();
    }
  }

  void run() override {
    char name[16] = {};
    pthread_getname_np(pthread_self(), name, sizeof name);
    systemName = name;
    gate.wait();
  }

  std::string systemName;

private:
  std::shared_future<void> gate;
  std::promise<void>* destroyed;
};

TEST(JTCThread, StartedThreadKeepsItsObjectUntilRunReturnsAndStartsOnce) {
  std::promise<void> open;
  std::promise<void> destroyed;
  std::future<void> gone = destroyed.get_future();
  {
    plat::JTCHandleT<GatedThread> thread(new GatedThread(plat::JTCInitialize::getTermGroup(),
                                                         open.get_future().share(), &destroyed));
    thread->start();
    EXPECT_THROW(thread->start(), plat::JTCIllegalThreadStateException);
  }
  // The last outside handle is gone; the thread still holds its object.
  EXPECT_EQ(gone.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  open.set_value();
  gone.wait();
}

TEST(JTCThread, JoinWaitsForRunAndNamesTheThread) {
  std::promise<void> open;
  auto group = plat::JTCInitialize::getTermGroup();
  plat::JTCHandleT<GatedThread> thread(new GatedThread(group, open.get_future().share(), nullptr));
  EXPECT_FALSE(thread->isAlive());
  thread->join(); // never started: at once
  thread->start();
  open.set_value();
  thread->join();
  EXPECT_FALSE(thread->isAlive());
  EXPECT_EQ(thread->systemName, "gated-thread-wi");
  thread->join();                                       // ended: at once
  EXPECT_EQ(plat::JTCThread::currentThread(), nullptr); // the test's own thread isn't known
}

class SelfJoiner : public plat::JTCThread {
public:
  explicit SelfJoiner(plat::JTCHandleT<plat::JTCThreadGroup> group) : JTCThread(group, nullptr) {}
  void run() override {
    try {
      join();
    } catch (const plat::JTCIllegalThreadStateException&) {
      refused = true;
    }
  }
  bool refused = false;
};

std::vector<std::string> notices;
std::mutex noticesLock;
void recordNotice(bool attached) {
  const std::lock_guard<std::mutex> hold(noticesLock);
  const plat::JTCThread* current = plat::JTCThread::currentThread();
  notices.push_back(std::string(attached ? "attach" : "detach") +
                    (current != nullptr && current->isAlive() ? " on the thread" : " elsewhere"));
}

TEST(JTCThread, NoticeComesOnTheNewThreadAroundRunAndSelfJoinIsRefused) {
  notices.clear();
  const plat::ThreadNotice before = plat::setThreadNotice(recordNotice);
  ASSERT_NE(before, nullptr); // the library's entry point listens
  auto group = plat::JTCInitialize::getTermGroup();
  plat::JTCHandleT<SelfJoiner> thread(new SelfJoiner(group));
  thread->start();
  thread->join();
  std::thread([] {}).join(); // not the thread library's: no notice
  EXPECT_EQ(plat::setThreadNotice(before), &recordNotice);
  EXPECT_TRUE(thread->refused);
  EXPECT_EQ(notices, (std::vector<std::string>{"attach on the thread", "detach on the thread"}));
}

TEST(JTCAdoptCurrentThread, MakesTheCallerKnownWhileAnyCopyLives) {
  std::thread([] {
    auto adopt = std::make_unique<plat::JTCAdoptCurrentThread>();
    plat::JTCThread* self = plat::JTCThread::currentThread();
    ASSERT_NE(self, nullptr);
    EXPECT_TRUE(self->isAlive());
    {
      const plat::JTCAdoptCurrentThread nested;
      const plat::JTCAdoptCurrentThread copy(*adopt);
      adopt.reset();
      EXPECT_EQ(plat::JTCThread::currentThread(), self);
    }
    EXPECT_EQ(plat::JTCThread::currentThread(), nullptr);
  }).join();
}

TEST(JTCMonitor, OnlyTheOwnerMayWaitOrUnlockAndEachLockNeedsItsUnlock) {
  plat::JTCMonitor monitor;
  EXPECT_THROW(monitor.unlock(), plat::JTCIllegalMonitorStateException);
  EXPECT_THROW(monitor.wait(), plat::JTCIllegalMonitorStateException);
  monitor.lock();
  monitor.lock();
  monitor.unlock();
  EXPECT_FALSE(std::async(std::launch::async, [&] { return monitor.lock(true); }).get());
  monitor.unlock();
  EXPECT_THROW(monitor.unlock(), plat::JTCIllegalMonitorStateException);
}

TEST(JTCRecursiveMutex, OwnerReentersAndOthersCannotUnlock) {
  plat::JTCFastRecursiveMutex mutex;
  mutex.lock();
  EXPECT_TRUE(mutex.trylock());
  EXPECT_THROW(std::async(std::launch::async, [&] { mutex.unlock(); }).get(),
               plat::JTCIllegalMonitorStateException);
  mutex.unlock();
  mutex.unlock();
  EXPECT_THROW(mutex.unlock(), plat::JTCIllegalMonitorStateException);
}

TEST(ThreadInterruption, PendingAndLiveInterruptionsEndWaitsWithTheLockHeld) {
  plat::JTCMonitor monitor;
  const plat::DWORD self = plat::GetCurrentThreadId();
  plat::interruptThread(self, 2);
  monitor.lock();
  EXPECT_THROW(monitor.wait(), plat::JTCInterruptedException);
  EXPECT_THROW(monitor.wait(100000), plat::JTCInterruptedException);
  EXPECT_EQ(plat::pendingInterruptions(self), 0u);
  monitor.unlock(); // still held after the throws
  EXPECT_THROW(monitor.unlock(), plat::JTCIllegalMonitorStateException);

  // A thread blocked now wakes and throws.
  plat::DWORD waiterId = 0;
  std::future<void> waiter = startBlocked(
      [&] {
        monitor.lock();
        EXPECT_THROW(monitor.wait(), plat::JTCInterruptedException);
        monitor.unlock();
      },
      &waiterId);
  plat::interruptThread(waiterId);
  waiter.get();
  EXPECT_EQ(plat::pendingInterruptions(waiterId), 0u);
}

TEST(ThreadInterruption, ANotifiedWaitKeepsItsNotificationAndTheInterruptionWaits) {
  plat::JTCMonitor monitor;
  std::promise<void> notifiedAndInterrupted;
  plat::DWORD waiterId = 0;
  std::future<void> waiter = startBlocked(
      [&] {
        monitor.lock();
        monitor.wait(); // must return: the notification came first
        notifiedAndInterrupted.get_future().wait();
        EXPECT_THROW(monitor.wait(), plat::JTCInterruptedException); // the next wait takes it
        monitor.unlock();
      },
      &waiterId);
  monitor.lock(); // the waiter can't take the lock back before the interruption lands
  monitor.notify();
  plat::interruptThread(waiterId);
  monitor.unlock();
  await([&] { return !plat::blockedInThreadLibrary(waiterId); });
  EXPECT_EQ(plat::pendingInterruptions(waiterId), 1u);
  notifiedAndInterrupted.set_value();
  waiter.get();
  EXPECT_EQ(plat::pendingInterruptions(waiterId), 0u);
}

// An assignment gives back what the variable held. Taking and giving back on many threads,
// also across the last release: a freed instance handed out again shows under the sanitizers.
TEST(CORBA_ORB, ReferencesAreCountedAndTheLastReleaseEndsTheInstance) {
  plat::OBRelease(nullptr);
  {
    plat::CORBA_ORB_var held;
    held = plat::CORBA_ORB::_OB_instance();
    held = plat::CORBA_ORB::_OB_instance();
    EXPECT_EQ(held.in()->_OB_getRef(), 1);
  }
  onThreads(4, [] {
    for (int i = 0; i < 2000; ++i) {
      plat::CORBA_ORB_var held;
      held = plat::CORBA_ORB::_OB_instance();
      EXPECT_GE(held.in()->_OB_getRef(), 1);
    }
  });
  plat::CORBA_ORB* fresh = plat::CORBA_ORB::_OB_instance();
  EXPECT_EQ(fresh->_OB_getRef(), 1);
  plat::OBRelease(fresh);
}

} // namespace
