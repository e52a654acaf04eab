#include "tests/support/child_process.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace basalt::test {

ChildResult runChild(const std::vector<std::string>& arguments,
                     const std::vector<std::string>& environment, const char* errorPath) {
  // This process's variables, but for those that environment gives anew.
  std::vector<std::string> variables = environment;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string variable(*entry);
    const std::string name = variable.substr(0, variable.find('=') + 1);
    if (std::none_of(environment.begin(), environment.end(),
                     [&name](const std::string& given) { return given.rfind(name, 0) == 0; })) {
      variables.push_back(variable);
    }
  }
  std::vector<std::string> argumentTexts = arguments;
  const auto pointers = [](std::vector<std::string>& texts) {
    std::vector<char*> result;
    result.reserve(texts.size() + 1);
    for (std::string& text : texts) {
      result.push_back(text.data());
    }
    result.push_back(nullptr);
    return result;
  };

  ChildResult result;
  int pipeEnds[2];
  if (pipe(pipeEnds) != 0) {
    result.output = "pipe failed";
    return result;
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addclose(&actions, pipeEnds[0]);
  posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], STDOUT_FILENO);
  if (errorPath != nullptr) {
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errorPath,
                                     O_WRONLY | O_CREAT | O_TRUNC, 0644);
  } else {
    posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], STDERR_FILENO);
  }
  posix_spawn_file_actions_addclose(&actions, pipeEnds[1]);
  pid_t child = 0;
  const int spawned = posix_spawn(&child, arguments[0].c_str(), &actions, nullptr,
                                  pointers(argumentTexts).data(), pointers(variables).data());
  posix_spawn_file_actions_destroy(&actions);
  close(pipeEnds[1]);
  char buffer[4096];
  for (ssize_t count; spawned == 0 && (count = read(pipeEnds[0], buffer, sizeof(buffer))) != 0;) {
    if (count > 0) {
      result.output.append(buffer, static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      break;
    }
  }
  close(pipeEnds[0]);
  if (spawned != 0) {
    result.output = "posix_spawn failed";
    return result;
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  result.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
  return result;
}

} // namespace basalt::test
