// Built with -O2 -g -fomit-frame-pointer whatever the build type (see CMakeLists.txt).

#include "tests/crash/crash_probe_faults.h"

#include <cstddef>
#include <dlfcn.h>

namespace probe {
namespace {

int* volatile nowhere = nullptr;
volatile std::size_t copySize = 64;

// Sanitizers would report these faults themselves before the processor raises them.
__attribute__((noinline, no_sanitize("address", "undefined", "thread"))) void
optimisedLeaf(int* target) {
  *target = 1;
}

// Overwrites the frame pointer register, which it saves and restores as any other, so that
// no frame pointer chain leads through it.
__attribute__((noinline)) void optimisedMiddle(int* target) {
  asm volatile("xorl %%ebp, %%ebp" ::: "rbp");
  optimisedLeaf(target);
  asm volatile("");
}

__attribute__((no_sanitize("address", "undefined", "thread"))) int
faultingComparison(const void* /*left*/, const void* /*right*/) {
  return *nowhere;
}

// The C library's own function: a sanitizer's stand-in for it would act differently (check
// memcpy's target first, sort by its own code).
template <class Function> Function cLibrary(const char* name) {
  void* library = ::dlopen("libc.so.6", RTLD_NOW | RTLD_NOLOAD);
  return reinterpret_cast<Function>(::dlsym(library, name));
}

} // namespace

__attribute__((noinline, no_sanitize("address", "undefined"))) int
faultInRegisters(int seed, volatile int* target) {
  const int counter = seed * 3;
  volatile int kept = seed + 1;
  *target = counter; // NOLINT(clang-analyzer-core.NullDereference): the fault is the point
  return counter + kept;
}

__attribute__((noinline)) void optimisedOuter() {
  optimisedMiddle(nowhere);
  asm volatile("");
}

__attribute__((noinline)) void sortWithFaultingComparison() {
  int values[] = {3, 1, 2};
  using Sort = void (*)(void*, std::size_t, std::size_t, int (*)(const void*, const void*));
  cLibrary<Sort>("qsort")(values, 3, sizeof values[0], faultingComparison);
  asm volatile("");
}

__attribute__((noinline)) void copyIntoNowhere() {
  static const char source[64] = {};
  using Copy = void* (*)(void*, const void*, std::size_t);
  cLibrary<Copy>("memcpy")(nowhere, source, copySize);
  asm volatile("");
}

} // namespace probe
