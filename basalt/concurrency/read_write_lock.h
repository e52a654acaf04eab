#ifndef BASALT_CONCURRENCY_READ_WRITE_LOCK_H
#define BASALT_CONCURRENCY_READ_WRITE_LOCK_H

#include "basalt/concurrency/pavane_condition.h"
#include "basalt/concurrency/pavane_mutex.h"
#include "basalt/export.h"

#include <cstdint>

namespace basalt {

// Many readers or one writer. Writers have no preference: a reader is stopped only by a writer
// that holds the lock, so a steady stream of readers keeps a waiting writer out. There is no
// owner and no recursion for writing: a thread that holds either lock and asks for the write
// lock, or holds the write lock and asks for a read lock, waits for ever. Unlocking a lock
// that isn't held changes nothing.
// May be shared between threads.
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
  PavaneMutex mutex; // guards both counters, never held while a lock is held
  PavaneCondition* condition;
  std::int32_t readers;
  std::int32_t writer;
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
