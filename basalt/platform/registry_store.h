#ifndef BASALT_PLATFORM_REGISTRY_STORE_H
#define BASALT_PLATFORM_REGISTRY_STORE_H

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

#include "basalt/platform/registry_tree.h"

#include <memory>

namespace basalt::platform {

constexpr DWORD registryLineSkippedEvent = 1;
constexpr DWORD registryFileUnreadableEvent = 2;

// The registry as the files are now. A file is parsed again only when its modification time,
// size or identity has changed, and an unchanged set of files gives the same tree.
std::shared_ptr<const RegistryTree> currentRegistry();

} // namespace basalt::platform

#endif
