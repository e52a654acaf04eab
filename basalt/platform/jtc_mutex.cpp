#include "basalt/platform/jtc_mutex.h"

#include "basalt/platform/jtc_exceptions.h"

namespace basalt::platform {

JTCRecursiveMutex::JTCRecursiveMutex() {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(&mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
}

JTCRecursiveMutex::~JTCRecursiveMutex() {
  pthread_mutex_destroy(&mutex);
}

void JTCRecursiveMutex::lock() const {
  if (const int error = pthread_mutex_lock(&mutex)) {
    throw JTCSystemCallException("pthread_mutex_lock", error);
  }
}

bool JTCRecursiveMutex::trylock() const {
  return pthread_mutex_trylock(&mutex) == 0;
}

void JTCRecursiveMutex::unlock() const {
  // A recursive mutex knows its owner: anybody else's unlock is refused.
  if (pthread_mutex_unlock(&mutex) != 0) {
    throw JTCIllegalMonitorStateException(
        "unlock of a recursive mutex that the thread doesn't hold");
  }
}

} // namespace basalt::platform
