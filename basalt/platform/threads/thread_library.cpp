#include "basalt/platform/threads/thread_library.h"

#include "basalt/platform/base/debug_output.h"

#include <pthread.h>

namespace basalt::platform {
namespace {

// Statically initialised, so the count is usable before and after any C++ object of the
// library lives. Guards users and termGroup.
pthread_mutex_t usersLock = PTHREAD_MUTEX_INITIALIZER;
int users = 0;
JTCThreadGroup* termGroup = nullptr; // holds one count while the library is up

// One hold on the library, shared by a JTCInitialize and its copies.
class ThreadLibraryUse : public JTCRefCount {
public:
  ThreadLibraryUse() {
    pthread_mutex_lock(&usersLock);
    if (users++ == 0) {
      termGroup = new JTCThreadGroup("term");
      termGroup->incRef();
      outputDebugTrace("thread library started");
    }
    pthread_mutex_unlock(&usersLock);
  }
  ThreadLibraryUse(const ThreadLibraryUse&) = delete;
  ThreadLibraryUse& operator=(const ThreadLibraryUse&) = delete;

  ~ThreadLibraryUse() override {
    pthread_mutex_lock(&usersLock);
    JTCThreadGroup* released = nullptr;
    if (--users == 0) {
      released = termGroup;
      termGroup = nullptr;
      outputDebugTrace("thread library ended");
    }
    pthread_mutex_unlock(&usersLock);
    // Threads still running keep their group.
    if (released != nullptr && released->decRef()) {
      delete released;
    }
  }
};

} // namespace

JTCThreadGroup::JTCThreadGroup(const char* name) : name(name != nullptr ? name : "") {}

JTCInitialize::JTCInitialize() : use(new ThreadLibraryUse) {}

JTCInitialize::~JTCInitialize() noexcept(false) = default;

bool JTCInitialize::initialized() {
  pthread_mutex_lock(&usersLock);
  const bool running = users > 0;
  pthread_mutex_unlock(&usersLock);
  return running;
}

JTCHandleT<JTCThreadGroup> JTCInitialize::getTermGroup() {
  pthread_mutex_lock(&usersLock);
  JTCHandleT<JTCThreadGroup> group(termGroup);
  pthread_mutex_unlock(&usersLock);
  return group;
}

} // namespace basalt::platform
