#include "basalt/platform/runtime/reporter_thread.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <mutex>
#include <poll.h>
#include <pthread.h>
#include <type_traits>
#include <unistd.h>

namespace basalt::platform {
namespace {

// One task, written whole: a pipe doesn't interleave writes of up to PIPE_BUF bytes, so any
// number of faulting threads may write at once.
struct Request {
  void (*task)(void* data);
  int replyFd; // one byte goes here when the task is done; the reporter then closes it
  alignas(16) unsigned char data[reporterTaskDataLimit];
};
static_assert(sizeof(Request) <= PIPE_BUF, "a request must reach the pipe in one piece");

struct Reporter {
  std::mutex mutex; // of starting and stopping
  pthread_t thread{};
  int readFd = -1;
  std::atomic<int> requestFd{-1}; // -1 while no reporter runs
  std::atomic<pid_t> process{0};  // the process it runs in: a child after fork has none
  std::atomic<pid_t> threadId{0};
};

// Constant-initialised and trivially destructible: there from the start, and still there
// for a fault that comes while the process exits.
Reporter reporterState;
static_assert(std::is_trivially_destructible_v<Reporter>, "no destructor may run at exit");

Reporter& reporter() {
  return reporterState;
}

bool readFully(int fd, void* buffer, std::size_t size) {
  auto* bytes = static_cast<unsigned char*>(buffer);
  while (size > 0) {
    const ssize_t got = ::read(fd, bytes, size);
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got <= 0) {
      return false;
    }
    bytes += got;
    size -= static_cast<std::size_t>(got);
  }
  return true;
}

void* serve(void* /*unused*/) {
  Reporter& state = reporter();
  state.threadId = ::gettid();
  // A caller that gave up waiting has closed its end of the reply pipe.
  sigset_t brokenPipe;
  ::sigemptyset(&brokenPipe);
  ::sigaddset(&brokenPipe, SIGPIPE);
  ::pthread_sigmask(SIG_BLOCK, &brokenPipe, nullptr);
  Request request{};
  while (readFully(state.readFd, &request, sizeof request)) {
    request.task(request.data);
    const char done = 1;
    while (::write(request.replyFd, &done, 1) < 0 && errno == EINTR) {
    }
    ::close(request.replyFd);
  }
  return nullptr;
}

// Waits until the reporter's byte has come, or the timeout has passed; async-signal-safe.
// Reading the byte, not only seeing it come, orders the task's writes before the caller's
// reads.
void awaitReply(int fd) {
  timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  const std::time_t deadline = now.tv_sec + reporterTaskTimeoutSeconds;
  pollfd reply{fd, POLLIN, 0};
  while (now.tv_sec < deadline) {
    const int ready = ::poll(&reply, 1, static_cast<int>(deadline - now.tv_sec) * 1000);
    if (ready > 0) {
      char done = 0;
      readFully(fd, &done, 1);
      return;
    }
    if (ready == 0 || errno != EINTR) {
      return;
    }
    ::clock_gettime(CLOCK_MONOTONIC, &now);
  }
}

// The thread goes with the library's code.
__attribute__((destructor)) void stopReporterThread() {
  Reporter& state = reporter();
  const std::lock_guard<std::mutex> lock(state.mutex);
  const int fd = state.requestFd.exchange(-1);
  if (fd < 0 || state.process != ::getpid()) {
    return;
  }
  ::close(fd); // the reporter reads the end of its pipe and returns
  ::pthread_join(state.thread, nullptr);
  ::close(state.readFd);
}

} // namespace

bool startReporterThread() {
  Reporter& state = reporter();
  const std::lock_guard<std::mutex> lock(state.mutex);
  if (state.requestFd >= 0) {
    if (state.process == ::getpid()) {
      return true;
    }
    // Inherited over fork, without the thread that read it.
    ::close(state.requestFd.exchange(-1));
    ::close(state.readFd);
  }
  int fds[2];
  if (::pipe2(fds, O_CLOEXEC) != 0) {
    return false;
  }
  state.readFd = fds[0];
  if (::pthread_create(&state.thread, nullptr, serve, nullptr) != 0) {
    ::close(fds[0]);
    ::close(fds[1]);
    return false;
  }
  state.process = ::getpid();
  state.requestFd = fds[1];
  return true;
}

bool runOnReporterThread(void (*task)(void* data), const void* data, std::size_t size) {
  Reporter& state = reporter();
  const int requestFd = state.requestFd;
  if (requestFd < 0 || size > reporterTaskDataLimit || state.process != ::getpid() ||
      state.threadId == ::gettid()) {
    return false;
  }
  int reply[2];
  if (::pipe2(reply, O_CLOEXEC) != 0) {
    return false;
  }
  Request request{};
  request.task = task;
  request.replyFd = reply[1];
  std::memcpy(request.data, data, size);
  ssize_t written = 0;
  do {
    written = ::write(requestFd, &request, sizeof request);
  } while (written < 0 && errno == EINTR);
  if (written != static_cast<ssize_t>(sizeof request)) {
    ::close(reply[0]);
    ::close(reply[1]);
    return false;
  }
  awaitReply(reply[0]);
  ::close(reply[0]);
  return true;
}

} // namespace basalt::platform
