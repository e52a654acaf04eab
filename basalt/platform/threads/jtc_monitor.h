#ifndef BASALT_PLATFORM_THREADS_JTC_MONITOR_H
#define BASALT_PLATFORM_THREADS_JTC_MONITOR_H

// The thread library's monitor: a re-entrant lock with one wait set.

#include "basalt/export.h"
#include "basalt/platform/base/win_types.h"
#include "basalt/platform/threads/jtc_mutex.h"

#include <atomic>
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

protected:
  // wait in two halves, for a condition guarded by a lock of the caller's own. enterWaitSet,
  // with the monitor's lock held, puts the calling thread in the wait set and gives the lock
  // up, however often it was taken (the result); the caller can then let go of its own lock
  // before it blocks in awaitNotification. That one comes back holding the monitor's lock as
  // often as before, or with relock false once less, which spares a woken thread taking the
  // lock only to give it up. An interruption throws from either with the lock held as before.
  unsigned int enterWaitSet();
  void awaitNotification(unsigned int held, bool relock, const timespec* deadline);
  // As notify, for a caller that may hold the lock that guards what the woken thread waits
  // for: while the caller holds it, the thread is woken only as the lock is freed, since it
  // can't go on before. That spares it waking only to sleep again on the lock.
  void notifyOnLeave(CRITICAL_SECTION* lock);
  // Whether the wait set holds anybody, read without the lock: good while nobody can join,
  // such as under a lock that every waiter holds while it joins.
  bool hasWaiters() const { return waiterCount.load(std::memory_order_relaxed) != 0; }
  // How often a waiter looks for its notification before it sleeps: for a monitor whose
  // notifications come within a moment, such as the one a pool's idle workers wait on, the
  // looks spare both threads the kernel. 0, the default, for all others: looking costs a
  // thread that shares its processor with the notifier.
  void spinBeforeSleeping(unsigned int times) { spins = times; }
  // The deadline of a wait of timeout milliseconds from now, for awaitNotification.
  static timespec deadlineAfter(LONG timeout);

private:
  void checkOwner(const char* operation) const;
  // Takes the longest waiter out of the wait set; null when it is empty.
  ThreadWaiter* takeFirstWaiter();

  JTCRecursiveMutex mutex;
  ThreadWaiter* firstWaiter = nullptr; // the wait set, in the order of waiting
  ThreadWaiter* lastWaiter = nullptr;
  std::atomic<unsigned int> waiterCount{0}; // in the wait set; changed under the lock
  unsigned int spins = 0;
};

// The same monitor under the name of the thread library's lighter kind: here both are one
// lock on an atomic word.
class BASALT_API JTCFastMonitor : public JTCMonitor {};

} // namespace basalt::platform

#endif
