#include "basalt/concurrency/read_write_lock.h"
#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/threads/thread_interruption.h"
#include "support/bounded_wait.h"

#include <atomic>
#include <deque>
#include <future>
#include <gtest/gtest.h>
#include <stdexcept>
#include <thread>

namespace {

namespace plat = basalt::platform;
using basalt::PavaneSynchronizedRead;
using basalt::PavaneSynchronizedWrite;
using basalt::ReadWriteLock;
using basalt::test::await;
using basalt::test::finish;

// A thread that takes a lock and tells when it has it.
class Taker {
public:
  template <class Take> explicit Taker(Take take) {
    done = std::async(std::launch::async, [this, take] {
      id = plat::GetCurrentThreadId();
      take();
      holding = true;
    });
    await([this] { return id != 0; });
  }
  ~Taker() {
    finish("a thread taking a lock", [this] { done.get(); });
  }

  // Blocked for good in the lock: waiting in the thread library and not holding.
  bool waiting() const { return !holding && plat::blockedInThreadLibrary(id); }
  void awaitWaiting() const {
    await([this] { return waiting(); });
  }
  void awaitHolding() const {
    await([this] { return holding.load(); });
  }

  std::atomic<plat::DWORD> id{0};
  std::atomic<bool> holding{false};

private:
  std::future<void> done;
};

TEST(ReadWriteLock, ReadersShareAndAWaitingWriterStopsNoReader) {
  ReadWriteLock lock;
  lock.read_lock();
  Taker secondReader([&] { lock.read_lock(); });
  secondReader.awaitHolding(); // two readers at once
  Taker writer([&] { lock.write_lock(); });
  writer.awaitWaiting();
  // A reader that comes while the writer waits goes in: no preference for writers.
  Taker lateReader([&] { lock.read_lock(); });
  lateReader.awaitHolding();
  lock.read_unlock();
  lock.read_unlock();
  EXPECT_TRUE(writer.waiting());
  lock.read_unlock(); // the last reader lets the writer in
  writer.awaitHolding();
  lock.write_unlock();
}

TEST(ReadWriteLock, WriterExcludesEveryoneAndItsReleaseLetsAllReadersGo) {
  ReadWriteLock lock;
  lock.write_lock();
  std::deque<Taker> readers;
  for (int i = 0; i < 3; ++i) {
    readers.emplace_back([&] { lock.read_lock(); });
  }
  Taker writer([&] { lock.write_lock(); });
  for (const Taker& reader : readers) {
    reader.awaitWaiting();
  }
  writer.awaitWaiting();
  lock.write_unlock();
  // The readers may beat the writer or not; either way the readers end up together, or the
  // writer alone first.
  const auto readersIn = [&] {
    int in = 0;
    for (const Taker& reader : readers) {
      in += reader.holding ? 1 : 0;
    }
    return in;
  };
  await([&] { return writer.holding || readersIn() == 3; });
  if (writer.holding) {
    EXPECT_EQ(readersIn(), 0);
    lock.write_unlock();
    await([&] { return readersIn() == 3; });
  }
  for (int i = 0; i < 3; ++i) {
    lock.read_unlock();
  }
  writer.awaitHolding();
  lock.write_unlock();
}

// Unlocks without a lock change nothing; a guard releases when an exception leaves its scope.
TEST(ReadWriteLock, StrayUnlocksAndGuardsLeftByExceptions) {
  ReadWriteLock lock;
  lock.read_unlock();
  lock.write_unlock();
  EXPECT_THROW(
      {
        PavaneSynchronizedRead first(lock);
        PavaneSynchronizedRead second(lock); // a second read lock on one thread works
        throw std::runtime_error("leaves the scope");
      },
      std::runtime_error);
  EXPECT_THROW(
      {
        PavaneSynchronizedWrite guard(lock);
        throw std::runtime_error("leaves the scope");
      },
      std::runtime_error);
  lock.read_unlock(); // readers stayed at 0: a write lock goes in at once
  Taker writer([&] { lock.write_lock(); });
  writer.awaitHolding();
  lock.write_unlock();
}

// Readers and writers at random: a writer is never in with anybody.
TEST(ReadWriteLock, WritersAreAloneUnderLoad) {
  ReadWriteLock lock;
  std::atomic<int> readersIn{0};
  std::atomic<int> writersIn{0};
  std::atomic<int> overlaps{0};
  std::thread threads[4];
  for (int t = 0; t < 4; ++t) {
    threads[t] = std::thread([&, t] {
      for (int i = 0; i < 3000; ++i) {
        if ((i + t) % 4 == 0) {
          PavaneSynchronizedWrite guard(lock);
          overlaps += writersIn.fetch_add(1) != 0 || readersIn.load() != 0;
          writersIn.fetch_sub(1);
        } else {
          PavaneSynchronizedRead guard(lock);
          readersIn.fetch_add(1);
          overlaps += writersIn.load() != 0;
          readersIn.fetch_sub(1);
        }
      }
    });
  }
  finish("a reader or writer", [&] {
    for (std::thread& thread : threads) {
      thread.join();
    }
  });
  EXPECT_EQ(overlaps.load(), 0);
}

} // namespace
