#ifndef BASALT_TOOLS_ADMIN_OPTIONS_H
#define BASALT_TOOLS_ADMIN_OPTIONS_H

// Command lines as operators know them from other tools: options may stand anywhere among
// the operands, "--name value" and "--name=value" mean the same, and "--" ends the options,
// so that an operand may begin with '-'.

#include <map>
#include <string>
#include <vector>

namespace basalt::admin {

struct OptionSpec {
  const char* name; // with its dashes, such as "--language"
  bool takesValue;
};

struct CommandLine {
  std::map<std::string, std::string> options; // by name; a flag's value is empty
  std::vector<std::string> operands;

  bool has(const std::string& name) const { return options.count(name) != 0; }
};

// Sorts arguments into options of known and operands. False, with a complaint naming the
// argument, for an unknown option, a flag given a value or an option missing its value.
bool parseCommandLine(const std::vector<std::string>& arguments,
                      const std::vector<OptionSpec>& known, CommandLine& line);

} // namespace basalt::admin

#endif
