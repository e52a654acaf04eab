#ifndef BASALT_TESTS_MODULES_TEST_MODULES_H
#define BASALT_TESTS_MODULES_TEST_MODULES_H

// Where the test modules are built, and ASCII text as units for the wide interfaces.

#include <string>

namespace basalt::test {

inline std::string modulesDirectory() {
  return std::string(BASALT_BINARY_DIR) + "/tests/modules";
}

inline std::string modulePath(const std::string& name) {
  return modulesDirectory() + "/" + name;
}

inline std::basic_string<unsigned short> units(const std::string& ascii) {
  return {ascii.begin(), ascii.end()};
}

} // namespace basalt::test

#endif
