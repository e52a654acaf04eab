#include "basalt/concurrency/pavane_mutex.h"

namespace basalt {

PavaneMutex::PavaneMutex() {
  platform::InitializeCriticalSection(&section);
}

PavaneMutex::~PavaneMutex() {
  platform::DeleteCriticalSection(&section);
}

PavaneSynchronized::PavaneSynchronized(PavaneMutex& lock)
    : mutex(lock.criticalSection()), kind(KindMutex) {
  platform::EnterCriticalSection(mutex);
}

PavaneSynchronized::~PavaneSynchronized() {
  if (kind == KindMutex) {
    platform::LeaveCriticalSection(mutex);
  }
}

} // namespace basalt
