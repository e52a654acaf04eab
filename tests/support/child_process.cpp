#include "tests/support/child_process.h"

#include <cerrno>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace basalt::test {
namespace {

std::vector<std::string> mergedEnvironment(const std::vector<std::string>& overrides) {
  std::vector<std::string> merged;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string variable(*entry);
    const std::string name = variable.substr(0, variable.find('=') + 1);
    bool replaced = false;
    for (const std::string& override : overrides) {
      replaced = replaced || override.compare(0, name.size(), name) == 0;
    }
    if (!replaced) {
      merged.push_back(variable);
    }
  }
  merged.insert(merged.end(), overrides.begin(), overrides.end());
  return merged;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> result;
  result.reserve(texts.size() + 1);
  for (std::string& text : texts) {
    result.push_back(text.data());
  }
  result.push_back(nullptr);
  return result;
}

} // namespace

ChildResult runChild(const std::vector<std::string>& arguments,
                     const std::vector<std::string>& environment, const char* errorPath) {
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

  std::vector<std::string> argumentTexts = arguments;
  std::vector<std::string> environmentTexts = mergedEnvironment(environment);
  std::vector<char*> argv = pointers(argumentTexts);
  std::vector<char*> envp = pointers(environmentTexts);
  pid_t child = 0;
  const int spawned = posix_spawn(&child, argv[0], &actions, nullptr, argv.data(), envp.data());
  posix_spawn_file_actions_destroy(&actions);
  close(pipeEnds[1]);
  if (spawned != 0) {
    close(pipeEnds[0]);
    result.output = "posix_spawn failed";
    return result;
  }
  char buffer[4096];
  for (;;) {
    const ssize_t count = read(pipeEnds[0], buffer, sizeof(buffer));
    if (count > 0) {
      result.output.append(buffer, static_cast<std::size_t>(count));
    } else if (count == 0 || errno != EINTR) {
      break;
    }
  }
  close(pipeEnds[0]);
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  result.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
  return result;
}

} // namespace basalt::test
