#include "basalt/platform/thread_state.h"

#include <sys/syscall.h>
#include <unistd.h>

namespace basalt::platform {
namespace {
thread_local DWORD lastError = ERROR_SUCCESS;
}

DWORD GetCurrentThreadId() {
  return static_cast<DWORD>(::syscall(SYS_gettid));
}

DWORD GetLastError() {
  return lastError;
}

void SetLastError(DWORD code) {
  lastError = code;
}

} // namespace basalt::platform
