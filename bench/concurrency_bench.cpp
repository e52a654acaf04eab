// The library's locks and conditions against the standard library's, called through the
// shared library as a client does.

#include "basalt/concurrency/pavane_condition.h"
#include "basalt/concurrency/pavane_mutex.h"
#include "basalt/concurrency/read_write_lock.h"

#include <benchmark/benchmark.h>
#include <condition_variable>
#include <mutex>
#include <shared_mutex>
#include <thread>

namespace {

// One round: this thread hands the turn over and waits until it comes back.
void PavaneConditionHandOff(benchmark::State& state) {
  basalt::PavaneMutex mutex;
  basalt::PavaneCondition toPartner(&mutex);
  basalt::PavaneCondition toMain(&mutex);
  int turn = 0; // 1: the partner's; -1: stop
  std::thread partner([&] {
    basalt::PavaneSynchronized guard(mutex);
    for (;;) {
      while (turn == 0) {
        toPartner.wait();
      }
      if (turn < 0) {
        return;
      }
      turn = 0;
      toMain.signal();
    }
  });
  for (auto _ : state) {
    basalt::PavaneSynchronized guard(mutex);
    turn = 1;
    toPartner.signal();
    while (turn != 0) {
      toMain.wait();
    }
  }
  {
    basalt::PavaneSynchronized guard(mutex);
    turn = -1;
    toPartner.signal();
  }
  partner.join();
}
BENCHMARK(PavaneConditionHandOff)->UseRealTime();

void StdConditionHandOff(benchmark::State& state) {
  std::mutex mutex;
  std::condition_variable toPartner;
  std::condition_variable toMain;
  int turn = 0;
  std::thread partner([&] {
    std::unique_lock<std::mutex> lock(mutex);
    for (;;) {
      toPartner.wait(lock, [&] { return turn != 0; });
      if (turn < 0) {
        return;
      }
      turn = 0;
      toMain.notify_one();
    }
  });
  for (auto _ : state) {
    std::unique_lock<std::mutex> lock(mutex);
    turn = 1;
    toPartner.notify_one();
    toMain.wait(lock, [&] { return turn == 0; });
  }
  {
    const std::lock_guard<std::mutex> lock(mutex);
    turn = -1;
    toPartner.notify_one();
  }
  partner.join();
}
BENCHMARK(StdConditionHandOff)->UseRealTime();

void ReadWriteLockRead(benchmark::State& state) {
  basalt::ReadWriteLock lock;
  for (auto _ : state) {
    lock.read_lock();
    lock.read_unlock();
  }
}
BENCHMARK(ReadWriteLockRead);

void StdSharedMutexRead(benchmark::State& state) {
  std::shared_mutex lock;
  for (auto _ : state) {
    lock.lock_shared();
    lock.unlock_shared();
  }
}
BENCHMARK(StdSharedMutexRead);

void ReadWriteLockWrite(benchmark::State& state) {
  basalt::ReadWriteLock lock;
  for (auto _ : state) {
    lock.write_lock();
    lock.write_unlock();
  }
}
BENCHMARK(ReadWriteLockWrite);

void StdSharedMutexWrite(benchmark::State& state) {
  std::shared_mutex lock;
  for (auto _ : state) {
    lock.lock();
    lock.unlock();
  }
}
BENCHMARK(StdSharedMutexWrite);

void PavaneMutexLockUnlock(benchmark::State& state) {
  basalt::PavaneMutex mutex;
  for (auto _ : state) {
    basalt::PavaneSynchronized guard(mutex);
  }
}
BENCHMARK(PavaneMutexLockUnlock);

void StdRecursiveMutexLockUnlock(benchmark::State& state) {
  std::recursive_mutex mutex;
  for (auto _ : state) {
    const std::lock_guard<std::recursive_mutex> guard(mutex);
  }
}
BENCHMARK(StdRecursiveMutexLockUnlock);

} // namespace

BENCHMARK_MAIN();
