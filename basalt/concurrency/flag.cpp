#include "basalt/concurrency/flag.h"

namespace basalt {

Flag::Flag(PavaneMutex* mutex, int value) : flagValue(value), mutex(mutex) {}

int Flag::value() const {
  PavaneSynchronized guard(*mutex);
  return flagValue;
}

void Flag::set(int value) {
  flagValue = value;
}

FlaggedArg::FlaggedArg(void* data) : flag(nullptr), data(data) {}

} // namespace basalt
