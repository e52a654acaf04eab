#include "basalt/concurrency/pavane_condition.h"

#include "basalt/platform/threads/jtc_exceptions.h"

namespace basalt {

namespace plat = platform;

PavaneCondition::PavaneCondition(PavaneMutex* mutex) : mutex(mutex) {}

PavaneCondition::~PavaneCondition() = default;

// The monitor's lock is taken before the bound mutex is left: a signaller, who holds the mutex
// and then takes the monitor's lock, gets there only once this thread is inside the wait.
// The mutex is taken again only after the monitor's lock is gone, so the order stays one way.
template <class Wait> void PavaneCondition::waitFor(Wait waitOnMonitor) {
  JTCMonitor::lock(false);
  plat::LeaveCriticalSection(mutex->criticalSection());
  for (;;) {
    try {
      waitOnMonitor();
      break;
    } catch (const plat::JTCInterruptedException&) {
      // Absorbed; a timed wait starts its time again.
    } catch (...) {
      JTCMonitor::unlock();
      throw;
    }
  }
  JTCMonitor::unlock();
  plat::EnterCriticalSection(mutex->criticalSection());
}

void PavaneCondition::wait() {
  waitFor([this] { JTCMonitor::wait(); });
}

void PavaneCondition::wait(plat::LONG timeout) {
  waitFor([this, timeout] { JTCMonitor::wait(timeout); });
}

void PavaneCondition::signal() {
  PavaneSynchronized guard(*this);
  notify();
}

void PavaneCondition::broadcast() {
  PavaneSynchronized guard(*this);
  notifyAll();
}

} // namespace basalt
