#include "basalt/concurrency/pavane_mutex.h"

#include <future>
#include <gtest/gtest.h>
#include <stdexcept>

namespace {

using basalt::PavaneMutex;
using basalt::PavaneSynchronized;

// Whether another thread can take the mutex at this moment.
bool freeForOthers(PavaneMutex& mutex) {
  return std::async(std::launch::async,
                    [&] {
                      if (!basalt::platform::TryEnterCriticalSection(mutex.criticalSection())) {
                        return false;
                      }
                      basalt::platform::LeaveCriticalSection(mutex.criticalSection());
                      return true;
                    })
      .get();
}

TEST(PavaneMutex, ReenteredMutexIsFreeOnlyAfterTheOuterGuard) {
  PavaneMutex mutex;
  {
    PavaneSynchronized outer(mutex);
    {
      PavaneSynchronized inner(mutex); // the owner doesn't block on itself
      EXPECT_FALSE(freeForOthers(mutex));
    }
    EXPECT_FALSE(freeForOthers(mutex));
  }
  EXPECT_TRUE(freeForOthers(mutex));
}

TEST(PavaneMutex, GuardReleasesWhenAnExceptionLeavesTheScope) {
  PavaneMutex mutex;
  EXPECT_THROW(
      {
        PavaneSynchronized outer(mutex);
        PavaneSynchronized inner(mutex);
        throw std::runtime_error("leaves both scopes");
      },
      std::runtime_error);
  EXPECT_TRUE(freeForOthers(mutex));
}

} // namespace
