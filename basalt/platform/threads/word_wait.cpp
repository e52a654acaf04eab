#include "basalt/platform/threads/word_wait.h"

#include <cerrno>
#include <cstddef>
#include <pthread.h>

namespace basalt::platform::wordwait {
namespace {

// Sleepers wait in one of a few rooms chosen by their word's address. A room's mutex orders a
// sleeper's look at its word against the waker's visit, which comes after the change: a
// sleeper that saw the old value is asleep by the time the waker gets the mutex, so no
// wake-up is lost. Words that share a room only wake each other spuriously.
struct Room {
  pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
  pthread_cond_t changed = PTHREAD_COND_INITIALIZER;
  unsigned sleepers = 0; // under lock
};

constexpr std::size_t roomCount = 64;
// Never destroyed: locks are still taken while the library's objects go at unload.
Room rooms[roomCount];

Room& roomOf(const std::atomic<std::uint32_t>& word) {
  const auto address = reinterpret_cast<std::uintptr_t>(&word);
  return rooms[(address >> 4) % roomCount];
}

} // namespace

bool wait(const std::atomic<std::uint32_t>& word, std::uint32_t expected,
          const timespec* deadline) {
  Room& room = roomOf(word);
  pthread_mutex_lock(&room.lock);
  int result = 0;
  if (word.load(std::memory_order_acquire) == expected) {
    ++room.sleepers;
    result = deadline == nullptr
                 ? pthread_cond_wait(&room.changed, &room.lock)
                 : pthread_cond_clockwait(&room.changed, &room.lock, CLOCK_MONOTONIC, deadline);
    --room.sleepers;
  }
  pthread_mutex_unlock(&room.lock);
  return result != ETIMEDOUT;
}

void wake(const std::atomic<std::uint32_t>& word) {
  Room& room = roomOf(word);
  pthread_mutex_lock(&room.lock);
  const bool anyone = room.sleepers != 0;
  pthread_mutex_unlock(&room.lock);
  // Outside the mutex, so that a woken sleeper doesn't wake only to wait for it.
  if (anyone) {
    pthread_cond_broadcast(&room.changed);
  }
}

} // namespace basalt::platform::wordwait
