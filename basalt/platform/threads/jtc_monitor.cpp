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
  waitUntil(nullptr);
}

void JTCMonitor::wait(LONG timeout) {
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
  waitUntil(&deadline);
}

void JTCMonitor::waitUntil(const timespec* deadline) {
  checkOwner("wait of a monitor whose lock the thread doesn't hold");
  ThreadWaiter waiter;
  if (!waiter.begin()) {
    throw JTCInterruptedException();
  }
  (lastWaiter != nullptr ? lastWaiter->nextInQueue : firstWaiter) = &waiter;
  lastWaiter = &waiter;
  const unsigned int held = mutex.releaseAll();
  waiter.block(deadline);
  mutex.restore(held);
  if (!waiter.notified()) {
    // Timed out or interrupted: still in the queue, since notify takes whom it wakes out.
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
  }
  if (waiter.finish()) {
    throw JTCInterruptedException();
  }
}

void JTCMonitor::notify() {
  checkOwner("notify of a monitor whose lock the thread doesn't hold");
  if (ThreadWaiter* waiter = firstWaiter) {
    firstWaiter = waiter->nextInQueue;
    if (firstWaiter == nullptr) {
      lastWaiter = nullptr;
    }
    waiter->notify();
  }
}

void JTCMonitor::notifyAll() {
  checkOwner("notifyAll of a monitor whose lock the thread doesn't hold");
  ThreadWaiter* waiter = firstWaiter;
  firstWaiter = lastWaiter = nullptr;
  while (waiter != nullptr) {
    ThreadWaiter* const next = waiter->nextInQueue;
    waiter->notify();
    waiter = next;
  }
}

} // namespace basalt::platform
