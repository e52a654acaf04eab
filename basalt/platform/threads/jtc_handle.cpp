#include "basalt/platform/threads/jtc_handle.h"

namespace basalt::platform {

JTCRefCount::JTCRefCount() {
  InitializeCriticalSection(&countLock);
}

JTCRefCount::JTCRefCount(const JTCRefCount& /*other*/) : JTCRefCount() {}

JTCRefCount& JTCRefCount::operator=(const JTCRefCount& /*other*/) {
  return *this; // the count belongs to the object, not to its value
}

JTCRefCount::~JTCRefCount() {
  DeleteCriticalSection(&countLock);
}

void JTCRefCount::incRef() {
  EnterCriticalSection(&countLock);
  ++count;
  LeaveCriticalSection(&countLock);
}

bool JTCRefCount::decRef() {
  EnterCriticalSection(&countLock);
  const bool last = --count == 0;
  LeaveCriticalSection(&countLock);
  return last;
}

int JTCRefCount::refCount() const {
  EnterCriticalSection(&countLock);
  const int value = count;
  LeaveCriticalSection(&countLock);
  return value;
}

} // namespace basalt::platform
