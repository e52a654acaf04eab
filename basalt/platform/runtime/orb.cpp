#include "basalt/platform/runtime/orb.h"

#include "basalt/platform/base/debug_output.h"

#include <pthread.h>

namespace basalt::platform {
namespace {

// Guards the instance pointer and every count, so that a last release and a new
// _OB_instance can't meet on a dying object.
pthread_mutex_t instanceLock = PTHREAD_MUTEX_INITIALIZER;
CORBA_ORB* instance = nullptr;

class InstanceGuard {
public:
  InstanceGuard() { pthread_mutex_lock(&instanceLock); }
  ~InstanceGuard() { pthread_mutex_unlock(&instanceLock); }
  InstanceGuard(const InstanceGuard&) = delete;
  InstanceGuard& operator=(const InstanceGuard&) = delete;
};

} // namespace

CORBA_ORB* CORBA_ORB::_OB_instance() {
  InstanceGuard guard;
  if (instance == nullptr) {
    instance = new CORBA_ORB;
  }
  ++instance->references;
  outputDebugTrace("ORB taken");
  return instance;
}

int CORBA_ORB::_OB_getRef() const {
  InstanceGuard guard;
  return references;
}

void OBRelease(CORBA_ORB* orb) {
  if (orb == nullptr) {
    return;
  }
  InstanceGuard guard;
  outputDebugTrace("ORB released");
  if (--orb->references == 0) {
    if (orb == instance) {
      instance = nullptr;
    }
    delete orb;
  }
}

} // namespace basalt::platform
