#ifndef BASALT_TOOLS_ADMIN_COMMANDS_H
#define BASALT_TOOLS_ADMIN_COMMANDS_H

// The commands of basalt-admin. Each takes the arguments behind its name, writes its result
// to standard output and its complaints to standard error, and returns the exit status.

#include "tools/basalt-admin/options.h"

#include <string>
#include <vector>

namespace basalt::admin {

enum ExitStatus { exitSuccess = 0, exitNotFound = 1, exitUsage = 2 };

// Writes "basalt-admin: <what>" on standard error.
void complain(const std::string& what);

// Writes text to standard output; false, with a complaint, when it can't.
bool emit(const std::string& text);

// A command's options are its own besides --help and --events, which every command takes;
// run sees the command line with them sorted out.
struct Command {
  const char* name;
  const char* usage; // the command line behind "basalt-admin "
  const char* help;  // what it does and what its options mean, indented
  const OptionSpec* options;
  std::size_t optionCount;
  int (*run)(const CommandLine& line);
};

extern const Command registryCommand;
extern const Command messageCommand;

} // namespace basalt::admin

#endif
