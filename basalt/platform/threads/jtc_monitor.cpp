#include "basalt/platform/threads/jtc_monitor.h"

#include "basalt/platform/threads/jtc_exceptions.h"
#include "basalt/platform/threads/thread_interruption.h"

#include <ctime>

namespace basalt::platform {

JTCMonitor::JTCMonitor() = default;

JTCMonitor::~JTCMonitor() = default;

bool JTCMonitor::lock(bool tryOnly) const {
  if (tryOnly) {
    return mutex.trylock();
  }
  mutex.lock();
  return true;
}

void JTCMonitor::unlock() const {
  mutex.unlock();
}

void JTCMonitor::checkOwner(const char* operation) const {
  if (!mutex.heldByCaller()) {
    throw JTCIllegalMonitorStateException(operation);
  }
}

void JTCMonitor::wait() {
  awaitNotification(enterWaitSet(), true, nullptr);
}

void JTCMonitor::wait(LONG timeout) {
  const timespec deadline = deadlineAfter(timeout);
  awaitNotification(enterWaitSet(), true, &deadline);
}

timespec JTCMonitor::deadlineAfter(LONG timeout) {
  if (timeout < 0) {
    throw JTCIllegalArgumentException("a wait's time-out is negative");
  }
  timespec deadline{};
  clock_gettime(CLOCK_MONOTONIC, &deadline);
  deadline.tv_sec += timeout / 1000;
  deadline.tv_nsec += (timeout % 1000) * 1000000L;
  if (deadline.tv_nsec >= 1000000000L) {
    deadline.tv_sec += 1;
    deadline.tv_nsec -= 1000000000L;
  }
  return deadline;
}

unsigned int JTCMonitor::enterWaitSet() {
  checkOwner("wait of a monitor whose lock the thread doesn't hold");
  ThreadWaiter& waiter = ThreadWaiter::current();
  if (!waiter.begin()) {
    throw JTCInterruptedException();
  }
  waiter.nextInQueue = nullptr;
  (lastWaiter != nullptr ? lastWaiter->nextInQueue : firstWaiter) = &waiter;
  lastWaiter = &waiter;
  waiterCount.fetch_add(1, std::memory_order_relaxed);
  return mutex.releaseAll();
}

void JTCMonitor::awaitNotification(unsigned int held, bool relock, const timespec* deadline) {
  ThreadWaiter& waiter = ThreadWaiter::current();
  waiter.block(deadline, spins);
  // A notified waiter is out of the wait set already: notify takes out whom it wakes. Any
  // other takes itself out under the lock, unless a notification came in the meantime.
  const bool locked = !waiter.notified();
  if (locked) {
    mutex.restore(held);
    if (!waiter.notified()) {
      ThreadWaiter* previous = nullptr;
      ThreadWaiter** link = &firstWaiter;
      while (*link != &waiter) {
        previous = *link;
        link = &previous->nextInQueue;
      }
      *link = waiter.nextInQueue;
      if (lastWaiter == &waiter) {
        lastWaiter = previous;
      }
      waiterCount.fetch_sub(1, std::memory_order_relaxed);
    }
  }
  if (waiter.finish()) {
    throw JTCInterruptedException(); // not notified, so the lock is held again
  }
  const unsigned int kept = relock ? held : held - 1;
  if (!locked && kept > 0) {
    mutex.restore(kept);
  } else if (locked && kept < held) {
    mutex.unlock();
  }
}

void JTCMonitor::notify() {
  checkOwner("notify of a monitor whose lock the thread doesn't hold");
  if (ThreadWaiter* waiter = takeFirstWaiter(); waiter != nullptr && waiter->markNotified()) {
    waiter->wake();
  }
}

void JTCMonitor::notifyOnLeave(CRITICAL_SECTION* lock) {
  checkOwner("notify of a monitor whose lock the thread doesn't hold");
  ThreadWaiter* const waiter = takeFirstWaiter();
  if (waiter == nullptr || !waiter->markNotified()) {
    return;
  }
  if (lock->owner.load(std::memory_order_relaxed) != currentThreadToken()) {
    waiter->wake();
    return;
  }
  if (lock->wakeOnLeave != nullptr) {
    lock->wakeOnLeave->wake(); // one waits there already: it goes now
  }
  lock->wakeOnLeave = waiter;
}

ThreadWaiter* JTCMonitor::takeFirstWaiter() {
  ThreadWaiter* const waiter = firstWaiter;
  if (waiter != nullptr) {
    firstWaiter = waiter->nextInQueue;
    if (firstWaiter == nullptr) {
      lastWaiter = nullptr;
    }
    waiterCount.fetch_sub(1, std::memory_order_relaxed);
  }
  return waiter;
}

void JTCMonitor::notifyAll() {
  checkOwner("notifyAll of a monitor whose lock the thread doesn't hold");
  ThreadWaiter* waiter = firstWaiter;
  firstWaiter = lastWaiter = nullptr;
  waiterCount.store(0, std::memory_order_relaxed);
  while (waiter != nullptr) {
    ThreadWaiter* const next = waiter->nextInQueue; // read before the thread can move on
    if (waiter->markNotified()) {
      waiter->wake();
    }
    waiter = next;
  }
}

} // namespace basalt::platform
