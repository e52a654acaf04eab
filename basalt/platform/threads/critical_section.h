#ifndef BASALT_PLATFORM_THREADS_CRITICAL_SECTION_H
#define BASALT_PLATFORM_THREADS_CRITICAL_SECTION_H

#include "basalt/export.h"

#include <atomic>
#include <cstdint>

namespace basalt::platform {

class ThreadWaiter;

// A re-entrant lock: the owning thread may enter again and the section is free only after
// as many leaves as enters. Entering a free section and leaving it are an atomic instruction
// each; only a thread that finds it taken goes to the kernel, and only then does leaving.
// May be shared between threads.
struct CRITICAL_SECTION {
  std::atomic<std::uint32_t> state; // one of the three below
  unsigned int depth;               // the owner's entries; this and the last, the owner's alone
  std::atomic<void*> owner;         // the holding thread, null when free
  ThreadWaiter* wakeOnLeave;        // notified while the section was held: woken as it is freed
};

// The states of a section: free, held, and held while a thread may sleep on it.
constexpr std::uint32_t sectionFree = 0;
constexpr std::uint32_t sectionHeld = 1;
constexpr std::uint32_t sectionContended = 2;

void InitializeCriticalSection(CRITICAL_SECTION* section);
inline void EnterCriticalSection(CRITICAL_SECTION* section);
bool TryEnterCriticalSection(CRITICAL_SECTION* section);
// A thread that doesn't hold the section changes nothing.
inline void LeaveCriticalSection(CRITICAL_SECTION* section);
void DeleteCriticalSection(CRITICAL_SECTION* section);

// The slow halves of entering and leaving: a section found held, a sleeper or a notified
// thread to wake. Exported, as the fast halves are inline in code outside the library.
BASALT_API void EnterContendedCriticalSection(CRITICAL_SECTION* section);
BASALT_API void WakeAfterLeavingCriticalSection(CRITICAL_SECTION* section,
                                                std::uint32_t previousState,
                                                ThreadWaiter* notified);

// What tells the calling thread from every other thread alive: its control block.
inline void* currentThreadToken() {
  return __builtin_thread_pointer();
}

// Inline, as they are most of what a short locked section costs. Only the owner can find
// itself in owner, so a relaxed read can't mistake another thread for the caller.
inline void EnterCriticalSection(CRITICAL_SECTION* section) {
  void* const self = currentThreadToken();
  if (section->owner.load(std::memory_order_relaxed) == self) {
    ++section->depth;
    return;
  }
  std::uint32_t expected = sectionFree;
  if (!section->state.compare_exchange_strong(expected, sectionHeld, std::memory_order_acquire,
                                              std::memory_order_relaxed)) {
    EnterContendedCriticalSection(section);
  }
  section->owner.store(self, std::memory_order_relaxed);
  section->depth = 1;
}

inline void LeaveCriticalSection(CRITICAL_SECTION* section) {
  if (section->owner.load(std::memory_order_relaxed) != currentThreadToken() ||
      --section->depth != 0) {
    return;
  }
  ThreadWaiter* const notified = section->wakeOnLeave;
  section->wakeOnLeave = nullptr;
  section->owner.store(nullptr, std::memory_order_relaxed);
  const std::uint32_t previous = section->state.exchange(sectionFree, std::memory_order_release);
  if (previous == sectionContended || notified != nullptr) {
    WakeAfterLeavingCriticalSection(section, previous, notified);
  }
}

} // namespace basalt::platform

#endif
