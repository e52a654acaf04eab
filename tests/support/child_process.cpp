#include "tests/support/child_process.h"

#include <cstdio>
#include <filesystem>
#include <sys/wait.h>

namespace basalt::test {
namespace {

// Single quotes keep every character but the quote itself, which is closed, escaped and
// opened again.
std::string quoted(const std::string& word) {
  std::string out = "'";
  for (const char c : word) {
    out += c == '\'' ? std::string("'\\''") : std::string(1, c);
  }
  return out + "'";
}

} // namespace

ChildResult runChild(const std::vector<std::string>& arguments,
                     const std::vector<std::string>& environment) {
  // env starts the program itself, so a link such as /proc/self/exe is followed here.
  std::string command = "exec env";
  for (const std::string& variable : environment) {
    command += " " + quoted(variable);
  }
  command += " " + quoted(std::filesystem::canonical(arguments.at(0)).string());
  for (std::size_t i = 1; i < arguments.size(); ++i) {
    command += " " + quoted(arguments[i]);
  }
  ChildResult result;
  FILE* pipe = ::popen((command + " 2>&1").c_str(), "r");
  if (pipe == nullptr) {
    result.output = "popen failed";
    return result;
  }
  char buffer[4096];
  for (std::size_t count; (count = std::fread(buffer, 1, sizeof(buffer), pipe)) > 0;) {
    result.output.append(buffer, count);
  }
  const int status = ::pclose(pipe);
  result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return result;
}

} // namespace basalt::test
