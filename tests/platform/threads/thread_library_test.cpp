// The thread library's rules that the concurrency module's classes don't show: handles and
// thread objects across threads, thread names and notices, and a wait's interruption before
// PavaneThread and PavaneCondition absorb it. Starting and ending the library, adopted threads
// and who may unlock or wait are checked through the Marlow classes in tests/concurrency.

#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/runtime/orb.h"
#include "basalt/platform/threads/jtc_exceptions.h"
#include "basalt/platform/threads/jtc_monitor.h"
#include "basalt/platform/threads/jtc_thread.h"
#include "basalt/platform/threads/thread_interruption.h"
#include "basalt/platform/threads/thread_library.h"
#include "support/bounded_wait.h"

#include <atomic>
#include <future>
#include <gtest/gtest.h>
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

std::atomic<int> countedAlive{0};
struct Counted : plat::JTCRefCount {
  Counted() { ++countedAlive; }
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;
  ~Counted() override { --countedAlive; }
};

// Copies made and dropped on many threads at once: a lost count shows as a leak or a double
// delete under the sanitizers.
TEST(JTCHandleT, LastHandleDeletesOnceWhateverThreadLetsGo) {
  for (int round = 0; round < 20; ++round) {
    plat::JTCHandleT<Counted> shared(new Counted);
    shared = shared.get(); // the same pointer or handle: nothing changes
    shared = static_cast<const plat::JTCHandleT<Counted>&>(shared);
    onThreads(4, [copy = shared] {
      for (int i = 0; i < 500; ++i) {
        plat::JTCHandleT<Counted> local;
        local = copy;
        const plat::JTCHandleT<plat::JTCRefCount> base(local);
        plat::JTCHandleT<Counted> other(local);
        other = nullptr;
      }
    });
    EXPECT_EQ(shared->refCount(), 1);
  }
  EXPECT_EQ(countedAlive.load(), 0);
}

// Records on itself the name the system shows and whether it may join itself, then runs
// until it is let go; tells when its object is destroyed.
class ProbeThread : public plat::JTCThread {
public:
  ProbeThread(std::shared_future<void> gate, std::promise<void>* destroyed,
              plat::JTCHandleT<plat::JTCThreadGroup> group = plat::JTCInitialize::getTermGroup())
      : JTCThread(group, "probe-thread-with-a-long-name"), gate(std::move(gate)),
        destroyed(destroyed) {}
  ProbeThread(const ProbeThread&) = delete;
  ProbeThread& operator=(const ProbeThread&) = delete;
  ~ProbeThread() override { destroyed->set_value(); }

  void run() override {
    char name[16] = {};
    pthread_getname_np(pthread_self(), name, sizeof name);
    systemName = name;
    EXPECT_THROW(join(), plat::JTCIllegalThreadStateException);
    gate.wait();
  }

  static std::string systemName;

private:
  std::shared_future<void> gate;
  std::promise<void>* destroyed;
};
std::string ProbeThread::systemName;

std::vector<std::string> notices;
std::mutex noticesLock;
void recordNotice(bool attached) {
  const std::lock_guard<std::mutex> hold(noticesLock);
  const plat::JTCThread* current = plat::JTCThread::currentThread();
  notices.push_back(std::string(attached ? "attach" : "detach") +
                    (current != nullptr && current->isAlive() ? " on the thread" : " elsewhere"));
}

// The notice comes on the new thread around run(), and a started thread holds its object
// until run() has returned, after the last outside handle is gone.
TEST(JTCThread, StartsOnceNamesItselfAndKeepsItsObjectUntilRunReturns) {
  notices.clear();
  const plat::ThreadNotice before = plat::setThreadNotice(recordNotice);
  ASSERT_NE(before, nullptr); // the library's entry point listens
  std::promise<void> open;
  std::promise<void> destroyed;
  std::future<void> gone = destroyed.get_future();
  {
    plat::JTCHandleT<ProbeThread> thread(new ProbeThread(open.get_future().share(), &destroyed));
    thread->join(); // never started: at once
    thread->start();
    EXPECT_THROW(thread->start(), plat::JTCIllegalThreadStateException);
  }
  EXPECT_EQ(gone.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  open.set_value();
  gone.wait();
  std::thread([] {}).join(); // not the thread library's: no notice
  EXPECT_EQ(plat::setThreadNotice(before), &recordNotice);
  EXPECT_EQ(ProbeThread::systemName, "probe-thread-wi");
  EXPECT_EQ(notices, (std::vector<std::string>{"attach on the thread", "detach on the thread"}));
}

// A live interruption of a blocked wait is seen through PavaneThread::join and
// PavaneCondition, which absorb it.
TEST(ThreadInterruption, PendingInterruptionsEndWaitsWithTheLockHeld) {
  plat::JTCMonitor monitor;
  const plat::DWORD self = plat::GetCurrentThreadId();
  plat::interruptThread(self, 2);
  monitor.lock();
  EXPECT_THROW(monitor.wait(), plat::JTCInterruptedException);
  EXPECT_THROW(monitor.wait(100000), plat::JTCInterruptedException);
  EXPECT_EQ(plat::pendingInterruptions(self), 0u);
  monitor.unlock(); // still held after the throws
  EXPECT_THROW(monitor.unlock(), plat::JTCIllegalMonitorStateException);
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
