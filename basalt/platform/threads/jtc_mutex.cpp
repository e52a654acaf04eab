#include "basalt/platform/threads/jtc_mutex.h"

#include "basalt/platform/threads/jtc_exceptions.h"

namespace basalt::platform {

JTCRecursiveMutex::JTCRecursiveMutex() {
  InitializeCriticalSection(&section);
}

JTCRecursiveMutex::~JTCRecursiveMutex() {
  DeleteCriticalSection(&section);
}

void JTCRecursiveMutex::lock() const {
  EnterCriticalSection(&section);
}

bool JTCRecursiveMutex::trylock() const {
  return TryEnterCriticalSection(&section);
}

void JTCRecursiveMutex::unlock() const {
  if (!heldByCaller()) {
    throw JTCIllegalMonitorStateException("unlock of a lock that the thread doesn't hold");
  }
  LeaveCriticalSection(&section);
}

bool JTCRecursiveMutex::heldByCaller() const {
  return section.owner.load(std::memory_order_relaxed) == currentThreadToken();
}

unsigned int JTCRecursiveMutex::releaseAll() const {
  const unsigned int held = section.depth;
  section.depth = 1;
  LeaveCriticalSection(&section);
  return held;
}

void JTCRecursiveMutex::restore(unsigned int times) const {
  EnterCriticalSection(&section);
  section.depth = times;
}

} // namespace basalt::platform
