#ifndef BASALT_PLATFORM_THREADS_JTC_MUTEX_H
#define BASALT_PLATFORM_THREADS_JTC_MUTEX_H

// The thread library's recursive mutexes.

#include "basalt/export.h"

#include <atomic>
#include <pthread.h>

namespace basalt::platform {

// The thread that holds it may lock it again; it is free after as many unlocks as locks.
// May be shared between threads.
class BASALT_API JTCRecursiveMutex {
public:
  JTCRecursiveMutex();
  ~JTCRecursiveMutex();
  JTCRecursiveMutex(const JTCRecursiveMutex&) = delete;
  JTCRecursiveMutex& operator=(const JTCRecursiveMutex&) = delete;

  void lock() const;
  // False when another thread holds it.
  bool trylock() const;
  // JTCIllegalMonitorStateException when the calling thread doesn't hold it.
  void unlock() const;

private:
  // A monitor's wait gives the lock up whole and takes it back as often.
  friend class JTCMonitor;
  bool heldByCaller() const;
  unsigned int releaseAll() const;
  void restore(unsigned int times) const;

  mutable pthread_mutex_t mutex;
  mutable std::atomic<pthread_t> owner{};
  mutable unsigned int depth = 0; // read and written by the owner only
};

// The same mutex under the name of the thread library's lighter kind: on pthreads both are
// one futex-based lock.
class BASALT_API JTCFastRecursiveMutex : public JTCRecursiveMutex {};

} // namespace basalt::platform

#endif
