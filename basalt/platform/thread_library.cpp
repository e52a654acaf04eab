#include "basalt/platform/thread_library.h"

#include "basalt/platform/debug_output.h"

#include <pthread.h>

namespace basalt::platform {
namespace {

// Statically initialised, so the count is usable before and after any C++ object of the
// library lives.
pthread_mutex_t usersLock = PTHREAD_MUTEX_INITIALIZER;
int users = 0;

} // namespace

JTCInitialize::JTCInitialize() {
  pthread_mutex_lock(&usersLock);
  if (users++ == 0) {
    outputDebugTrace("thread library started");
  }
  pthread_mutex_unlock(&usersLock);
}

JTCInitialize::~JTCInitialize() noexcept(false) {
  pthread_mutex_lock(&usersLock);
  if (--users == 0) {
    outputDebugTrace("thread library ended");
  }
  pthread_mutex_unlock(&usersLock);
}

bool JTCInitialize::initialized() {
  pthread_mutex_lock(&usersLock);
  const bool running = users > 0;
  pthread_mutex_unlock(&usersLock);
  return running;
}

} // namespace basalt::platform
