#ifndef BASALT_CONCURRENCY_COND_ARGS_H
#define BASALT_CONCURRENCY_COND_ARGS_H

#include "basalt/concurrency/pavane_condition.h"
#include "basalt/concurrency/pavane_mutex.h"
#include "basalt/export.h"

namespace basalt {

// A mutex, a condition bound to it and an integer, for two threads to meet on. The locking is
// the user's: lock, test or set the flag, wait in a loop or signal, unlock. flag() and
// setFlag() are safe only between lock() and unlock().
// It is meant to be shared between threads.
class BASALT_API CondArgs {
public:
  CondArgs();
  ~CondArgs();
  CondArgs(const CondArgs&) = delete;
  CondArgs& operator=(const CondArgs&) = delete;

  void lock();
  void unlock();
  int flag() const { return value; }
  void setFlag(int flag) { value = flag; }
  // The caller holds the mutex, once, through lock().
  void wait();
  void signal();
  void broadcast();

private:
  PavaneMutex mutex;
  PavaneCondition* condition;
  int value;
};

} // namespace basalt

#endif
