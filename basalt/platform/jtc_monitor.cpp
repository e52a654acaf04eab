#include "basalt/platform/jtc_monitor.h"

#include "basalt/platform/jtc_exceptions.h"
#include "basalt/platform/thread_interruption.h"

#include <cerrno>
#include <ctime>

namespace basalt::platform {

JTCMonitor::JTCMonitor() {
  pthread_mutex_init(&mutex, nullptr);
}

JTCMonitor::~JTCMonitor() {
  pthread_mutex_destroy(&mutex);
}

bool JTCMonitor::lock(bool tryOnly) const {
  const pthread_t self = pthread_self();
  // Only the owner can find itself here, so the relaxed read can't mistake another thread.
  if (owner.load(std::memory_order_relaxed) == self) {
    ++depth;
    return true;
  }
  if (tryOnly) {
    if (pthread_mutex_trylock(&mutex) != 0) {
      return false;
    }
  } else if (const int error = pthread_mutex_lock(&mutex)) {
    throw JTCSystemCallException("pthread_mutex_lock", error);
  }
  owner.store(self, std::memory_order_relaxed);
  depth = 1;
  return true;
}

void JTCMonitor::unlock() const {
  checkOwner("unlock of a monitor whose lock the thread doesn't hold");
  if (--depth == 0) {
    owner.store(pthread_t(), std::memory_order_relaxed);
    pthread_mutex_unlock(&mutex);
  }
}

void JTCMonitor::checkOwner(const char* operation) const {
  if (owner.load(std::memory_order_relaxed) != pthread_self()) {
    throw JTCIllegalMonitorStateException(operation);
  }
}

void JTCMonitor::acquire(unsigned int times) const {
  pthread_mutex_lock(&mutex);
  owner.store(pthread_self(), std::memory_order_relaxed);
  depth = times;
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
  const unsigned int held = depth;
  depth = 0;
  owner.store(pthread_t(), std::memory_order_relaxed);
  pthread_mutex_unlock(&mutex);

  waiter.block(deadline);

  acquire(held);
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
