// The probe's functions whose variables the report shows, compiled with -O0 -g: every local
// lives in the frame.

#include "tests/crash/crash_probe_faults.h"

namespace probe {
namespace {

struct Pair {
  int first;
  int second;
};
enum class Colour { red, green = 7 };
using Short = short;

double gProbeRatio = 0; // internal linkage: in the anonymous namespace

} // namespace

int gProbeCount = 42;
int notShownCount = 5;

// NOLINTBEGIN(clang-analyzer-deadcode.DeadStores): the report reads them
__attribute__((noinline, no_sanitize("address", "undefined"))) void
faultWithLocals(int parameter, volatile int* target) {
  char letter = 'x';
  signed char small = 'y';
  unsigned char byte = 200;
  const Short shortValue = -12;
  unsigned int count = 65535;
  float ratio = 1.5F;
  double precise = 2.25;
  long long big = -1234567890123LL;
  bool flag = true;
  const char* text = reinterpret_cast<const char*>(0x1234);
  float* ratioPointer = reinterpret_cast<float*>(0x2345);
  double* precisePointer = reinterpret_cast<double*>(0x3456);
  int* countPointer = reinterpret_cast<int*>(0x4567);
  void* opaque = reinterpret_cast<void*>(0x5678);
  Pair pair{1, 2};
  Colour colour = Colour::green;
  int array[2] = {3, 4};
  gProbeRatio = 2.5;
  *target = parameter; // NOLINT(clang-analyzer-core.NullDereference): the fault is the point
}
// NOLINTEND(clang-analyzer-deadcode.DeadStores)

__attribute__((noinline)) void callWithLocals(volatile int* target) {
  int depth = 3;
  faultWithLocals(depth + 4, target);
}

} // namespace probe
