#ifndef BASALT_PLATFORM_REGISTRY_REGISTRY_STORE_H
#define BASALT_PLATFORM_REGISTRY_REGISTRY_STORE_H

// Where the registry comes from. The environment variable BASALT_REGISTRY is a ':'-separated
// list of .reg files and directories; a directory gives its *.reg files in name order, files
// whose names begin with '.' left out. Later sources override earlier ones. Without the
// variable the sources are /etc/basalt/registry.reg and then /etc/basalt/registry.d/, each
// where it exists; set but empty, there are none. No source at all is an empty registry.
//
// Problems go to the event log under the source "basalt registry", once per version of a
// file (a file that can't be opened: once until it can be):
//   event 1, warning: a line was skipped; strings: file, line number, what is wrong
//   event 2, error: a file or directory can't be read; strings: file, what is wrong

#include "basalt/platform/registry/registry_tree.h"

#include <memory>
#include <string>
#include <vector>

namespace basalt::platform {

constexpr DWORD registryLineSkippedEvent = 1;
constexpr DWORD registryFileUnreadableEvent = 2;

// The registry as the files are now. A file is parsed again only when its modification time,
// size or identity has changed, and an unchanged set of files gives the same tree.
std::shared_ptr<const RegistryTree> currentRegistry();

// Frees what currentRegistry keeps. The library's very last step when it is unloaded: nothing
// may read the registry afterwards.
void releaseRegistry();

// One source of the registry and what was wrong with it: the lines that were skipped, in
// line order, or one problem with line 0 when the file gave nothing.
struct RegistrySource {
  std::string path;
  std::vector<RegFileProblem> problems;
};

struct RegistryInspection {
  std::shared_ptr<const RegistryTree> tree;
  // Every source that was looked at, in the order of applying, unreadable ones included. A
  // default source that doesn't exist isn't one.
  std::vector<RegistrySource> sources;
};

// The tree that currentRegistry gives, with the sources behind it and every problem they
// have, reported or not; for the tools that show operators what the library reads. Events
// go out as currentRegistry sends them.
RegistryInspection inspectRegistry();

} // namespace basalt::platform

#endif
