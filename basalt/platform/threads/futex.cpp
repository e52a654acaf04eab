#include "basalt/platform/threads/futex.h"

#include <cerrno>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace basalt::platform::futex {

static_assert(sizeof(std::atomic<std::uint32_t>) == sizeof(std::uint32_t) &&
                  std::atomic<std::uint32_t>::is_always_lock_free,
              "the kernel reads the word itself");

bool wait(std::atomic<std::uint32_t>& word, std::uint32_t expected, const timespec* deadline) {
  // The bitset form takes an absolute time on CLOCK_MONOTONIC.
  const long result =
      ::syscall(SYS_futex, reinterpret_cast<std::uint32_t*>(&word), FUTEX_WAIT_BITSET_PRIVATE,
                expected, deadline, nullptr, FUTEX_BITSET_MATCH_ANY);
  return result == 0 || errno != ETIMEDOUT;
}

void wake(std::atomic<std::uint32_t>& word, int count) {
  ::syscall(SYS_futex, reinterpret_cast<std::uint32_t*>(&word), FUTEX_WAKE_PRIVATE, count, nullptr,
            nullptr, 0);
}

} // namespace basalt::platform::futex
