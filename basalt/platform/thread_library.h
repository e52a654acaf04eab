#ifndef BASALT_PLATFORM_THREAD_LIBRARY_H
#define BASALT_PLATFORM_THREAD_LIBRARY_H

// The thread library's life in a process. Its threads, monitors and mutexes stand on
// pthreads and may be used only while the library is started.

namespace basalt::platform {

// Brackets the use of the thread library: the first object alive in the process starts the
// library, the last one to go ends it. Objects may be made and destroyed on any thread.
class JTCInitialize {
public:
  JTCInitialize();
  // Declared as the closed library declares it: ending may report a failure by throwing.
  ~JTCInitialize() noexcept(false);
  JTCInitialize(const JTCInitialize&) = delete;
  JTCInitialize& operator=(const JTCInitialize&) = delete;

  // True while at least one JTCInitialize is alive in the process.
  static bool initialized();
};

} // namespace basalt::platform

#endif
