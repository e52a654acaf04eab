#ifndef BASALT_TESTS_SUPPORT_CHILD_PROCESS_H
#define BASALT_TESTS_SUPPORT_CHILD_PROCESS_H

#include <string>
#include <vector>

namespace basalt::test {

struct ChildResult {
  int exitCode = -1;  // -1 when the child did not exit normally
  int signal = 0;     // the signal that ended the child, 0 when it exited
  std::string output; // standard output and standard error, interleaved
};

// Runs the program in arguments[0] without a shell, with this process's environment plus
// the NAME=value pairs of environment (which replace variables of the same name). With
// errorPath, standard error goes to that file, made anew, and not into the output.
ChildResult runChild(const std::vector<std::string>& arguments,
                     const std::vector<std::string>& environment, const char* errorPath = nullptr);

} // namespace basalt::test

#endif
