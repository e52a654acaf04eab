#include "basalt/concurrency/read_write_lock.h"
#include "support/bounded_wait.h"

#include <atomic>
#include <future>
#include <gtest/gtest.h>
#include <stdexcept>
#include <thread>

namespace {

using basalt::PavaneSynchronizedRead;
using basalt::PavaneSynchronizedWrite;
using basalt::ReadWriteLock;
using basalt::test::finish;
using basalt::test::startBlocked;

// Takes a read lock on a thread of its own, which ends holding it.
void readLockElsewhere(ReadWriteLock& lock) {
  finish("a reader", [&] { lock.read_lock(); });
}

TEST(ReadWriteLock, ReadersShareAndAWaitingWriterStopsNoReader) {
  ReadWriteLock lock;
  lock.read_lock();
  readLockElsewhere(lock); // two readers at once
  std::atomic<bool> writing{false};
  auto writer = startBlocked([&] {
    lock.write_lock();
    writing = true;
  });
  // A reader that comes while the writer waits goes in: no preference for writers.
  readLockElsewhere(lock);
  lock.read_unlock();
  lock.read_unlock();
  EXPECT_FALSE(writing);
  lock.read_unlock(); // the last reader lets the writer in
  finish("a writer", [&] { writer.get(); });
  lock.write_unlock();
}

TEST(ReadWriteLock, WriterExcludesReadersAndItsReleaseLetsThemAllGo) {
  ReadWriteLock lock;
  lock.write_lock();
  std::future<void> readers[3];
  for (std::future<void>& reader : readers) {
    reader = startBlocked([&] { lock.read_lock(); });
  }
  lock.write_unlock();
  finish("a reader", [&] {
    for (std::future<void>& reader : readers) {
      reader.get();
    }
  });
  for (int i = 0; i < 3; ++i) {
    lock.read_unlock();
  }
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
  finish("a writer", [&] { lock.write_lock(); });
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
