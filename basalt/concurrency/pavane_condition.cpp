#include "basalt/concurrency/pavane_condition.h"

#include "basalt/platform/threads/jtc_exceptions.h"

namespace basalt {

namespace plat = platform;

PavaneCondition::PavaneCondition(PavaneMutex* mutex) : mutex(mutex) {}

PavaneCondition::~PavaneCondition() = default;

// A signaller holds the mutex and then takes the monitor's lock, so it finds this thread in the
// wait set as soon as the mutex is free: the thread joins the set under the monitor's lock
// before it leaves the mutex, and no wake-up falls between its test and its wait. Neither
// lock is held while the other is asked for, other than in that order; the monitor's lock is
// given up before the mutex, and the wait comes back without it, so a woken thread meets at
// most the mutex held.
void PavaneCondition::waitFor(const plat::LONG* timeout) {
  JTCMonitor::lock(false);
  bool holdsMutex = true;
  for (;;) {
    try {
      const timespec deadline = timeout != nullptr ? deadlineAfter(*timeout) : timespec{};
      const unsigned int held = enterWaitSet();
      if (holdsMutex) {
        plat::LeaveCriticalSection(mutex->criticalSection());
        holdsMutex = false;
      }
      awaitNotification(held, false, timeout != nullptr ? &deadline : nullptr);
      break;
    } catch (const plat::JTCInterruptedException&) {
      // Absorbed, with the monitor's lock held again; a timed wait starts its time again.
    } catch (...) {
      if (holdsMutex) {
        plat::LeaveCriticalSection(mutex->criticalSection());
      }
      JTCMonitor::unlock();
      throw;
    }
  }
  plat::EnterCriticalSection(mutex->criticalSection());
}

void PavaneCondition::wait() {
  waitFor(nullptr);
}

void PavaneCondition::wait(plat::LONG timeout) {
  waitFor(&timeout);
}

// A waiter joins the wait set while it holds the mutex, so a caller that holds it finds an
// empty set without the monitor's lock.
bool PavaneCondition::nobodyToWake() {
  return !hasWaiters() && mutex->criticalSection()->owner.load(std::memory_order_relaxed) ==
                              plat::currentThreadToken();
}

void PavaneCondition::signal() {
  if (nobodyToWake()) {
    return;
  }
  PavaneSynchronized guard(*this);
  notifyOnLeave(mutex->criticalSection());
}

void PavaneCondition::broadcast() {
  if (nobodyToWake()) {
    return;
  }
  PavaneSynchronized guard(*this);
  notifyAll();
}

} // namespace basalt
