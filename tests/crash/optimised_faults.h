#ifndef BASALT_TESTS_CRASH_OPTIMISED_FAULTS_H
#define BASALT_TESTS_CRASH_OPTIMISED_FAULTS_H

// Faults in code built as a client's release build is: optimised, without frame pointers, and
// inside the C library. Only unwind tables lead from them to their callers.

namespace probe {

// Faults three calls down: optimisedOuter, optimisedMiddle, optimisedLeaf.
void optimisedOuter();
// Faults in the comparison function that the C library's qsort calls.
void sortWithFaultingComparison();
// Faults inside the C library's memcpy.
void copyIntoNowhere();

} // namespace probe

#endif
