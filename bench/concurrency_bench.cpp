// The library's locks and conditions against the standard library's, called through the
// shared library as a client does: uncontended, handed between two threads, broadcast to
// several, and the reader-writer lock shared by four threads.

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

// Four threads share one lock and an array that readers sum and writers change; range(0) is
// the share of reads in percent. Throughput: items per second over all threads.
constexpr int sharedCells = 16;

template <class Lock, class Read, class Write>
void contended(benchmark::State& state, Lock& lock, Read readLock, Write writeLock) {
  static long cells[sharedCells];
  const int readShare = static_cast<int>(state.range(0));
  long seen = 0;
  // Each thread starts elsewhere in the pattern of reads and writes.
  int turn = state.thread_index() * 7;
  for (auto _ : state) {
    if (++turn % 100 < readShare) {
      readLock(lock, [&] {
        for (const long cell : cells) {
          seen += cell;
        }
      });
    } else {
      writeLock(lock, [&] {
        for (long& cell : cells) {
          ++cell;
        }
      });
    }
  }
  benchmark::DoNotOptimize(seen);
  state.SetItemsProcessed(state.iterations());
}

void ReadWriteLockContended(benchmark::State& state) {
  static basalt::ReadWriteLock lock;
  contended(
      state, lock,
      [](basalt::ReadWriteLock& held, auto read) {
        basalt::PavaneSynchronizedRead guard(held);
        read();
      },
      [](basalt::ReadWriteLock& held, auto write) {
        basalt::PavaneSynchronizedWrite guard(held);
        write();
      });
}
BENCHMARK(ReadWriteLockContended)->Arg(90)->Arg(50)->Threads(4)->UseRealTime();

void StdSharedMutexContended(benchmark::State& state) {
  static std::shared_mutex lock;
  contended(
      state, lock,
      [](std::shared_mutex& held, auto read) {
        const std::shared_lock<std::shared_mutex> guard(held);
        read();
      },
      [](std::shared_mutex& held, auto write) {
        const std::lock_guard<std::shared_mutex> guard(held);
        write();
      });
}
BENCHMARK(StdSharedMutexContended)->Arg(90)->Arg(50)->Threads(4)->UseRealTime();

// One round: this thread wakes three waiters at once and waits until the last has answered.
constexpr int broadcastWaiters = 3;

void PavaneConditionBroadcast(benchmark::State& state) {
  basalt::PavaneMutex mutex;
  basalt::PavaneCondition go(&mutex);
  basalt::PavaneCondition answered(&mutex);
  long round = 0;  // -1: stop
  int pending = 0; // waiters yet to answer this round
  std::thread waiters[broadcastWaiters];
  for (std::thread& waiter : waiters) {
    waiter = std::thread([&] {
      basalt::PavaneSynchronized guard(mutex);
      for (long seen = 0;;) {
        while (round == seen) {
          go.wait();
        }
        if (round < 0) {
          return;
        }
        seen = round;
        if (--pending == 0) {
          answered.signal();
        }
      }
    });
  }
  for (auto _ : state) {
    basalt::PavaneSynchronized guard(mutex);
    pending = broadcastWaiters;
    ++round;
    go.broadcast();
    while (pending != 0) {
      answered.wait();
    }
  }
  {
    basalt::PavaneSynchronized guard(mutex);
    round = -1;
    go.broadcast();
  }
  for (std::thread& waiter : waiters) {
    waiter.join();
  }
}
BENCHMARK(PavaneConditionBroadcast)->UseRealTime();

void StdConditionBroadcast(benchmark::State& state) {
  std::mutex mutex;
  std::condition_variable go;
  std::condition_variable answered;
  long round = 0;
  int pending = 0;
  std::thread waiters[broadcastWaiters];
  for (std::thread& waiter : waiters) {
    waiter = std::thread([&] {
      std::unique_lock<std::mutex> lock(mutex);
      for (long seen = 0;;) {
        go.wait(lock, [&] { return round != seen; });
        if (round < 0) {
          return;
        }
        seen = round;
        if (--pending == 0) {
          answered.notify_one();
        }
      }
    });
  }
  for (auto _ : state) {
    std::unique_lock<std::mutex> lock(mutex);
    pending = broadcastWaiters;
    ++round;
    go.notify_all();
    answered.wait(lock, [&] { return pending == 0; });
  }
  {
    const std::lock_guard<std::mutex> lock(mutex);
    round = -1;
    go.notify_all();
  }
  for (std::thread& waiter : waiters) {
    waiter.join();
  }
}
BENCHMARK(StdConditionBroadcast)->UseRealTime();

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
