#ifndef BASALT_PLATFORM_THREADS_JTC_HANDLE_H
#define BASALT_PLATFORM_THREADS_JTC_HANDLE_H

// Reference-counted objects of the thread library and the handle that counts them.

#include "basalt/export.h"
#include "basalt/platform/threads/critical_section.h"

namespace basalt::platform {

// A count of the handles that hold an object, guarded by a lock of its own. It starts at 0;
// the handle that takes it back to 0 deletes the object. A copy starts at 0 again.
// The count may be shared between threads.
class BASALT_API JTCRefCount {
public:
  JTCRefCount();
  JTCRefCount(const JTCRefCount& other);
  JTCRefCount& operator=(const JTCRefCount& other);
  virtual ~JTCRefCount();

  void incRef();
  // True when the count has come to 0: the caller then deletes the object.
  bool decRef();
  int refCount() const;

private:
  mutable CRITICAL_SECTION countLock;
  int count = 0;
};

// Handles to one object may be used on different threads; one handle belongs to one thread at a
// time.
// A counting pointer to an object derived from JTCRefCount; it may be null. The object is
// deleted outside its count's lock, by whichever handle lets go of it last.
//
// The analyzer can't see the count through its lock and takes every release for the last.
// NOLINTBEGIN(clang-analyzer-cplusplus.NewDelete)
template <class T> class JTCHandleT {
public:
  JTCHandleT(T* target = nullptr) : object(target) { take(); }
  JTCHandleT(const JTCHandleT& other) : object(other.object) { take(); }
  template <class U> JTCHandleT(const JTCHandleT<U>& other) : object(other.get()) { take(); }
  ~JTCHandleT() { release(object); }

  JTCHandleT& operator=(const JTCHandleT& other) {
    if (this != &other) {
      assign(other.object);
    }
    return *this;
  }
  JTCHandleT& operator=(T* other) { return assign(other); }

  T* get() const { return object; }
  T* operator->() const { return object; }
  T& operator*() const { return *object; }
  explicit operator bool() const { return object != nullptr; }
  bool operator==(const JTCHandleT& other) const { return object == other.object; }
  bool operator!=(const JTCHandleT& other) const { return object != other.object; }

private:
  void take() {
    if (object != nullptr) {
      static_cast<JTCRefCount*>(object)->incRef();
    }
  }
  static void release(T* held) {
    if (held != nullptr && static_cast<JTCRefCount*>(held)->decRef()) {
      delete held;
    }
  }
  JTCHandleT& assign(T* other) {
    if (other != object) {
      T* const old = object;
      object = other;
      take();
      release(old);
    }
    return *this;
  }

  T* object;
};
// NOLINTEND(clang-analyzer-cplusplus.NewDelete)

} // namespace basalt::platform

#endif
