#include "basalt/platform/base/thread_state.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace basalt::platform {
namespace {

thread_local DWORD lastError = ERROR_SUCCESS;
// The kernel's number, asked once per thread: the system call costs far more than the rest
// of a registry lookup or a traced lock. 0 until asked.
thread_local DWORD threadId = 0;

// A forked child's one thread has a number of its own but the parent's copy of the cache.
void forgetThreadIdInChild() {
  threadId = 0;
}

} // namespace

DWORD GetCurrentThreadId() {
  if (threadId == 0) {
    static const int registered = ::pthread_atfork(nullptr, nullptr, forgetThreadIdInChild);
    static_cast<void>(registered);
    threadId = static_cast<DWORD>(::syscall(SYS_gettid));
  }
  return threadId;
}

DWORD GetLastError() {
  return lastError;
}

void SetLastError(DWORD code) {
  lastError = code;
}

} // namespace basalt::platform
