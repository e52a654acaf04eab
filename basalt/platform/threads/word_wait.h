#ifndef BASALT_PLATFORM_THREADS_WORD_WAIT_H
#define BASALT_PLATFORM_THREADS_WORD_WAIT_H

// Sleeping on a 32-bit word of this process until another thread changes it and says so: what
// the layer's locks and waits block on once their atomic fast paths have failed. The sleep is
// a pthread condition wait, so the thread library stays on pthreads.

#include <atomic>
#include <cstdint>
#include <ctime>

namespace basalt::platform::wordwait {

// Sleeps while word holds expected, until woken or until the deadline on CLOCK_MONOTONIC
// (null: none) has passed; false only in that last case. Callers test the word again: a
// return may also be spurious.
bool wait(const std::atomic<std::uint32_t>& word, std::uint32_t expected, const timespec* deadline);
// Wakes the threads sleeping on word. Call it after changing the word.
void wake(const std::atomic<std::uint32_t>& word);

// A moment's rest in a loop that looks at a word another processor is to change.
inline void pause() {
  __builtin_ia32_pause();
}

} // namespace basalt::platform::wordwait

#endif
