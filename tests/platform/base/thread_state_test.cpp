#include "basalt/platform/base/thread_state.h"

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

namespace plat = basalt::platform;

// The number is kept per thread after the first call: it must still be the kernel's for each
// thread, and a forked child must not go on with its parent's.
TEST(ThreadState, ThreadIdIsTheKernelsOwnPerThreadAndAfterFork) {
  EXPECT_EQ(plat::GetCurrentThreadId(), static_cast<plat::DWORD>(::syscall(SYS_gettid)));
  plat::DWORD other = 0;
  std::thread([&other] { other = plat::GetCurrentThreadId(); }).join();
  EXPECT_NE(other, plat::GetCurrentThreadId());

  const pid_t child = ::fork();
  ASSERT_NE(child, -1);
  if (child == 0) {
    ::_exit(plat::GetCurrentThreadId() == static_cast<plat::DWORD>(::getpid()) ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

} // namespace
