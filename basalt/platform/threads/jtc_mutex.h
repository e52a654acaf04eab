#ifndef BASALT_PLATFORM_THREADS_JTC_MUTEX_H
#define BASALT_PLATFORM_THREADS_JTC_MUTEX_H

// The thread library's recursive mutexes.

#include "basalt/export.h"
#include "basalt/platform/threads/critical_section.h"

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

  mutable CRITICAL_SECTION section;
};

// The same mutex under the name of the thread library's lighter kind: here both are one
// lock on an atomic word.
class BASALT_API JTCFastRecursiveMutex : public JTCRecursiveMutex {};

} // namespace basalt::platform

#endif
