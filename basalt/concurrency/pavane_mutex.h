#ifndef BASALT_CONCURRENCY_PAVANE_MUTEX_H
#define BASALT_CONCURRENCY_PAVANE_MUTEX_H

#include "basalt/export.h"
#include "basalt/platform/critical_section.h"

namespace basalt {

namespace platform {
class JTCMonitor;
class JTCRecursiveMutex;
class JTCFastRecursiveMutex;
class JTCFastMonitor;
} // namespace platform

// A re-entrant mutex: the thread that holds it may take it again, and other threads get it
// only after as many releases as acquisitions.
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

// Holds one lock for the length of a scope and releases it by kind, also when an exception
// leaves the scope. Only the pointer that `kind` names is set.
class BASALT_API PavaneSynchronized {
public:
  enum Kind {
    KindMonitor = 0,
    KindMutex = 1,
    KindRecursiveMutex = 2,
    KindFastRecursiveMutex = 3,
    KindFastMonitor = 4
  };

  explicit PavaneSynchronized(PavaneMutex& lock);
  ~PavaneSynchronized();
  PavaneSynchronized(const PavaneSynchronized&) = delete;
  PavaneSynchronized& operator=(const PavaneSynchronized&) = delete;

private:
  platform::JTCMonitor* monitor = nullptr;
  platform::CRITICAL_SECTION* mutex = nullptr;
  platform::JTCRecursiveMutex* recursiveMutex = nullptr;
  platform::JTCFastRecursiveMutex* fastRecursiveMutex = nullptr;
  platform::JTCFastMonitor* fastMonitor = nullptr;
  int kind;
};

// The clients' names for the same two things.
using MarlowMutex = PavaneMutex;
using MarlowSynchronized = PavaneSynchronized;

} // namespace basalt

#endif
