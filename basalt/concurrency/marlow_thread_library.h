#ifndef BASALT_CONCURRENCY_MARLOW_THREAD_LIBRARY_H
#define BASALT_CONCURRENCY_MARLOW_THREAD_LIBRARY_H

// The thread library's own locks and brackets under the names of the library's clients. They
// add nothing: the thread library's exceptions reach the caller unchanged, and nothing in
// basalt uses them.

#include "basalt/export.h"
#include "basalt/platform/threads/jtc_monitor.h"
#include "basalt/platform/threads/jtc_mutex.h"
#include "basalt/platform/threads/jtc_thread.h"
#include "basalt/platform/threads/thread_library.h"

namespace basalt {

// The thread library's recursive mutex. May be shared between threads.
class BASALT_API MarlowRecursiveMutex : public platform::JTCRecursiveMutex {
public:
  MarlowRecursiveMutex();
  ~MarlowRecursiveMutex();
};

// The thread library's monitor. May be shared between threads.
class BASALT_API MarlowMonitor : public platform::JTCMonitor {
public:
  MarlowMonitor();
  ~MarlowMonitor() override;
};

// Brackets a client's use of the thread library. basalt brings the library up itself when it
// is loaded, so a client needs one only to keep it up past basalt's unload.
// Any thread may make, copy or destroy one.
class BASALT_API MarlowInitialize : public platform::JTCInitialize {
public:
  MarlowInitialize();
  ~MarlowInitialize() noexcept(false);
  MarlowInitialize(const MarlowInitialize& other);
  MarlowInitialize& operator=(const MarlowInitialize& other);
};

// Held by a thread that the thread library didn't start, for as long as it uses it.
// It and its copies belong to the thread that made it.
class BASALT_API MarlowAdoptCurrentThread : public platform::JTCAdoptCurrentThread {
public:
  MarlowAdoptCurrentThread();
  ~MarlowAdoptCurrentThread();
  MarlowAdoptCurrentThread(const MarlowAdoptCurrentThread& other);
  MarlowAdoptCurrentThread& operator=(const MarlowAdoptCurrentThread& other);
};

} // namespace basalt

#endif
