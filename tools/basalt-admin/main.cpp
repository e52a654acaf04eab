// basalt-admin: shows operators what basalt reads on this machine, the way the library reads
// it: the registry, and the words of message numbers.

#include "tools/basalt-admin/commands.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace basalt::admin {
namespace {

constexpr char usage[] =
    R"(Usage: basalt-admin registry [KEY]
       basalt-admin message [--language LANG] NUMBER [INSERT...]
       basalt-admin --help

Shows what basalt reads on this machine, the way the library reads it.

registry [KEY]
    Prints the registry as one .reg file ("Windows Registry Editor Version 5.00",
    UTF-8): the files that BASALT_REGISTRY lists (.reg files and directories of
    them, separated by ':'), or without it /etc/basalt/registry.reg and then
    /etc/basalt/registry.d/*.reg, merged in that order. Keys are listed as the
    registry enumerates them, case-blind alphabetically. With KEY, only that key
    and the keys below it, for example
        basalt-admin registry 'HKLM\Software\Corvane Holdings\10.0\TRELL(o)\Log'
    The root key may be given long or short (HKEY_LOCAL_MACHINE or HKLM).
    Every line that the library skips is told on standard error as
    FILE:LINE: what is wrong, and sent to the event log as a component's
    first read of the registry sends it.

message [--language LANG] NUMBER [INSERT...]
    Prints the text of a message number with its inserts (%1, %2, ...) as the
    log writes it, and which message library gave it. The library is sought as
    the log seeks it: strings_<facility>_xx.dll, then _<LANG>, then the first
    two letters of LANG, then "en", in the Location directory of the log's
    registry key, else in the directory of libbasalt, then by bare name. LANG is
    the user's language (three letters, such as ENU) unless given. NUMBER is
    decimal, or hexadecimal after 0x. When no library loads, the event log
    gets the error event that a log would send.

Exit status: 0 done; 1 the key or the message text wasn't found; 2 a usage,
input or output error.
)";

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
  const std::vector<std::string> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
  if (arguments.empty()) {
    std::fputs(usage, stderr);
    return exitUsage;
  }
  const std::string& command = arguments[0];
  const std::vector<std::string> rest(arguments.begin() + 1, arguments.end());
  if (command == "--help" || command == "-h" || command == "help") {
    return emit(usage) ? exitSuccess : exitUsage;
  }
  if (command == "registry") {
    return showRegistry(rest);
  }
  if (command == "message") {
    return showMessage(rest);
  }
  complain("unknown command \"" + command + "\"; try basalt-admin --help");
  return exitUsage;
}
