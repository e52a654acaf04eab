#ifndef BASALT_TESTS_SUPPORT_BOUNDED_WAIT_H
#define BASALT_TESTS_SUPPORT_BOUNDED_WAIT_H

// Waits of tests on threads, each bounded: a wait that outlasts the bound is a hang, which is
// reported, and the process ends, since threads stuck in a lock can't be joined.

#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/threads/thread_interruption.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <gtest/gtest.h>
#include <thread>

namespace basalt::test {

// Long enough for a loaded machine under a sanitizer.
constexpr auto waitBound = std::chrono::seconds(60);

[[noreturn]] inline void hung(const char* what) {
  ADD_FAILURE() << what << " still waits after " << waitBound.count() << " s";
  std::fflush(stdout);
  std::_Exit(1);
}

template <class Condition> void await(Condition condition) {
  const auto deadline = std::chrono::steady_clock::now() + waitBound;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) {
      hung("a condition of the test");
    }
    std::this_thread::yield();
  }
}

// Runs body on a thread of its own and waits for it.
template <class Body> void finish(const char* what, Body body) {
  auto done = std::async(std::launch::async, body);
  if (done.wait_for(waitBound) != std::future_status::ready) {
    hung(what);
  }
  done.get();
}

// Starts body on a thread of its own and returns once that thread is blocked in a wait of
// the thread library; id, when given, receives the thread's id.
template <class Body> std::future<void> startBlocked(Body body, platform::DWORD* id = nullptr) {
  auto started = std::make_shared<std::atomic<platform::DWORD>>(0);
  auto done = std::async(std::launch::async, [started, body] {
    *started = platform::GetCurrentThreadId();
    body();
  });
  await([&] { return *started != 0 && platform::blockedInThreadLibrary(*started); });
  if (id != nullptr) {
    *id = *started;
  }
  return done;
}

} // namespace basalt::test

#endif
