#ifndef BASALT_TESTS_CRASH_CRASH_PROBE_VALUES_H
#define BASALT_TESTS_CRASH_CRASH_PROBE_VALUES_H

// Faults whose report shows variables: through a null target.

namespace probe {

extern int gProbeCount;

// -O0: a local of every kind, called by a function with a local of its own.
void callWithLocals(volatile int* target);
// -O2: a local kept in the frame, the rest in registers.
int faultInRegisters(int seed, volatile int* target);

} // namespace probe

#endif
