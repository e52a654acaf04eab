// A plugin with one export of its own; it also uses libc, whose symbols it must not lend.
#include <cstdlib>

extern "C" __attribute__((visibility("default"))) int basalt_test_plugin_answer() {
  return std::abs(-42);
}
