#ifndef BASALT_PLATFORM_THREADS_THREAD_LIBRARY_H
#define BASALT_PLATFORM_THREADS_THREAD_LIBRARY_H

// The thread library's life in a process. Its threads, monitors and mutexes stand on
// pthreads and may be used only while the library is started.

#include "basalt/export.h"
#include "basalt/platform/threads/jtc_handle.h"

#include <string>

namespace basalt::platform {

// The group that a thread belongs to.
// Shared by the threads in it.
class BASALT_API JTCThreadGroup : public JTCRefCount {
public:
  explicit JTCThreadGroup(const char* name);
  const std::string& getName() const { return name; }

private:
  std::string name;
};

// Brackets the use of the thread library: the first object alive in the process starts the
// library, the last one to go ends it. Objects may be made and destroyed on any thread. A
// copy shares the original's hold on the library, which ends when the last of them goes.
class BASALT_API JTCInitialize {
public:
  JTCInitialize();
  // Declared as the closed library declares it: ending may report a failure by throwing.
  ~JTCInitialize() noexcept(false);

  // True while at least one JTCInitialize is alive in the process.
  static bool initialized();

  // The group of every thread that names no other, "term"; null while the library is down.
  static JTCHandleT<JTCThreadGroup> getTermGroup();

private:
  JTCHandleT<JTCRefCount> use;
};

} // namespace basalt::platform

#endif
