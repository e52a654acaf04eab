#include "basalt/platform/threads/jtc_thread.h"

#include "basalt/platform/base/debug_output.h"
#include "basalt/platform/threads/jtc_exceptions.h"

#include <cxxabi.h>
#include <sched.h>

namespace basalt::platform {
namespace {

thread_local JTCThread* currentThreadObject = nullptr;
std::atomic<ThreadNotice> threadNotice{nullptr};

void announce(bool attached) {
  if (const ThreadNotice notice = threadNotice.load()) {
    notice(attached);
  }
}

class MonitorLock {
public:
  explicit MonitorLock(const JTCMonitor& monitor) : monitor(monitor) { monitor.lock(); }
  ~MonitorLock() { monitor.unlock(); }
  MonitorLock(const MonitorLock&) = delete;
  MonitorLock& operator=(const MonitorLock&) = delete;

private:
  const JTCMonitor& monitor;
};

} // namespace

// What a started thread does last, also when it is cancelled or exits inside run(): the
// notice, the end that joiners wait for, and giving back its own count.
class JTCThread::ThreadEnd {
public:
  explicit ThreadEnd(JTCThread* thread) : thread(thread) {}
  ~ThreadEnd() {
    announce(false);
    thread->markEnded();
    currentThreadObject = nullptr;
    if (thread->decRef()) {
      delete thread;
    }
  }
  ThreadEnd(const ThreadEnd&) = delete;
  ThreadEnd& operator=(const ThreadEnd&) = delete;

private:
  JTCThread* thread;
};

ThreadNotice setThreadNotice(ThreadNotice notice) {
  return threadNotice.exchange(notice);
}

JTCThread::JTCThread(JTCHandleT<JTCThreadGroup>& group, const char* name)
    : group(group), name(name != nullptr ? name : "") {}

JTCThread::JTCThread(Adopted)
    : group(JTCInitialize::getTermGroup()), state(Running), handle(pthread_self()), reaped(true),
      adopted(true) {}

JTCThread::~JTCThread() {
  // A thread that nobody joined gives its system resources back when it ends.
  if (state.load() != New && !reaped) {
    pthread_detach(handle);
  }
}

void JTCThread::start() {
  MonitorLock guard(stateMonitor);
  if (state.load() != New) {
    throw JTCIllegalThreadStateException("a thread can be started only once");
  }
  incRef();             // the thread's own count, given back when run() has returned
  state.store(Running); // before the thread can ask
  if (const int error = pthread_create(&handle, nullptr, &JTCThread::begin, this)) {
    // No thread holds it; the object may still be under construction, so it stays.
    state.store(New);
    decRef();
    throw JTCSystemCallException("pthread_create", error);
  }
}

void* JTCThread::begin(void* self) {
  auto* thread = static_cast<JTCThread*>(self);
  currentThreadObject = thread;
  if (!thread->name.empty()) {
    pthread_setname_np(pthread_self(), thread->name.substr(0, 15).c_str());
  }
  ThreadEnd end(thread);
  announce(true);
  try {
    thread->run();
  } catch (abi::__forced_unwind&) {
    throw;
  } catch (...) {
    outputDebugTrace("a thread's run() ended by an exception");
  }
  return nullptr;
}

void JTCThread::markEnded() {
  MonitorLock guard(stateMonitor);
  state.store(Ended);
  stateMonitor.notifyAll();
}

void JTCThread::join() {
  if (currentThreadObject == this) {
    throw JTCIllegalThreadStateException("a thread can't join itself");
  }
  MonitorLock guard(stateMonitor);
  while (state.load() == Running) {
    stateMonitor.wait();
  }
  if (state.load() == Ended && !reaped) {
    pthread_join(handle, nullptr);
    reaped = true;
  }
}

bool JTCThread::isAlive() const {
  return state.load() == Running;
}

JTCThread* JTCThread::currentThread() {
  return currentThreadObject;
}

void JTCThread::setPriority(int priority) {
  MonitorLock guard(stateMonitor); // keeps the thread from ending, so handle stays valid
  if (state.load() != Running) {
    throw JTCIllegalThreadStateException("the priority of a thread that isn't running");
  }
  int policy = 0;
  sched_param parameters{};
  if (const int error = pthread_getschedparam(handle, &policy, &parameters)) {
    throw JTCSystemCallException("pthread_getschedparam", error);
  }
  parameters.sched_priority = priority;
  if (const int error = pthread_setschedparam(handle, policy, &parameters)) {
    throw JTCSystemCallException("pthread_setschedparam", error);
  }
}

void JTCThread::run() {}

JTCAdoptCurrentThread::JTCAdoptCurrentThread() {
  if (JTCThread* known = JTCThread::currentThread()) {
    thread = known;
  } else {
    thread = new JTCThread(JTCThread::Adopted{});
    currentThreadObject = thread.get();
  }
}

JTCAdoptCurrentThread::~JTCAdoptCurrentThread() {
  if (thread->adopted && thread->refCount() == 1) {
    thread->markEnded();
    if (currentThreadObject == thread.get()) {
      currentThreadObject = nullptr;
    }
  }
}

} // namespace basalt::platform
