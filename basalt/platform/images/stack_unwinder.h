#ifndef BASALT_PLATFORM_IMAGES_STACK_UNWINDER_H
#define BASALT_PLATFORM_IMAGES_STACK_UNWINDER_H

// One step of a stack walk by the call frame information of the module that holds the code
// (its .eh_frame), through elfutils' unwinder. Where a module has none for the code, the
// step follows the frame pointer: the caller's frame pointer and return address at [Rbp] and
// [Rbp + 8]. Serialised process-wide; the stack of a walk must not change while it lasts.

#include "basalt/platform/images/debug_help.h"

namespace basalt::platform {

// Begins a walk: forgets the memory that the last walk read, and takes in the modules loaded
// since, letting go of those unloaded.
void startUnwinding();

// The caller of the frame whose registers are frame: its registers in caller (those the
// step can't recover are 0). pcIsExact says whether frame.Rip is where the frame stopped
// (the first frame, a frame interrupted by a signal) rather than a return address;
// callerPcIsExact says the same of the caller. False at the end of the stack. Memory is read
// through readMemory only.
bool unwindCaller(const CONTEXT& frame, bool pcIsExact, PREAD_PROCESS_MEMORY_ROUTINE readMemory,
                  HANDLE process, CONTEXT& caller, bool& callerPcIsExact);

} // namespace basalt::platform

#endif
