#include "basalt/frame/exit_list.h"

#include "basalt/frame/debug_trace.h"

#include <cstdlib>

namespace basalt::frame {
namespace {

struct ExitEntry {
  const char* name;
  ExitFunction function;
};

// Fixed room: entries are made while loading and on first use of a few objects, never
// allocated, so that running the list needs no heap.
constexpr int maxEntries = 32;
ExitEntry entries[maxEntries];
int entryCount = 0;

} // namespace

void enterOnExitList(const char* name, ExitFunction function) {
  if (entryCount == maxEntries) {
    std::abort(); // a new process-wide object was added without growing the list
  }
  entries[entryCount++] = {name, function};
}

void runExitList() {
  while (entryCount > 0) {
    const ExitEntry entry = entries[--entryCount];
    debugTrace("exit list: ", entry.name);
    entry.function();
  }
}

} // namespace basalt::frame
