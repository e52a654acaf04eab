#ifndef BASALT_CONCURRENCY_PAVANE_MUTEX_H
#define BASALT_CONCURRENCY_PAVANE_MUTEX_H

#include "basalt/export.h"
#include "basalt/platform/threads/critical_section.h"

namespace basalt {

namespace platform {
class JTCMonitor;
class JTCRecursiveMutex;
class JTCFastRecursiveMutex;
class JTCFastMonitor;
} // namespace platform

class MarlowMonitor;
class MarlowRecursiveMutex;

// A re-entrant mutex: the thread that holds it may take it again, and other threads get it
// only after as many releases as acquisitions.
// May be shared between threads.
class BASALT_API PavaneMutex {
public:
  PavaneMutex();
  ~PavaneMutex();
  PavaneMutex(const PavaneMutex&) = delete;
  PavaneMutex& operator=(const PavaneMutex&) = delete;

  platform::CRITICAL_SECTION* criticalSection() { return &section; }

private:
  platform::CRITICAL_SECTION section;
};

// The same mutex under the name that the library's clients use.
// May be shared between threads.
class BASALT_API MarlowMutex {
public:
  MarlowMutex();
  ~MarlowMutex();
  MarlowMutex(const MarlowMutex&) = delete;
  MarlowMutex& operator=(const MarlowMutex&) = delete;

  platform::CRITICAL_SECTION* criticalSection() { return &section; }

private:
  platform::CRITICAL_SECTION section;
};

// What a scope guard holds: one lock, released by kind. Only the pointer that kind names is
// set.
// Part of a guard, and so of one thread.
struct BASALT_API HeldLock {
  enum Kind {
    KindMonitor = 0,
    KindMutex = 1,
    KindRecursiveMutex = 2,
    KindFastRecursiveMutex = 3,
    KindFastMonitor = 4
  };

  void release();

  platform::JTCMonitor* monitor = nullptr;
  platform::CRITICAL_SECTION* mutex = nullptr;
  platform::JTCRecursiveMutex* recursiveMutex = nullptr;
  platform::JTCFastRecursiveMutex* fastRecursiveMutex = nullptr;
  platform::JTCFastMonitor* fastMonitor = nullptr;
  int kind;
};

// Holds a PavaneMutex for the length of a scope, also when an exception leaves the scope.
// Inline, as it stands around most short locked sections of the library. A guard belongs
// to the scope, and so the thread, that made it.
class BASALT_API PavaneSynchronized {
public:
  explicit PavaneSynchronized(PavaneMutex& lock) {
    held.mutex = lock.criticalSection();
    held.kind = HeldLock::KindMutex;
    platform::EnterCriticalSection(held.mutex);
  }
  ~PavaneSynchronized() {
    if (held.kind == HeldLock::KindMutex) {
      platform::LeaveCriticalSection(held.mutex);
    } else {
      held.release();
    }
  }
  PavaneSynchronized(const PavaneSynchronized&) = delete;
  PavaneSynchronized& operator=(const PavaneSynchronized&) = delete;

private:
  friend class PavaneCondition;
  // The monitor's lock of a condition.
  explicit PavaneSynchronized(platform::JTCMonitor& monitor);

  HeldLock held;
};

// The clients' scope guard: over a MarlowMutex, or over the thread library's recursive mutex
// or monitor.
// A guard belongs to the scope, and so the thread, that made it.
class BASALT_API MarlowSynchronized {
public:
  explicit MarlowSynchronized(MarlowMutex& lock);
  explicit MarlowSynchronized(MarlowRecursiveMutex& lock);
  explicit MarlowSynchronized(MarlowMonitor& monitor);
  ~MarlowSynchronized();
  MarlowSynchronized(const MarlowSynchronized&) = delete;
  MarlowSynchronized& operator=(const MarlowSynchronized&) = delete;

private:
  HeldLock held;
};

} // namespace basalt

#endif
