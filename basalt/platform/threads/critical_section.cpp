#include "basalt/platform/threads/critical_section.h"

namespace basalt::platform {

void InitializeCriticalSection(CRITICAL_SECTION* section) {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(&section->mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
}

void EnterCriticalSection(CRITICAL_SECTION* section) {
  pthread_mutex_lock(&section->mutex);
}

bool TryEnterCriticalSection(CRITICAL_SECTION* section) {
  return pthread_mutex_trylock(&section->mutex) == 0;
}

void LeaveCriticalSection(CRITICAL_SECTION* section) {
  pthread_mutex_unlock(&section->mutex);
}

void DeleteCriticalSection(CRITICAL_SECTION* section) {
  pthread_mutex_destroy(&section->mutex);
}

} // namespace basalt::platform
