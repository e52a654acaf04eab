#ifndef BASALT_TESTS_CRASH_CRASH_PROBE_FAULTS_H
#define BASALT_TESTS_CRASH_CRASH_PROBE_FAULTS_H

// The probe's faults that files of their own build with options of their own (see
// CMakeLists.txt), each through a null pointer.

namespace probe {

// -O0: a local of every kind, called by a function with a local of its own.
void callWithLocals(volatile int* target);
// -O2: a local kept in the frame, the rest in registers.
int faultInRegisters(int seed, volatile int* target);

// Optimised as a client's release build is, without frame pointers, and inside the C library:
// only unwind tables lead from them to their callers.
// Three calls down: optimisedOuter, optimisedMiddle, optimisedLeaf.
void optimisedOuter();
// In the comparison function that the C library's qsort calls.
void sortWithFaultingComparison();
// Inside the C library's memcpy.
void copyIntoNowhere();

} // namespace probe

#endif
