#ifndef BASALT_PLATFORM_THREADS_JTC_THREAD_H
#define BASALT_PLATFORM_THREADS_JTC_THREAD_H

// The thread library's threads, on pthreads.

#include "basalt/export.h"
#include "basalt/platform/threads/jtc_handle.h"
#include "basalt/platform/threads/jtc_monitor.h"
#include "basalt/platform/threads/thread_library.h"

#include <atomic>
#include <pthread.h>
#include <string>

namespace basalt::platform {

// A thread object, held by JTCHandleT on the heap. start() runs run() on a new thread, which
// holds a count of its own on the object until run() has returned: the object outlives the
// last outside handle until then. Destroying the object doesn't stop the thread.
// Its handles may be held and used on any thread.
class BASALT_API JTCThread : public virtual JTCRefCount {
public:
  // A thread that isn't started yet, in group (which may be null). name may be null; the
  // system shows its first 15 characters.
  JTCThread(JTCHandleT<JTCThreadGroup>& group, const char* name);
  ~JTCThread() override;
  JTCThread(const JTCThread&) = delete;
  JTCThread& operator=(const JTCThread&) = delete;

  // JTCIllegalThreadStateException when started before; JTCSystemCallException when the
  // system makes no thread.
  void start();
  // Blocks until the thread has ended; at once for a thread never started. May throw
  // JTCInterruptedException (see thread_interruption.h). A thread joining itself gets
  // JTCIllegalThreadStateException.
  void join();
  // True from start() until run() has returned.
  bool isAlive() const;

  // The calling thread's object: the one whose run() it is in, or the one made by
  // JTCAdoptCurrentThread; null for a thread that the library doesn't know.
  static JTCThread* currentThread();

  // The value is the POSIX scheduling priority within the thread's own policy, which the
  // thread keeps. Under the normal time-sharing policy only 0 is valid; the real-time ones
  // take 1 to 99. JTCSystemCallException with the system's error when it refuses the value;
  // JTCIllegalThreadStateException when the thread isn't running.
  void setPriority(int priority);

  // The body of the thread; this one does nothing.
  virtual void run();

  const std::string& getName() const { return name; }
  JTCHandleT<JTCThreadGroup> getThreadGroup() const { return group; }

private:
  friend class JTCAdoptCurrentThread;
  struct Adopted {};
  class ThreadEnd;
  explicit JTCThread(Adopted);

  static void* begin(void* self);
  void markEnded();

  enum State { New, Running, Ended };

  JTCHandleT<JTCThreadGroup> group;
  std::string name;
  mutable JTCMonitor stateMonitor; // guards the state's changes and handle; wakes joiners
  std::atomic<int> state{New};
  pthread_t handle{};
  bool reaped = false; // joined, or not ours to join
  bool adopted = false;
};

// Makes the calling thread, which the library didn't start, known to the library for the
// object's life: currentThread() then gives its thread object. A copy shares that object.
// Copies belong to the adopted thread.
class BASALT_API JTCAdoptCurrentThread {
public:
  JTCAdoptCurrentThread();
  ~JTCAdoptCurrentThread();
  JTCAdoptCurrentThread(const JTCAdoptCurrentThread&) = default;
  JTCAdoptCurrentThread& operator=(const JTCAdoptCurrentThread&) = default;

private:
  JTCHandleT<JTCThread> thread;
};

// The shared library's entry point hears of the threads that this library starts through this
// one function, called on the new thread with true before run() and with false after it.
// Threads made with plain pthread_create or std::thread are not announced. Null removes it;
// the result is the function set before.
using ThreadNotice = void (*)(bool attached);
ThreadNotice setThreadNotice(ThreadNotice notice);

} // namespace basalt::platform

#endif
