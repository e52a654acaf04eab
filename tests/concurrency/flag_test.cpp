#include "basalt/concurrency/cond_args.h"
#include "basalt/concurrency/flag.h"

#include <atomic>
#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <thread>

namespace {

using basalt::CondArgs;
using basalt::Flag;
using basalt::FlaggedArg;
using basalt::PavaneMutex;
using basalt::PavaneSynchronized;

TEST(Flag, ValueWaitsForTheHolderOfTheMutexAndReentersForIt) {
  int data = 0;
  const FlaggedArg arg(&data);
  EXPECT_EQ(arg.flag, nullptr);
  EXPECT_EQ(arg.data, &data);

  PavaneMutex mutex;
  Flag flag(&mutex, 0);
  EXPECT_EQ(flag.value(), 0);
  std::future<int> reader;
  {
    PavaneSynchronized guard(mutex);
    EXPECT_EQ(flag.value(), 0); // the holder reads without blocking
    reader = std::async(std::launch::async, [&] { return flag.value(); });
    EXPECT_EQ(reader.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    flag.set(1);
  }
  EXPECT_EQ(reader.get(), 1); // the value written before the holder let go
}

// Two threads take turns through one CondArgs; the flag says whose turn it is.
TEST(CondArgs, TwoThreadsMeetOnTheFlag) {
  CondArgs meeting;
  EXPECT_EQ(meeting.flag(), 0);
  constexpr int rounds = 2000;
  std::thread other([&] {
    for (int i = 0; i < rounds; ++i) {
      meeting.lock();
      while (meeting.flag() != 1) {
        meeting.wait();
      }
      meeting.setFlag(0);
      meeting.broadcast();
      meeting.unlock();
    }
  });
  for (int i = 0; i < rounds; ++i) {
    meeting.lock();
    meeting.setFlag(1);
    meeting.signal();
    while (meeting.flag() != 0) {
      meeting.wait();
    }
    meeting.unlock();
  }
  other.join();
  EXPECT_EQ(meeting.flag(), 0);
}

} // namespace
