#include "basalt/platform/threads/thread_interruption.h"

#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/threads/word_wait.h"

#include <pthread.h>

namespace basalt::platform {
namespace {

// The bits of a waiter's word. Notified and interrupted are set by other threads; sleeping
// by the waiter before it sleeps, so that only a waiter that may sleep costs a wake-up.
constexpr std::uint32_t notifiedBit = 1;
constexpr std::uint32_t interruptedBit = 2;
constexpr std::uint32_t sleepingBit = 4;

// Interruptions not yet thrown, one node per thread that has some.
struct Pending {
  DWORD thread;
  unsigned int count;
  Pending* next;
};

// Statically initialised: usable on any thread at any time of the process. Guards the
// pending list and the list of waiters with their threads; a wait takes it only when an
// interruption is pending somewhere.
pthread_mutex_t registryLock = PTHREAD_MUTEX_INITIALIZER;
Pending* pendingList = nullptr;
// The sum of the counts in pendingList, changed under registryLock: with 0 a wait can tell
// without the lock that none is meant for it.
std::atomic<unsigned int> pendingTotal{0};
ThreadWaiter* waiters = nullptr;

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
  pendingTotal.fetch_sub(1);
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

namespace {

// The calling thread's waiter, null before its first wait. A plain pointer, so that a wait in
// the destructor of another object of the thread still finds it.
thread_local ThreadWaiter* threadWaiter = nullptr;

// Gives the thread's waiter back as the thread ends.
struct WaiterReturn {
  WaiterReturn() = default;
  ~WaiterReturn() {
    if (threadWaiter != nullptr) {
      ThreadWaiter::release(threadWaiter);
      threadWaiter = nullptr;
    }
  }
  WaiterReturn(const WaiterReturn&) = delete;
  WaiterReturn& operator=(const WaiterReturn&) = delete;
};

} // namespace

ThreadWaiter& ThreadWaiter::current() {
  ThreadWaiter* waiter = threadWaiter;
  if (waiter == nullptr) {
    waiter = threadWaiter = acquire();
    thread_local WaiterReturn giveBack;
  }
  return *waiter;
}

// Waiters are never freed: a notifier may still be waking the word of a thread that has just
// left its wait and ended.
ThreadWaiter* ThreadWaiter::acquire() {
  RegistryGuard guard;
  ThreadWaiter* waiter = waiters;
  while (waiter != nullptr && waiter->thread != 0) {
    waiter = waiter->nextWaiter;
  }
  if (waiter == nullptr) {
    waiter = new ThreadWaiter;
    waiter->nextWaiter = waiters;
    waiters = waiter;
  }
  waiter->thread = currentThreadId();
  return waiter;
}

void ThreadWaiter::release(ThreadWaiter* waiter) {
  RegistryGuard guard;
  waiter->thread = 0;
}

// blocked and pendingTotal are read and written in one order by all threads: a wait that
// registers and then finds no interruption pending is seen as blocked by an interruption
// that comes later.
bool ThreadWaiter::begin() {
  word.store(0, std::memory_order_relaxed);
  blocked.store(true);
  if (pendingTotal.load() != 0) {
    RegistryGuard guard;
    if (takePending(thread)) {
      blocked.store(false);
      return false;
    }
  }
  return true;
}

void ThreadWaiter::block(const timespec* deadline, unsigned int spins) {
  // A notification that comes within the looks before the first sleep costs neither thread a
  // trip to the kernel.
  for (; spins > 0 && word.load(std::memory_order_relaxed) == 0; --spins) {
    wordwait::pause();
  }
  for (;;) {
    std::uint32_t seen = word.load(std::memory_order_acquire);
    if ((seen & notifiedBit) != 0) {
      return;
    }
    if ((seen & interruptedBit) != 0) {
      // The mark may be meant for an earlier wait of this thread: only a pending
      // interruption ends this one. Cleared first, so that a new one marks it again.
      word.fetch_and(~interruptedBit, std::memory_order_relaxed);
      RegistryGuard guard;
      if (*findPending(thread) != nullptr) {
        interrupted = true;
        return;
      }
      continue;
    }
    if ((seen & sleepingBit) == 0) {
      if (!word.compare_exchange_weak(seen, seen | sleepingBit, std::memory_order_relaxed)) {
        continue;
      }
      seen |= sleepingBit;
    }
    if (!wordwait::wait(word, seen, deadline)) {
      return; // timed out
    }
  }
}

bool ThreadWaiter::finish() {
  blocked.store(false);
  const bool throws = interrupted && !notified();
  interrupted = false;
  if (!throws) {
    return false;
  }
  RegistryGuard guard;
  return takePending(thread);
}

bool ThreadWaiter::markNotified() {
  return (word.fetch_or(notifiedBit, std::memory_order_release) & sleepingBit) != 0;
}

void ThreadWaiter::wake() {
  wordwait::wake(word);
}

bool ThreadWaiter::notified() const {
  return (word.load(std::memory_order_acquire) & notifiedBit) != 0;
}

void ThreadWaiter::interrupt() {
  if ((word.fetch_or(interruptedBit) & sleepingBit) != 0) {
    wordwait::wake(word);
  }
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
  pendingTotal.fetch_add(count);
  for (ThreadWaiter* waiter = waiters; waiter != nullptr; waiter = waiter->nextWaiter) {
    if (waiter->thread == threadId && waiter->blocked.load()) {
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
  for (const ThreadWaiter* waiter = waiters; waiter != nullptr; waiter = waiter->nextWaiter) {
    if (waiter->thread == threadId && waiter->blocked.load()) {
      return true;
    }
  }
  return false;
}

} // namespace basalt::platform
