#ifndef BASALT_PLATFORM_RUNTIME_REPORTER_THREAD_H
#define BASALT_PLATFORM_RUNTIME_REPORTER_THREAD_H

// A thread of the library's own that does the work a faulting thread must not do itself. A
// thread that has faulted may be inside a signal handler, or may hold the lock of malloc or
// of a stream: it may only make async-signal-safe calls. It hands its task to the reporter
// thread, through pipes, and waits; its stack stays as it was until the task is done, so the
// task may read it.
//
// The thread doesn't survive fork: in a child the reporter isn't running. It is stopped, after
// the task it is doing, when the library unloads.

#include <cstddef>

namespace basalt::platform {

// The most data that runOnReporterThread copies for a task.
constexpr std::size_t reporterTaskDataLimit = 512;
// How long a task may take before its caller gives up waiting and goes on.
constexpr int reporterTaskTimeoutSeconds = 60;

// Starts the thread unless it runs. True when it runs. Not for signal handlers.
bool startReporterThread();

// Copies size bytes of data (at most reporterTaskDataLimit) to the reporter thread, runs
// task(copy) there and returns when it is done, or when the timeout has passed. Only
// async-signal-safe calls on the caller's side. False, without running the task, when the
// reporter isn't running, is the caller, or can't be reached.
bool runOnReporterThread(void (*task)(void* data), const void* data, std::size_t size);

} // namespace basalt::platform

#endif
