#ifndef BASALT_PLATFORM_RUNTIME_ORB_H
#define BASALT_PLATFORM_RUNTIME_ORB_H

// The process's ORB, as far as the library uses it: one counted object, made on first need
// and destroyed when its last reference is given back.

namespace basalt::platform {

class CORBA_ORB {
public:
  // The process's ORB with one more reference, which the caller gives back with OBRelease.
  static CORBA_ORB* _OB_instance();

  // The references held at this moment.
  int _OB_getRef() const;

  CORBA_ORB(const CORBA_ORB&) = delete;
  CORBA_ORB& operator=(const CORBA_ORB&) = delete;

private:
  friend void OBRelease(CORBA_ORB* orb);
  CORBA_ORB() = default;
  ~CORBA_ORB() = default;

  int references = 0; // guarded by the instance lock
};

// Gives back one reference; null is allowed and does nothing.
void OBRelease(CORBA_ORB* orb);

// Holds one reference and gives it back when it goes. Assigning gives back the reference
// held before, also when that is null.
class CORBA_ORB_var {
public:
  CORBA_ORB_var() = default;
  ~CORBA_ORB_var() { OBRelease(orb); }
  CORBA_ORB_var(const CORBA_ORB_var&) = delete;
  CORBA_ORB_var& operator=(const CORBA_ORB_var&) = delete;

  CORBA_ORB_var& operator=(CORBA_ORB* reference) {
    OBRelease(orb);
    orb = reference;
    return *this;
  }
  CORBA_ORB* in() const { return orb; }

private:
  CORBA_ORB* orb = nullptr;
};

} // namespace basalt::platform

#endif
