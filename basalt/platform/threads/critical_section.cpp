#include "basalt/platform/threads/critical_section.h"

#include "basalt/platform/threads/thread_interruption.h"
#include "basalt/platform/threads/word_wait.h"

namespace basalt::platform {
void InitializeCriticalSection(CRITICAL_SECTION* section) {
  section->state.store(sectionFree, std::memory_order_relaxed);
  section->owner.store(nullptr, std::memory_order_relaxed);
  section->depth = 0;
  section->wakeOnLeave = nullptr;
}

// No spinning first: on a machine whose processors are shared, the holder may not be running
// at all while another thread spins for it. Marked as contended from here on, so that the
// leaving owner wakes a sleeper.
void EnterContendedCriticalSection(CRITICAL_SECTION* section) {
  while (section->state.exchange(sectionContended, std::memory_order_acquire) != sectionFree) {
    wordwait::wait(section->state, sectionContended, nullptr);
  }
}

void WakeAfterLeavingCriticalSection(CRITICAL_SECTION* section, std::uint32_t previousState,
                                     ThreadWaiter* notified) {
  if (previousState == sectionContended) {
    wordwait::wake(section->state);
  }
  if (notified != nullptr) {
    notified->wake();
  }
}

bool TryEnterCriticalSection(CRITICAL_SECTION* section) {
  void* const self = currentThreadToken();
  if (section->owner.load(std::memory_order_relaxed) == self) {
    ++section->depth;
    return true;
  }
  std::uint32_t expected = sectionFree;
  if (!section->state.compare_exchange_strong(expected, sectionHeld, std::memory_order_acquire,
                                              std::memory_order_relaxed)) {
    return false;
  }
  section->owner.store(self, std::memory_order_relaxed);
  section->depth = 1;
  return true;
}

void DeleteCriticalSection(CRITICAL_SECTION* /*section*/) {}

} // namespace basalt::platform
