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
#include <atomic>
#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <stdexcept>
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

// Whether another thread can take the mutex at this moment.
bool freeForOthers(PavaneMutex& mutex) {
  return std::async(std::launch::async,
                    [&] {
                      const bool taken = plat::TryEnterCriticalSection(mutex.criticalSection());
                      if (taken) {
                        plat::LeaveCriticalSection(mutex.criticalSection());
                      }
                      return taken;
                    })
      .get();
}

// The owner re-enters without blocking; the mutex is free only once the outer guard goes, also
// when an exception leaves both scopes.
TEST(PavaneMutex, ReenteredMutexIsFreeOnlyAfterTheOuterGuard) {
  PavaneMutex mutex;
  EXPECT_THROW(
      {
        PavaneSynchronized outer(mutex);
        { PavaneSynchronized inner(mutex); }
        EXPECT_FALSE(freeForOthers(mutex));
        PavaneSynchronized again(mutex);
        throw std::runtime_error("leaves both scopes");
      },
      std::runtime_error);
  EXPECT_TRUE(freeForOthers(mutex));
}

TEST(Flag, ValueWaitsForTheHolderOfTheMutexAndReentersForIt) {
  PavaneMutex mutex;
  Flag flag(&mutex, 0);
  EXPECT_EQ(flag.value(), 0);
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

// Two threads take turns through one CondArgs; the flag says whose turn it is.
TEST(CondArgs, TwoThreadsMeetOnTheFlag) {
  CondArgs meeting;
  constexpr int rounds = 2000;
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
  finish("a meeting", [&] {
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
  EXPECT_EQ(meeting.flag(), 0);
}

// Waits at the gate, then gives back its argument plus one.
class Worker : public PavaneThread {
public:
  Worker(int* arg, std::shared_future<void> gate) : PavaneThread(arg), gate(std::move(gate)) {}
  void* work(void* arg) override {
    gate.wait();
    ran = self() == this;
    return arg != nullptr ? static_cast<int*>(arg) + 1 : nullptr;
  }
  std::atomic<bool> ran{false};

private:
  std::shared_future<void> gate;
};

class MarlowBody : public basalt::MarlowThread {
public:
  explicit MarlowBody(int* arg) : MarlowThread(arg) {}
  void run() override { *static_cast<int*>(arg) = 42; }
};

// A PavaneThread's work gets the argument, on this thread or its own; a MarlowThread's body is
// its derived run.
TEST(PavaneThread, RunDispatchesToWorkWithTheArgument) {
  int values[2] = {};
  std::promise<void> open;
  open.set_value();
  plat::JTCHandleT<Worker> thread(new Worker(values, open.get_future().share()));
  EXPECT_EQ(thread->run_undetached(), values + 1); // on this thread
  EXPECT_FALSE(thread->ran);
  thread->start_undetached();
  thread->join(nullptr);
  EXPECT_TRUE(thread->ran);
  plat::JTCHandleT<MarlowBody> marlow(new MarlowBody(values));
  marlow->start();
  marlow->join();
  EXPECT_EQ(values[0], 42);
}

// However many interruptions reach the joining thread, join returns only once the thread
// has ended, and every interruption was thrown and absorbed on the way.
// However many interruptions reach the joining thread, join returns only once the thread has
// ended, and every interruption was thrown and absorbed on the way. A refused priority is a
// BaseError of the thread module while the thread lives, the thread library's error after.
TEST(PavaneThread, JoinAbsorbsInterruptionsAndPriorityErrorsFollowTheThreadsLife) {
  std::promise<void> open;
  plat::JTCHandleT<Worker> thread(new Worker(nullptr, open.get_future().share()));
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
  std::atomic<plat::DWORD> joinerId{0};
  std::atomic<bool> joined{false};
  std::thread joiner([&] {
    joinerId = plat::GetCurrentThreadId();
    thread->join(nullptr);
    joined = true;
  });
  await([&] { return joinerId != 0 && plat::blockedInThreadLibrary(joinerId); });
  plat::interruptThread(joinerId, 3);
  await([&] {
    return plat::pendingInterruptions(joinerId) == 0 && plat::blockedInThreadLibrary(joinerId);
  });
  EXPECT_FALSE(joined);
  open.set_value();
  joiner.join();
  EXPECT_FALSE(thread->isAlive());
  EXPECT_THROW(thread->set_priority(0), plat::JTCIllegalThreadStateException);
}

// Two threads hand a turn back and forth many times under one mutex with two conditions: a
// wake-up lost between a test and its wait fails the test.
TEST(PavaneCondition, HandOffLosesNoWakeUp) {
  PavaneMutex mutex;
  PavaneCondition pingReady(&mutex);
  PavaneCondition pongReady(&mutex);
  int turn = 0;
  constexpr int rounds = 20000;
  std::thread pong([&] {
    for (int i = 0; i < rounds; ++i) {
      PavaneSynchronized guard(mutex);
      while (turn != 1) {
        pongReady.wait();
      }
      turn = 0;
      pingReady.signal();
    }
  });
  finish("a hand-off", [&] {
    for (int i = 0; i < rounds; ++i) {
      PavaneSynchronized guard(mutex);
      turn = 1;
      pongReady.signal();
      while (turn != 0) {
        pingReady.wait();
      }
    }
    pong.join();
  });
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
  EXPECT_TRUE(plat::blockedInThreadLibrary(ids[4]));
  plat::interruptThread(ids[4], 2);
  await([&] {
    return plat::pendingInterruptions(ids[4]) == 0 && plat::blockedInThreadLibrary(ids[4]);
  });
  EXPECT_EQ(wokenCount(), 4u);
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

// An interruption late in a timed wait starts the time again: the wait ends no earlier than a
// whole time-out after the interruption. A wait that returned on the interruption, or kept
// its first deadline, would end sooner.
TEST(PavaneCondition, InterruptedTimedWaitStartsItsTimeAgain) {
  constexpr plat::LONG timeout = 300;
  PavaneMutex mutex;
  PavaneCondition condition(&mutex);
  std::atomic<plat::DWORD> waiterId{0};
  std::chrono::steady_clock::time_point returned;
  std::thread waiter([&] {
    PavaneSynchronized guard(mutex);
    waiterId = plat::GetCurrentThreadId();
    condition.wait(timeout);
    returned = std::chrono::steady_clock::now();
  });
  await([&] { return waiterId != 0 && plat::blockedInThreadLibrary(waiterId); });
  std::this_thread::sleep_for(std::chrono::milliseconds(timeout * 2 / 3));
  const auto interrupted = std::chrono::steady_clock::now();
  plat::interruptThread(waiterId);
  waiter.join();
  EXPECT_EQ(plat::pendingInterruptions(waiterId), 0u);
  EXPECT_GE(returned - interrupted, std::chrono::milliseconds(timeout));
}

// Any failure but an interruption passes to the caller, with neither lock held.
TEST(PavaneCondition, OtherFailuresOfTheWaitLeaveBothLocksFree) {
  PavaneMutex mutex;
  PavaneCondition condition(&mutex);
  plat::EnterCriticalSection(mutex.criticalSection());
  EXPECT_THROW(condition.wait(-1), plat::JTCIllegalArgumentException);
  EXPECT_TRUE(freeForOthers(mutex));
  EXPECT_TRUE(std::async(std::launch::async, [&] {
                const bool taken = condition.lock(true);
                condition.unlock();
                return taken;
              }).get());
}

} // namespace
