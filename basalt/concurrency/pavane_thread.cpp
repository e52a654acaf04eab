#include "basalt/concurrency/pavane_thread.h"

#include "basalt/errors/base_error.h"
#include "basalt/platform/threads/jtc_exceptions.h"

namespace basalt {

namespace plat = platform;

PavaneThread::PavaneThread(void* arg, plat::JTCHandleT<plat::JTCThreadGroup> group)
    : JTCThread(group, nullptr), arg(arg) {}

PavaneThread::~PavaneThread() = default;

void PavaneThread::start_undetached() {
  start();
}

void PavaneThread::join(void* /*unused*/) {
  do {
    try {
      JTCThread::join();
    } catch (const plat::JTCInterruptedException&) {
      // Interruptions are absorbed: the join goes on until the thread has ended.
    }
  } while (isAlive());
}

plat::JTCThread* PavaneThread::self() {
  return currentThread();
}

void PavaneThread::set_priority(int priority) {
  try {
    setPriority(priority);
  } catch (const plat::JTCSystemCallException&) {
    throw BaseError(0x2017053, "Thread", BaseError::SeverityWarning, BaseError::CompletedDefault);
  }
}

void PavaneThread::run() {
  work(arg);
}

void* PavaneThread::run_undetached() {
  return work(arg);
}

MarlowThread::MarlowThread(void* arg, plat::JTCHandleT<plat::JTCThreadGroup> group)
    : JTCThread(group, nullptr), arg(arg) {}

MarlowThread::~MarlowThread() = default;

} // namespace basalt
