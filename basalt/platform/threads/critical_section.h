#ifndef BASALT_PLATFORM_THREADS_CRITICAL_SECTION_H
#define BASALT_PLATFORM_THREADS_CRITICAL_SECTION_H

#include <pthread.h>

namespace basalt::platform {

// A re-entrant lock: the owning thread may enter again and the section is free only after
// as many leaves as enters.
// May be shared between threads.
struct CRITICAL_SECTION {
  pthread_mutex_t mutex;
};

void InitializeCriticalSection(CRITICAL_SECTION* section);
void EnterCriticalSection(CRITICAL_SECTION* section);
bool TryEnterCriticalSection(CRITICAL_SECTION* section);
void LeaveCriticalSection(CRITICAL_SECTION* section);
void DeleteCriticalSection(CRITICAL_SECTION* section);

} // namespace basalt::platform

#endif
