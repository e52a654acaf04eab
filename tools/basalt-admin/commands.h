#ifndef BASALT_TOOLS_ADMIN_COMMANDS_H
#define BASALT_TOOLS_ADMIN_COMMANDS_H

// The commands of basalt-admin. Each takes the arguments behind its name, writes its result
// to standard output and its complaints to standard error, and returns the exit status.

#include <string>
#include <vector>

namespace basalt::admin {

enum ExitStatus { exitSuccess = 0, exitNotFound = 1, exitUsage = 2 };

// Writes "basalt-admin: <what>" on standard error.
void complain(const std::string& what);

// Writes text to standard output; false, with a complaint, when it can't.
bool emit(const std::string& text);

int showRegistry(const std::vector<std::string>& arguments);
int showMessage(const std::vector<std::string>& arguments);

} // namespace basalt::admin

#endif
