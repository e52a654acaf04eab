#include "basalt/frame/static/exit_list.h"

#include "basalt/frame/static/debug_trace.h"

#include <cstdlib>
#include <mutex>

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
// Objects made on first use enter the list from whichever thread uses them first.
std::mutex entriesLock;

// The last entry, taken off the list; false when the list is empty.
bool takeLast(ExitEntry& entry) {
  const std::lock_guard<std::mutex> lock(entriesLock);
  if (entryCount == 0) {
    return false;
  }
  entry = entries[--entryCount];
  return true;
}

} // namespace

void enterOnExitList(const char* name, ExitFunction function) {
  const std::lock_guard<std::mutex> lock(entriesLock);
  if (entryCount == maxEntries) {
    std::abort(); // a new process-wide object was added without growing the list
  }
  entries[entryCount++] = {name, function};
}

void runExitList() {
  ExitEntry entry{};
  while (takeLast(entry)) {
    debugTrace("exit list: ", entry.name);
    entry.function();
  }
}

} // namespace basalt::frame
