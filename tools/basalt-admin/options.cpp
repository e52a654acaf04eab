#include "tools/basalt-admin/options.h"

#include "tools/basalt-admin/commands.h"

namespace basalt::admin {

bool parseCommandLine(const std::vector<std::string>& arguments,
                      const std::vector<OptionSpec>& known, CommandLine& line) {
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    if (argument == "--") {
      line.operands.insert(line.operands.end(), arguments.begin() + i + 1, arguments.end());
      break;
    }
    if (argument.size() < 2 || argument[0] != '-') {
      line.operands.push_back(argument);
      continue;
    }
    const std::size_t equals = argument.find('=');
    const std::string name = argument.substr(0, equals);
    const OptionSpec* spec = nullptr;
    for (const OptionSpec& option : known) {
      spec = name == option.name ? &option : spec;
    }
    if (spec == nullptr) {
      complain("unknown option \"" + name + "\"; an operand that begins with '-' goes after --");
      return false;
    }
    std::string value;
    if (equals != std::string::npos) {
      if (!spec->takesValue) {
        complain(name + " takes no value");
        return false;
      }
      value = argument.substr(equals + 1);
    } else if (spec->takesValue) {
      if (++i == arguments.size()) {
        complain(name + " needs a value");
        return false;
      }
      value = arguments[i];
    }
    line.options[name] = value;
  }
  return true;
}

} // namespace basalt::admin
