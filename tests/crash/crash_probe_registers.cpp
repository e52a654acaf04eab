// The probe's optimised function, compiled with -O2 -g and without a frame pointer: most of
// its variables live in registers only.

#include "tests/crash/crash_probe_faults.h"

namespace probe {

__attribute__((noinline, no_sanitize("address", "undefined"))) int
faultInRegisters(int seed, volatile int* target) {
  const int counter = seed * 3;
  volatile int kept = seed + 1;
  *target = counter; // NOLINT(clang-analyzer-core.NullDereference): the fault is the point
  return counter + kept;
}

} // namespace probe
