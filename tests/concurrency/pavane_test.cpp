#include "basalt/concurrency/cond_args.h"
#include "basalt/concurrency/flag.h"
#include "basalt/concurrency/pavane_condition.h"
#include "basalt/concurrency/pavane_mutex.h"
#include "basalt/concurrency/pavane_thread.h"
#include "basalt/errors/base_error.h"
#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/threads/jtc_exceptions.h"
#include "basalt/platform/threads/thread_interruption.h"
#include "support/bounded_wait.h"

#include <algorithm>
#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace {

namespace plat = basalt::platform;
using basalt::CondArgs;
using basalt::Flag;
using basalt::PavaneCondition;
using basalt::PavaneMutex;
using basalt::PavaneSynchronized;
using basalt::PavaneThread;
using basalt::test::await;
using basalt::test::finish;
using basalt::test::startBlocked;

// Interrupts a thread blocked in the thread library count times, and waits until it has
// absorbed them all and blocks again.
void interruptBlocked(plat::DWORD id, unsigned int count) {
  plat::interruptThread(id, count);
  await([&] { return plat::pendingInterruptions(id) == 0 && plat::blockedInThreadLibrary(id); });
}

TEST(Flag, ValueWaitsForTheHolderOfTheMutexAndReentersForIt) {
  PavaneMutex mutex;
  Flag flag(&mutex, 0);
  std::future<int> reader;
  {
    PavaneSynchronized guard(mutex);
    EXPECT_EQ(flag.value(), 0); // the holder reads without blocking
    reader = std::async(std::launch::async, [&] { return flag.value(); });
    EXPECT_EQ(reader.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    flag.set(1);
  }
  EXPECT_EQ(reader.get(), 1); // the value written before the holder let go
}

// Two threads hand a turn back and forth many times through one CondArgs, one waking the
// other by signal, the other by broadcast: a wake-up lost between a test and its wait hangs.
TEST(CondArgs, HandOffLosesNoWakeUp) {
  CondArgs meeting;
  constexpr int rounds = 20000;
  std::thread other([&] {
    for (int i = 0; i < rounds; ++i) {
      meeting.lock();
      while (meeting.flag() != 1) {
        meeting.wait();
      }
      meeting.setFlag(0);
      meeting.broadcast();
      meeting.unlock();
    }
  });
  finish("a hand-off", [&] {
    for (int i = 0; i < rounds; ++i) {
      meeting.lock();
      meeting.setFlag(1);
      meeting.signal();
      while (meeting.flag() != 0) {
        meeting.wait();
      }
      meeting.unlock();
    }
    other.join();
  });
}

// Waits at the gate, then gives back its argument plus one.
class Worker : public PavaneThread {
public:
  Worker(int* arg, std::shared_future<void> gate) : PavaneThread(arg), gate(std::move(gate)) {}
  void* work(void* arg) override {
    gate.wait();
    return static_cast<int*>(arg) + 1;
  }

private:
  std::shared_future<void> gate;
};

// However many interruptions reach the joining thread, join returns only once the thread has
// ended. A refused priority is a BaseError of the thread module while the thread lives, the
// thread library's error after. work gets the argument also when run on the caller's thread.
TEST(PavaneThread, JoinAbsorbsInterruptionsAndPriorityErrorsFollowTheThreadsLife) {
  int arg = 0;
  std::promise<void> open;
  plat::JTCHandleT<Worker> thread(new Worker(&arg, open.get_future().share()));
  thread->start_undetached();
  thread->set_priority(0);
  try {
    thread->set_priority(7);
    ADD_FAILURE() << "priority 7 accepted";
  } catch (const BaseError& error) {
    EXPECT_EQ(error.code(), 0x2017053u);
    EXPECT_EQ(error.module().string(), "Thread");
    EXPECT_EQ(error.level(), BaseError::SeverityWarning);
  }
  plat::DWORD joinerId = 0;
  auto joiner = startBlocked([&] { thread->join(nullptr); }, &joinerId);
  interruptBlocked(joinerId, 3); // and so it waits on
  open.set_value();
  finish("a join", [&] { joiner.get(); });
  EXPECT_FALSE(thread->isAlive());
  EXPECT_THROW(thread->set_priority(0), plat::JTCIllegalThreadStateException);
  EXPECT_EQ(thread->run_undetached(), &arg + 1);
}

// A signal wakes the longest waiter alone: at once, or, when the signaller holds the mutex, as
// the mutex is left; two signals in one hold wake two. Interruptions of a waiter are absorbed
// and it waits on, until a broadcast wakes everyone left.
TEST(PavaneCondition, SignalWakesOneWaiterInTurnAndBroadcastTheRest) {
  PavaneMutex mutex;
  PavaneCondition condition(&mutex);
  std::vector<int> woken; // under mutex
  constexpr int waiterCount = 5;
  std::future<void> waiters[waiterCount];
  plat::DWORD ids[waiterCount] = {};
  for (int i = 0; i < waiterCount; ++i) { // each waits before the next comes
    waiters[i] = startBlocked(
        [&, i] {
          PavaneSynchronized guard(mutex);
          condition.wait();
          woken.push_back(i);
        },
        &ids[i]);
  }
  const auto wokenCount = [&] {
    PavaneSynchronized guard(mutex);
    return woken.size();
  };
  {
    PavaneSynchronized guard(mutex);
    condition.signal();
  }
  await([&] { return wokenCount() == 1; });
  condition.signal(); // without the mutex
  await([&] { return wokenCount() == 2; });
  {
    PavaneSynchronized guard(mutex);
    condition.signal();
    condition.signal();
  }
  await([&] { return wokenCount() == 4; });
  interruptBlocked(ids[4], 2); // and so it waits on
  condition.broadcast();
  finish("a waiter", [&] {
    for (auto& waiter : waiters) {
      waiter.get();
    }
  });
  // The two woken in one hold of the mutex race for it.
  std::sort(woken.begin() + 2, woken.begin() + 4);
  EXPECT_EQ(woken, (std::vector<int>{0, 1, 2, 3, 4}));
}

// An interruption of a timed wait starts the time again: the wait ends no earlier than a whole
// time-out after the interruption. A wait that returned on the interruption, or kept its
// first deadline, would end sooner. Any other failure passes to the caller, with neither lock
// held.
TEST(PavaneCondition, TimedWaitStartsAgainWhenInterruptedAndPassesOtherFailures) {
  constexpr plat::LONG timeout = 500;
  PavaneMutex mutex;
  PavaneCondition condition(&mutex);
  std::chrono::steady_clock::time_point returned;
  plat::DWORD waiterId = 0;
  auto waiter = startBlocked(
      [&] {
        PavaneSynchronized guard(mutex);
        condition.wait(timeout);
        returned = std::chrono::steady_clock::now();
      },
      &waiterId);
  std::this_thread::sleep_for(std::chrono::milliseconds(timeout / 10));
  const auto interrupted = std::chrono::steady_clock::now();
  plat::interruptThread(waiterId);
  finish("a timed wait", [&] { waiter.get(); });
  EXPECT_EQ(plat::pendingInterruptions(waiterId), 0u);
  EXPECT_GE(returned - interrupted, std::chrono::milliseconds(timeout));

  plat::EnterCriticalSection(mutex.criticalSection());
  EXPECT_THROW(condition.wait(-1), plat::JTCIllegalArgumentException);
  finish("a thread taking both locks", [&] {
    PavaneSynchronized guard(mutex);
    EXPECT_TRUE(condition.lock(true));
    condition.unlock();
  });
}

} // namespace
