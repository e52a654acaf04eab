#ifndef BASALT_PLATFORM_THREADS_THREAD_INTERRUPTION_H
#define BASALT_PLATFORM_THREADS_THREAD_INTERRUPTION_H

// Interruption of the thread library's blocking calls.
//
// The original platform's thread library could interrupt a thread that waits in
// JTCMonitor::wait or JTCThread::join, which then threw JTCInterruptedException. Nothing on
// Linux causes that event, so the layer keeps it as a hook for tests: interruptThread makes
// the next waits or joins of a thread throw, and wakes the thread if it is blocked in one now.

#include "basalt/platform/base/win_types.h"

#include <atomic>
#include <cstdint>
#include <ctime>

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

// The calling thread's part in the blocking calls of the thread library. Each thread has one,
// from its first wait to its end, so that a wait allocates nothing and takes no lock that
// other threads share; it sleeps on a word of its own, so that a notification or an
// interruption wakes this thread alone.
class ThreadWaiter {
public:
  ThreadWaiter(const ThreadWaiter&) = delete;
  ThreadWaiter& operator=(const ThreadWaiter&) = delete;

  static ThreadWaiter& current();
  // A waiter for the calling thread, and giving it back when the thread ends.
  static ThreadWaiter* acquire();
  static void release(ThreadWaiter* waiter);

  // Registers the thread as blocked; false, with one interruption used up, when one is pending.
  // Must be followed by finish() when it returned true.
  bool begin();
  // Blocks until notified, interrupted, or the deadline on CLOCK_MONOTONIC (null: none),
  // looking for the notification up to spins times before it first sleeps.
  void block(const timespec* deadline, unsigned int spins);
  // Ends the registration. True, with the interruption used up, when the wait is to throw:
  // interrupted and not notified. The caller has taken the waiter out of its wait set.
  bool finish();

  // Marks the waiter as notified; true when it may be asleep and wants wake(). The caller
  // holds the lock of the monitor in whose wait set the waiter stands, and has taken it out
  // of that set.
  bool markNotified();
  // Wakes the thread, if it sleeps. Harmless at any time: waiters are never freed, and a
  // thread that finds nothing for it sleeps again.
  void wake();
  bool notified() const;

  ThreadWaiter* nextInQueue = nullptr; // the wait set of a monitor, under its lock

private:
  friend void interruptThread(DWORD, unsigned int);
  friend bool blockedInThreadLibrary(DWORD);
  ThreadWaiter() = default;
  void interrupt();

  std::atomic<std::uint32_t> word{0}; // what the wait has seen, and whether it sleeps
  std::atomic<bool> blocked{false};
  bool interrupted = false;           // an interruption of this wait is pending; the thread's own
  DWORD thread = 0;                   // 0 while no thread holds the waiter
  ThreadWaiter* nextWaiter = nullptr; // every waiter ever made, never freed
};

// The calling thread's id, asked of the kernel once per thread.
DWORD currentThreadId();

} // namespace basalt::platform

#endif
