#ifndef BASALT_CONCURRENCY_MARLOW_VERBOSE_SYNCHRONIZED_H
#define BASALT_CONCURRENCY_MARLOW_VERBOSE_SYNCHRONIZED_H

#include "basalt/concurrency/pavane_mutex.h"
#include "basalt/export.h"
#include "basalt/text/kelp_string.h"

#include <cstdint>

namespace basalt {

// A MarlowSynchronized that logs its lock at level 5, module "SUPPORT", component
// "Synchronization", with the thread id and the name as inserts: 0x420170A7 before the lock
// is asked for, 0x420170A8 when it is held, 0x420170A9 just before it is released. A thread
// that logged the first and not the second is waiting for the lock.
// A guard belongs to the scope, and so the thread, that made it.
class BASALT_API MarlowVerboseSynchronized {
public:
  MarlowVerboseSynchronized(MarlowMutex& mutex, const char* name);
  ~MarlowVerboseSynchronized();
  // A copy would release the lock twice.
  MarlowVerboseSynchronized(const MarlowVerboseSynchronized&) = delete;
  MarlowVerboseSynchronized& operator=(const MarlowVerboseSynchronized&) = delete;

private:
  void log(std::uint32_t message);

  MarlowSynchronized* guard;
  KELPString name;
};

} // namespace basalt

#endif
