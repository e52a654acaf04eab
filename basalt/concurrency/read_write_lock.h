#ifndef BASALT_CONCURRENCY_READ_WRITE_LOCK_H
#define BASALT_CONCURRENCY_READ_WRITE_LOCK_H

#include "basalt/concurrency/pavane_condition.h"
#include "basalt/concurrency/pavane_mutex.h"
#include "basalt/export.h"

#include <atomic>
#include <cstdint>

namespace basalt {

// Many readers or one writer. Writers have no preference: a reader is stopped only by a writer
// that holds the lock, so a steady stream of readers keeps a waiting writer out. There is no
// owner and no recursion for writing: a thread that holds either lock and asks for the write
// lock, or holds the write lock and asks for a read lock, waits for ever. Unlocking a lock
// that isn't held changes nothing.
// May be shared between threads.
//
// The lock is one atomic word, which a lock or unlock that needn't wait changes with one
// instruction; the mutex and the condition serve only threads that wait, and the releases
// that have to wake them. The last reader to leave passes the write lock straight to a writer
// that waits, as if that writer had woken and won the race to it.
class BASALT_API ReadWriteLock {
public:
  ReadWriteLock();
  ~ReadWriteLock();
  ReadWriteLock(const ReadWriteLock&) = delete;
  ReadWriteLock& operator=(const ReadWriteLock&) = delete;

  void read_lock();
  void read_unlock();
  void write_lock();
  void write_unlock();

private:
  // Waits on the condition until the lock is this thread's: take() tries to take it.
  template <class Take> void lockWaiting(Take take, bool writer);
  // The last reader has gone while somebody waits.
  void lastReaderGone();

  PavaneMutex mutex; // guards writersWaiting; never held while a lock is held
  PavaneCondition* condition;
  std::atomic<std::uint32_t> state; // readers, the write lock, and who waits
  std::uint32_t writersWaiting;
};

// Holds the read lock for the length of a scope.
// A guard belongs to the scope, and so the thread, that made it.
class BASALT_API PavaneSynchronizedRead {
public:
  explicit PavaneSynchronizedRead(ReadWriteLock& lock);
  ~PavaneSynchronizedRead();
  PavaneSynchronizedRead(const PavaneSynchronizedRead&) = delete;
  PavaneSynchronizedRead& operator=(const PavaneSynchronizedRead& other) = default;

private:
  ReadWriteLock* lock;
};

// Holds the write lock for the length of a scope.
// A guard belongs to the scope, and so the thread, that made it.
class BASALT_API PavaneSynchronizedWrite {
public:
  explicit PavaneSynchronizedWrite(ReadWriteLock& lock);
  ~PavaneSynchronizedWrite();
  PavaneSynchronizedWrite(const PavaneSynchronizedWrite&) = delete;
  PavaneSynchronizedWrite& operator=(const PavaneSynchronizedWrite& other) = default;

private:
  ReadWriteLock* lock;
};

} // namespace basalt

#endif
