#include "basalt/concurrency/cond_args.h"

namespace basalt {

CondArgs::CondArgs() : condition(new PavaneCondition(&mutex)), value(0) {}

CondArgs::~CondArgs() {
  delete condition;
}

void CondArgs::lock() {
  platform::EnterCriticalSection(mutex.criticalSection());
}

void CondArgs::unlock() {
  platform::LeaveCriticalSection(mutex.criticalSection());
}

void CondArgs::wait() {
  condition->wait();
}

void CondArgs::signal() {
  condition->signal();
}

void CondArgs::broadcast() {
  condition->broadcast();
}

} // namespace basalt
