#ifndef BASALT_FRAME_STATIC_EXIT_LIST_H
#define BASALT_FRAME_STATIC_EXIT_LIST_H

namespace basalt::frame {

// The library's own exit list: run when the library unloads, after the process detach steps,
// from the last entry to the first. Entries are named for the debug output.
using ExitFunction = void (*)();
void enterOnExitList(const char* name, ExitFunction function);
void runExitList();

} // namespace basalt::frame

#endif
