#include "basalt/concurrency/read_write_lock.h"

namespace basalt {
namespace {

constexpr std::uint32_t writerBit = 1U << 31;
// The write lock, passed by the last reader to whichever waiting writer wakes first.
constexpr std::uint32_t handedOverBit = 1U << 30;
// Somebody may wait on the condition without having been woken. Set by the waiter before
// every test, cleared by the release that wakes them all.
constexpr std::uint32_t waitersBit = 1U << 29;
constexpr std::uint32_t writerWaitsBit = 1U << 28; // a writer is in lockWaiting
constexpr std::uint32_t readerMask = writerWaitsBit - 1;

} // namespace

ReadWriteLock::ReadWriteLock()
    : condition(new PavaneCondition(&mutex)), state(0), writersWaiting(0) {}

ReadWriteLock::~ReadWriteLock() {
  delete condition;
}

// A waiter marks the word before it tests it, and a release that finds the mark wakes under
// the mutex, which the waiter holds from its test into the wait: no wake-up is lost between.
template <class Take> void ReadWriteLock::lockWaiting(Take take, bool writer) {
  PavaneSynchronized guard(mutex);
  if (writer && writersWaiting++ == 0) {
    state.fetch_or(writerWaitsBit);
  }
  for (;;) {
    state.fetch_or(waitersBit);
    if (writer && (state.load(std::memory_order_relaxed) & handedOverBit) != 0) {
      state.fetch_xor(handedOverBit | writerBit, std::memory_order_acquire);
      break;
    }
    if (take()) {
      break;
    }
    condition->wait();
  }
  if (writer && --writersWaiting == 0) {
    state.fetch_and(~writerWaitsBit);
  }
}

void ReadWriteLock::lastReaderGone() {
  PavaneSynchronized guard(mutex);
  // Only writers can be waiting now. Unless somebody has taken the lock meanwhile, and will
  // wake them in turn, one of them gets it.
  std::uint32_t seen = state.load(std::memory_order_relaxed);
  while ((seen & ~(waitersBit | writerWaitsBit)) == 0 && writersWaiting != 0) {
    if (state.compare_exchange_weak(seen, seen | handedOverBit, std::memory_order_relaxed)) {
      condition->signal();
      return;
    }
  }
}

void ReadWriteLock::read_lock() {
  // A writer that only waits doesn't stop a reader: the word says nothing of it. A reader that
  // finds the write lock held counts itself out again; while the lock is held, its count stops
  // nobody.
  if ((state.fetch_add(1, std::memory_order_acquire) & (writerBit | handedOverBit)) == 0) {
    return;
  }
  read_unlock();
  lockWaiting(
      [this] {
        std::uint32_t seen = state.load(std::memory_order_relaxed);
        while ((seen & (writerBit | handedOverBit)) == 0) {
          if (state.compare_exchange_weak(seen, seen + 1, std::memory_order_acquire,
                                          std::memory_order_relaxed)) {
            return true;
          }
        }
        return false;
      },
      false);
}

void ReadWriteLock::read_unlock() {
  std::uint32_t seen = state.load(std::memory_order_relaxed);
  do {
    if ((seen & readerMask) == 0) {
      return;
    }
  } while (!state.compare_exchange_weak(seen, seen - 1, std::memory_order_release,
                                        std::memory_order_relaxed));
  if ((seen & readerMask) == 1 && (seen & writerWaitsBit) != 0) {
    lastReaderGone();
  }
}

void ReadWriteLock::write_lock() {
  const auto take = [this] {
    std::uint32_t seen = state.load(std::memory_order_relaxed);
    while ((seen & ~(waitersBit | writerWaitsBit)) == 0) {
      if (state.compare_exchange_weak(seen, seen | writerBit, std::memory_order_acquire,
                                      std::memory_order_relaxed)) {
        return true;
      }
    }
    return false;
  };
  if (!take()) {
    lockWaiting(take, true);
  }
}

void ReadWriteLock::write_unlock() {
  if ((state.fetch_and(~writerBit, std::memory_order_release) & waitersBit) != 0) {
    PavaneSynchronized guard(mutex);
    state.fetch_and(~waitersBit); // all of them are woken now
    condition->broadcast();
  }
}

PavaneSynchronizedRead::PavaneSynchronizedRead(ReadWriteLock& lock) : lock(&lock) {
  lock.read_lock();
}

PavaneSynchronizedRead::~PavaneSynchronizedRead() {
  lock->read_unlock();
}

PavaneSynchronizedWrite::PavaneSynchronizedWrite(ReadWriteLock& lock) : lock(&lock) {
  lock.write_lock();
}

PavaneSynchronizedWrite::~PavaneSynchronizedWrite() {
  lock->write_unlock();
}

} // namespace basalt
