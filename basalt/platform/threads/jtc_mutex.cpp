#include "basalt/platform/threads/jtc_mutex.h"

#include "basalt/platform/threads/jtc_exceptions.h"

namespace basalt::platform {

JTCRecursiveMutex::JTCRecursiveMutex() {
  // Spins a little before it sleeps: a monitor's lock is held only for a few instructions.
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ADAPTIVE_NP);
  pthread_mutex_init(&mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
}

JTCRecursiveMutex::~JTCRecursiveMutex() {
  pthread_mutex_destroy(&mutex);
}

// Only the owner can find itself as the owner, so the relaxed reads can't mistake another
// thread for it.
void JTCRecursiveMutex::lock() const {
  if (owner.load(std::memory_order_relaxed) == pthread_self()) {
    ++depth;
    return;
  }
  if (const int error = pthread_mutex_lock(&mutex)) {
    throw JTCSystemCallException("pthread_mutex_lock", error);
  }
  owner.store(pthread_self(), std::memory_order_relaxed);
  depth = 1;
}

bool JTCRecursiveMutex::trylock() const {
  if (owner.load(std::memory_order_relaxed) == pthread_self()) {
    ++depth;
    return true;
  }
  if (pthread_mutex_trylock(&mutex) != 0) {
    return false;
  }
  owner.store(pthread_self(), std::memory_order_relaxed);
  depth = 1;
  return true;
}

void JTCRecursiveMutex::unlock() const {
  if (!heldByCaller()) {
    throw JTCIllegalMonitorStateException("unlock of a lock that the thread doesn't hold");
  }
  if (--depth == 0) {
    owner.store(pthread_t(), std::memory_order_relaxed);
    pthread_mutex_unlock(&mutex);
  }
}

bool JTCRecursiveMutex::heldByCaller() const {
  return owner.load(std::memory_order_relaxed) == pthread_self();
}

unsigned int JTCRecursiveMutex::releaseAll() const {
  const unsigned int held = depth;
  depth = 0;
  owner.store(pthread_t(), std::memory_order_relaxed);
  pthread_mutex_unlock(&mutex);
  return held;
}

void JTCRecursiveMutex::restore(unsigned int times) const {
  pthread_mutex_lock(&mutex);
  owner.store(pthread_self(), std::memory_order_relaxed);
  depth = times;
}

} // namespace basalt::platform
