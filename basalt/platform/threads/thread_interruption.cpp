#include "basalt/platform/threads/thread_interruption.h"

#include "basalt/platform/base/thread_state.h"

#include <cerrno>

namespace basalt::platform {
namespace {

// Interruptions not yet thrown, one node per thread that has some.
struct Pending {
  DWORD thread;
  unsigned int count;
  Pending* next;
};

// Statically initialised: usable on any thread at any time of the process. Guards both lists
// and the interrupted flag of every registered waiter; taken before a waiter's own lock.
pthread_mutex_t registryLock = PTHREAD_MUTEX_INITIALIZER;
Pending* pendingList = nullptr;
ThreadWaiter* blockedList = nullptr;

Pending** findPending(DWORD thread) {
  Pending** link = &pendingList;
  while (*link != nullptr && (*link)->thread != thread) {
    link = &(*link)->next;
  }
  return link;
}

// Uses up one interruption of the thread, if it has one. The caller holds registryLock.
bool takePending(DWORD thread) {
  Pending** link = findPending(thread);
  Pending* entry = *link;
  if (entry == nullptr) {
    return false;
  }
  if (--entry->count == 0) {
    *link = entry->next;
    delete entry;
  }
  return true;
}

class RegistryGuard {
public:
  RegistryGuard() { pthread_mutex_lock(&registryLock); }
  ~RegistryGuard() { pthread_mutex_unlock(&registryLock); }
  RegistryGuard(const RegistryGuard&) = delete;
  RegistryGuard& operator=(const RegistryGuard&) = delete;
};

thread_local DWORD cachedThreadId = 0;

} // namespace

DWORD currentThreadId() {
  if (cachedThreadId == 0) {
    cachedThreadId = GetCurrentThreadId();
  }
  return cachedThreadId;
}

ThreadWaiter::ThreadWaiter() : thread(currentThreadId()) {
  pthread_mutex_init(&lock, nullptr);
  pthread_condattr_t attributes;
  pthread_condattr_init(&attributes);
  pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
  pthread_cond_init(&wake, &attributes);
  pthread_condattr_destroy(&attributes);
}

ThreadWaiter::~ThreadWaiter() {
  pthread_cond_destroy(&wake);
  pthread_mutex_destroy(&lock);
}

bool ThreadWaiter::begin() {
  RegistryGuard guard;
  if (takePending(thread)) {
    return false;
  }
  nextBlocked = blockedList;
  if (blockedList != nullptr) {
    blockedList->previousBlocked = this;
  }
  blockedList = this;
  return true;
}

void ThreadWaiter::block(const timespec* deadline) {
  pthread_mutex_lock(&lock);
  int result = 0;
  while (!wasNotified && !wasInterrupted && result != ETIMEDOUT) {
    result = deadline == nullptr ? pthread_cond_wait(&wake, &lock)
                                 : pthread_cond_timedwait(&wake, &lock, deadline);
  }
  pthread_mutex_unlock(&lock);
}

bool ThreadWaiter::finish() {
  RegistryGuard guard;
  (previousBlocked != nullptr ? previousBlocked->nextBlocked : blockedList) = nextBlocked;
  if (nextBlocked != nullptr) {
    nextBlocked->previousBlocked = previousBlocked;
  }
  return wasInterrupted && !wasNotified && takePending(thread);
}

void ThreadWaiter::notify() {
  pthread_mutex_lock(&lock);
  wasNotified = true;
  pthread_mutex_unlock(&lock);
  // After the unlock, so that the woken thread doesn't sleep again on the lock. The waiter
  // lives on: it can't leave before it has the monitor's lock back, which the caller holds.
  pthread_cond_signal(&wake);
}

void ThreadWaiter::interrupt() {
  pthread_mutex_lock(&lock);
  wasInterrupted = true;
  pthread_cond_signal(&wake);
  pthread_mutex_unlock(&lock);
}

void interruptThread(DWORD threadId, unsigned int count) {
  if (count == 0) {
    return;
  }
  RegistryGuard guard;
  Pending** link = findPending(threadId);
  if (*link == nullptr) {
    *link = new Pending{threadId, 0, nullptr};
  }
  (*link)->count += count;
  for (ThreadWaiter* waiter = blockedList; waiter != nullptr; waiter = waiter->nextBlocked) {
    if (waiter->thread == threadId) {
      waiter->interrupt();
    }
  }
}

unsigned int pendingInterruptions(DWORD threadId) {
  RegistryGuard guard;
  const Pending* entry = *findPending(threadId);
  return entry == nullptr ? 0 : entry->count;
}

bool blockedInThreadLibrary(DWORD threadId) {
  RegistryGuard guard;
  for (const ThreadWaiter* waiter = blockedList; waiter != nullptr; waiter = waiter->nextBlocked) {
    if (waiter->thread == threadId) {
      return true;
    }
  }
  return false;
}

} // namespace basalt::platform
