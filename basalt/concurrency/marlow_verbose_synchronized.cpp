#include "basalt/concurrency/marlow_verbose_synchronized.h"

#include "basalt/frame/static/static_objects.h"
#include "basalt/logging/core_log.h"
#include "basalt/platform/base/thread_state.h"
#include "basalt/text/formatted_text.h"

namespace basalt {

MarlowVerboseSynchronized::MarlowVerboseSynchronized(MarlowMutex& mutex, const char* name)
    : guard(nullptr), name(name) {
  log(0x420170A7);
  guard = new MarlowSynchronized(mutex);
  log(0x420170A8);
}

MarlowVerboseSynchronized::~MarlowVerboseSynchronized() {
  log(0x420170A9);
  delete guard;
}

void MarlowVerboseSynchronized::log(std::uint32_t message) {
  // At most 8 digits of the id: a longer one is cut.
  unsigned short threadId[9] = {};
  suprintf(threadId, 8, "%ld", platform::GetCurrentThreadId());
  const unsigned short* inserts[] = {threadId, name.c_str()};
  if (frame::libraryLog == nullptr) {
    return; // the library isn't attached
  }
  frame::libraryLog->log(message, CoreLog::VerbosityDetail, "SUPPORT", "Synchronization", 2,
                         inserts);
}

} // namespace basalt
