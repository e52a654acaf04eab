#ifndef BASALT_PLATFORM_THREADS_THREAD_INTERRUPTION_H
#define BASALT_PLATFORM_THREADS_THREAD_INTERRUPTION_H

// Interruption of the thread library's blocking calls.
//
// The original platform's thread library could interrupt a thread that waits in
// JTCMonitor::wait or JTCThread::join, which then threw JTCInterruptedException. Nothing on
// Linux causes that event, so the layer keeps it as a hook for tests: interruptThread makes
// the next waits or joins of a thread throw, and wakes the thread if it is blocked in one now.

#include "basalt/platform/base/win_types.h"

#include <ctime>
#include <pthread.h>

namespace basalt::platform {

// Hook for tests. The next count waits or joins of the thread with the given id
// (GetCurrentThreadId) throw JTCInterruptedException, one interruption each. A thread that
// is blocked in one now wakes and throws at once. A wait that is notified keeps its
// notification; the interruption then waits for the thread's next wait.
void interruptThread(DWORD threadId, unsigned int count = 1);

// For tests: the interruptions of a thread that no wait has thrown yet, and whether the thread
// is blocked in a wait or join of the thread library now.
unsigned int pendingInterruptions(DWORD threadId);
bool blockedInThreadLibrary(DWORD threadId);

// One blocked call of the thread library, on the blocked thread's stack: it has a condition of
// its own, so that a notification or an interruption wakes this thread alone.
class ThreadWaiter {
public:
  ThreadWaiter();
  ~ThreadWaiter();
  ThreadWaiter(const ThreadWaiter&) = delete;
  ThreadWaiter& operator=(const ThreadWaiter&) = delete;

  // Registers the calling thread as blocked; false, with one interruption used up, when one
  // is pending. Must be followed by finish() when it returned true.
  bool begin();
  // Blocks until notified, interrupted, or the deadline on CLOCK_MONOTONIC (null: none).
  void block(const timespec* deadline);
  // Ends the registration. True when the wait is to throw: interrupted and not notified.
  bool finish();

  // Wakes the waiter as notified. The caller keeps the waiter registered with its monitor.
  void notify();
  bool notified() const { return wasNotified; }

  ThreadWaiter* nextInQueue = nullptr;

private:
  friend void interruptThread(DWORD, unsigned int);
  friend bool blockedInThreadLibrary(DWORD);
  void interrupt();

  pthread_mutex_t lock; // guards the two flags
  pthread_cond_t wake;
  bool wasNotified = false;
  bool wasInterrupted = false;
  DWORD thread;
  ThreadWaiter* previousBlocked = nullptr;
  ThreadWaiter* nextBlocked = nullptr;
};

// The calling thread's id, asked of the kernel once per thread.
DWORD currentThreadId();

} // namespace basalt::platform

#endif
