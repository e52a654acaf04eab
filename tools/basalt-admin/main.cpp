// basalt-admin: shows operators what basalt reads on this machine, the way the library reads
// it: the registry, and the words of message numbers.

#include "basalt/frame/static/static_objects.h"
#include "basalt/platform/runtime/event_log.h"
#include "basalt/version.h"
#include "tools/basalt-admin/commands.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace basalt::admin {
namespace {

const Command* const commands[] = {&registryCommand, &messageCommand};

constexpr char summary[] = R"(
Shows what basalt reads on this machine, the way the library reads it. Options
may stand anywhere after the command; "--" ends them, so that an operand may
begin with '-'. Every command takes --help, and --events, which sends what
the library would send to the system's event log there too; without it the
tool tells only standard error.
)";

constexpr char exitStatus[] = R"(
Exit status: 0 done; 1 the key or the message text wasn't found, or --check
found a fault; 2 a usage, input or output error.
)";

std::string usage() {
  std::string text;
  for (const Command* command : commands) {
    text += (text.empty() ? "Usage: basalt-admin " : "       basalt-admin ") +
            std::string(command->usage) + "\n";
  }
  text += "       basalt-admin --help | --version\n";
  text += summary;
  for (const Command* command : commands) {
    text += "\n" + std::string(command->usage) + "\n" + command->help;
  }
  return text + exitStatus;
}

int run(const Command& command, const std::vector<std::string>& arguments) {
  std::vector<OptionSpec> options(command.options, command.options + command.optionCount);
  options.insert(options.end(), {{"--help", false}, {"-h", false}, {"--events", false}});
  CommandLine line;
  if (!parseCommandLine(arguments, options, line)) {
    return exitUsage;
  }
  if (line.has("--help") || line.has("-h")) {
    const std::string help =
        "Usage: basalt-admin " + std::string(command.usage) + "\n\n" + command.help + exitStatus;
    return emit(help) ? exitSuccess : exitUsage;
  }
  platform::setEventsWritten(line.has("--events"));
  return command.run(line);
}

} // namespace

void complain(const std::string& what) {
  std::fprintf(stderr, "basalt-admin: %s\n", what.c_str());
}

bool emit(const std::string& text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0) {
    complain(std::string("can't write the output: ") + std::strerror(errno));
    return false;
  }
  return true;
}

} // namespace basalt::admin

int main(int argc, char** argv) {
  using namespace basalt::admin;
  // The tool holds the library's code but not its entry point, which would read the registry
  // at once, and report what is wrong there to the event log, before the options are read. So
  // it makes the library's process-wide objects itself, as the library's load does first.
  basalt::frame::makeStaticObjects();
  const std::vector<std::string> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
  if (arguments.empty()) {
    std::fputs(usage().c_str(), stderr);
    return exitUsage;
  }
  const std::string& name = arguments[0];
  if (name == "--help" || name == "-h" || name == "help") {
    return emit(usage()) ? exitSuccess : exitUsage;
  }
  if (name == "--version") {
    return emit(std::string("basalt-admin (basalt) ") + basalt::version() + "\n") ? exitSuccess
                                                                                  : exitUsage;
  }
  for (const Command* command : commands) {
    if (name == command->name) {
      return run(*command, std::vector<std::string>(arguments.begin() + 1, arguments.end()));
    }
  }
  complain("unknown command \"" + name + "\"; try basalt-admin --help");
  return exitUsage;
}
