#ifndef BASALT_FRAME_STATIC_STATIC_SLOT_H
#define BASALT_FRAME_STATIC_STATIC_SLOT_H

#include "basalt/frame/static/debug_trace.h"
#include "basalt/frame/static/exit_list.h"

#include <new>
#include <utility>

namespace basalt::frame {

// Room for one process-wide object whose making and destruction the library orders itself,
// rather than leaving them to the C++ runtime's order across translation units.
template <class T> class StaticSlot {
public:
  template <class... Args> void make(Args&&... args) {
    new (storage) T(std::forward<Args>(args)...);
  }
  void destroy() { get().~T(); }
  T& get() { return *std::launder(reinterpret_cast<T*>(storage)); }

private:
  alignas(T) unsigned char storage[sizeof(T)];
};

// Makes the object in its slot and enters destroy, which must destroy it, on the exit list
// under that name.
template <class T, class... Args>
void makeStaticObject(StaticSlot<T>& slot, const char* name, ExitFunction destroy, Args&&... args) {
  slot.make(std::forward<Args>(args)...);
  enterOnExitList(name, destroy);
  debugTrace("made ", name);
}

} // namespace basalt::frame

#endif
