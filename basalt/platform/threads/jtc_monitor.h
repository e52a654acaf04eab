#ifndef BASALT_PLATFORM_THREADS_JTC_MONITOR_H
#define BASALT_PLATFORM_THREADS_JTC_MONITOR_H

// The thread library's monitor: a re-entrant lock with one wait set.

#include "basalt/export.h"
#include "basalt/platform/base/win_types.h"
#include "basalt/platform/threads/jtc_mutex.h"

#include <ctime>

namespace basalt::platform {

class ThreadWaiter;

// A lock with waits and notifications. May be shared between threads.
class BASALT_API JTCMonitor {
public:
  JTCMonitor();
  virtual ~JTCMonitor();
  JTCMonitor(const JTCMonitor&) = delete;
  JTCMonitor& operator=(const JTCMonitor&) = delete;

  // Takes the monitor's lock; the thread that holds it may take it again. With tryOnly the
  // call doesn't block, and the result says whether the caller holds the lock now; without, it
  // is always true.
  bool lock(bool tryOnly = false) const;
  // Gives back one taking of the lock. JTCIllegalMonitorStateException if the caller doesn't
  // hold it.
  void unlock() const;

  // Give up the lock, however often it was taken, block, and take it again as often before
  // returning, also when throwing. The caller must hold the lock. The timed form waits at most
  // timeout milliseconds (0: not at all; negative: JTCIllegalArgumentException); it doesn't say
  // whether it was notified. JTCInterruptedException when the thread is interrupted (see
  // thread_interruption.h); a notification that came first wins.
  void wait();
  void wait(LONG timeout);

  // Wake one waiter (the one that waits longest) or all of them. The caller holds the lock.
  void notify();
  void notifyAll();

private:
  void waitUntil(const timespec* deadline);
  void checkOwner(const char* operation) const;

  JTCRecursiveMutex mutex;
  ThreadWaiter* firstWaiter = nullptr; // the wait set, in the order of waiting
  ThreadWaiter* lastWaiter = nullptr;
};

// The same monitor under the name of the thread library's lighter kind: on pthreads both are
// one futex-based lock.
class BASALT_API JTCFastMonitor : public JTCMonitor {};

} // namespace basalt::platform

#endif
