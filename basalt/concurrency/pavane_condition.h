#ifndef BASALT_CONCURRENCY_PAVANE_CONDITION_H
#define BASALT_CONCURRENCY_PAVANE_CONDITION_H

#include "basalt/concurrency/pavane_mutex.h"
#include "basalt/export.h"
#include "basalt/platform/base/win_types.h"
#include "basalt/platform/threads/jtc_monitor.h"

namespace basalt {

// A condition bound to a PavaneMutex, which must outlive it. A return from wait says only that
// it is worth looking again: test the condition in a loop around the call. Interruptions of
// the wait are absorbed.
// May be shared between threads. Waiters and signallers on several threads are what it is for.
class BASALT_API PavaneCondition : public platform::JTCMonitor {
public:
  explicit PavaneCondition(PavaneMutex* mutex);
  ~PavaneCondition() override;

  // The caller holds the bound mutex exactly once; it is left for the wait and taken again.
  void wait();
  // As wait(), for at most timeout milliseconds; each interruption starts the time again.
  void wait(platform::LONG timeout);

  // Wake one or all waiters. The library's own callers hold the bound mutex when they call
  // them, which is what keeps a wake-up from falling between a waiter's test and its wait.
  void signal();
  void broadcast();

private:
  // The time-out in milliseconds, or null for none.
  void waitFor(const platform::LONG* timeout);
  bool nobodyToWake();

  PavaneMutex* mutex;
};

} // namespace basalt

#endif
