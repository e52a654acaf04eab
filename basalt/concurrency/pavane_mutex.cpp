#include "basalt/concurrency/pavane_mutex.h"

#include "basalt/concurrency/marlow_thread_library.h"
#include "basalt/platform/threads/jtc_monitor.h"
#include "basalt/platform/threads/jtc_mutex.h"

namespace basalt {

PavaneMutex::PavaneMutex() {
  platform::InitializeCriticalSection(&section);
}

PavaneMutex::~PavaneMutex() {
  platform::DeleteCriticalSection(&section);
}

MarlowMutex::MarlowMutex() {
  platform::InitializeCriticalSection(&section);
}

MarlowMutex::~MarlowMutex() {
  platform::DeleteCriticalSection(&section);
}

void HeldLock::release() {
  switch (kind) {
  case KindMonitor:
    monitor->unlock();
    break;
  case KindMutex:
    platform::LeaveCriticalSection(mutex);
    break;
  case KindRecursiveMutex:
    recursiveMutex->unlock();
    break;
  case KindFastRecursiveMutex:
    fastRecursiveMutex->unlock();
    break;
  case KindFastMonitor:
    fastMonitor->unlock();
    break;
  default:
    break;
  }
}

PavaneSynchronized::PavaneSynchronized(platform::JTCMonitor& monitor) {
  held.monitor = &monitor;
  held.kind = HeldLock::KindMonitor;
  monitor.lock(false);
}

MarlowSynchronized::MarlowSynchronized(MarlowMutex& lock) {
  held.mutex = lock.criticalSection();
  held.kind = HeldLock::KindMutex;
  platform::EnterCriticalSection(held.mutex);
}

MarlowSynchronized::MarlowSynchronized(MarlowRecursiveMutex& lock) {
  held.recursiveMutex = &lock;
  held.kind = HeldLock::KindRecursiveMutex;
  lock.lock();
}

MarlowSynchronized::MarlowSynchronized(MarlowMonitor& monitor) {
  held.monitor = &monitor;
  held.kind = HeldLock::KindMonitor;
  monitor.lock(false);
}

MarlowSynchronized::~MarlowSynchronized() {
  held.release();
}

} // namespace basalt
