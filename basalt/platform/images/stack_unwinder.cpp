#include "basalt/platform/images/stack_unwinder.h"

#include <algorithm>
#include <cstring>
#include <elfutils/libdwfl.h>
#include <link.h>
#include <mutex>
#include <unistd.h>

namespace basalt::platform {
namespace {

// rax, rdx, rcx, rbx, rsi, rdi, rbp, rsp, r8 to r15 and the return address, by DWARF number.
constexpr unsigned dwarfRegisterCount = 17;
constexpr unsigned dwarfRip = 16;

DWORD64 CONTEXT::*const dwarfOrder[dwarfRegisterCount] = {
    &CONTEXT::Rax, &CONTEXT::Rdx, &CONTEXT::Rcx, &CONTEXT::Rbx, &CONTEXT::Rsi, &CONTEXT::Rdi,
    &CONTEXT::Rbp, &CONTEXT::Rsp, &CONTEXT::R8,  &CONTEXT::R9,  &CONTEXT::R10, &CONTEXT::R11,
    &CONTEXT::R12, &CONTEXT::R13, &CONTEXT::R14, &CONTEXT::R15, &CONTEXT::Rip};

// The stack words a walk reads lie close together, frame after frame: they are read a window
// at a time, never past the end of a page, which may be the last of the stack.
constexpr DWORD64 windowSize = 1024;
constexpr DWORD64 pageSize = 4096;

// One step: what the callbacks read and the frame callback fills in.
struct Step {
  Dwarf_Word registers[dwarfRegisterCount];
  PREAD_PROCESS_MEMORY_ROUTINE readMemory;
  HANDLE process;
  bool pastFirst = false;
  bool found = false;
  CONTEXT* caller;
  bool callerPcIsExact = false;
};

struct Unwinder {
  std::mutex mutex;
  Dwfl* dwfl = nullptr;
  bool attached = false;
  Step* step = nullptr;
  // Memory of this walk's stack, as read last, and what read it.
  unsigned char window[windowSize];
  DWORD64 windowStart = 0;
  DWORD64 windowEnd = 0;
  PREAD_PROCESS_MEMORY_ROUTINE windowReader = nullptr;
  // The dynamic loader's counts of loads and unloads when the modules were last reported.
  unsigned long long loads = 0;
  unsigned long long unloads = 0;
};

// Never destroyed: a report may run while the process exits.
Unwinder& unwinder() {
  static Unwinder* const instance = new Unwinder;
  return *instance;
}

// Only the unwind tables of the modules' own files: never a separate debug file, which
// could mean a search of the disk or the network in the middle of a report.
int findNoDebugInfo(Dwfl_Module* /*module*/, void** /*userData*/, const char* /*moduleName*/,
                    Dwarf_Addr /*base*/, const char* /*fileName*/, const char* /*debugLink*/,
                    GElf_Word /*debugLinkCrc*/, char** /*debugInfoFileName*/) {
  return -1;
}

const Dwfl_Callbacks moduleCallbacks = {dwfl_linux_proc_find_elf, findNoDebugInfo, nullptr,
                                        nullptr};

// The one thread there is: the registers of the step.
pid_t nextThread(Dwfl* /*dwfl*/, void* unwinderState, void** threadArgument) {
  if (*threadArgument != nullptr) {
    return 0;
  }
  *threadArgument = unwinderState;
  return ::getpid();
}

bool getThread(Dwfl* /*dwfl*/, pid_t /*tid*/, void* unwinderState, void** threadArgument) {
  *threadArgument = unwinderState;
  return true;
}

bool readWord(Dwfl* /*dwfl*/, Dwarf_Addr address, Dwarf_Word* result, void* unwinderState) {
  auto& state = *static_cast<Unwinder*>(unwinderState);
  const Step& step = *state.step;
  if (step.readMemory != state.windowReader || address < state.windowStart ||
      address + sizeof *result > state.windowEnd) {
    const DWORD64 pageEnd = (address | (pageSize - 1)) + 1;
    DWORD got = 0;
    step.readMemory(step.process, address, state.window,
                    static_cast<DWORD>(std::min(windowSize, pageEnd - address)), &got);
    state.windowReader = step.readMemory;
    state.windowStart = address;
    state.windowEnd = address + got;
    if (got < sizeof *result) {
      return false;
    }
  }
  std::memcpy(result, state.window + (address - state.windowStart), sizeof *result);
  return true;
}

bool setInitialRegisters(Dwfl_Thread* thread, void* unwinderState) {
  const Step& step = *static_cast<Unwinder*>(unwinderState)->step;
  return dwfl_thread_state_registers(thread, 0, dwarfRegisterCount, step.registers);
}

const Dwfl_Thread_Callbacks threadCallbacks = {nextThread,          getThread, readWord,
                                               setInitialRegisters, nullptr,   nullptr};

// Called for the first frame, which the step knows, and then for its caller.
int onFrame(Dwfl_Frame* frame, void* stepState) {
  Step& step = *static_cast<Step*>(stepState);
  if (!step.pastFirst) {
    step.pastFirst = true;
    return DWARF_CB_OK;
  }
  Dwarf_Addr pc = 0;
  if (dwfl_frame_pc(frame, &pc, &step.callerPcIsExact) && pc != 0) {
    step.found = true;
    for (unsigned regno = 0; regno < dwarfRegisterCount; ++regno) {
      Dwarf_Word value = 0;
      step.caller->*dwarfOrder[regno] = dwfl_frame_reg(frame, regno, &value) == 0 ? value : 0;
    }
    step.caller->Rip = pc;
  }
  return DWARF_CB_ABORT;
}

int countChanges(dl_phdr_info* info, std::size_t /*size*/, void* counts) {
  auto* changes = static_cast<unsigned long long*>(counts);
  changes[0] = info->dlpi_adds;
  changes[1] = info->dlpi_subs;
  return 1;
}

// Under the unwinder's lock.
bool refreshLocked(Unwinder& state) {
  unsigned long long changes[2] = {};
  ::dl_iterate_phdr(countChanges, changes);
  if (state.attached && changes[0] == state.loads && changes[1] == state.unloads) {
    return true;
  }
  if (state.dwfl == nullptr) {
    state.dwfl = dwfl_begin(&moduleCallbacks);
    if (state.dwfl == nullptr) {
      return false;
    }
  }
  dwfl_report_begin(state.dwfl);
  const bool reported = dwfl_linux_proc_report(state.dwfl, ::getpid()) == 0;
  dwfl_report_end(state.dwfl, nullptr, nullptr);
  if (!reported) {
    return false;
  }
  state.loads = changes[0];
  state.unloads = changes[1];
  if (!state.attached) {
    state.attached = dwfl_attach_state(state.dwfl, nullptr, ::getpid(), &threadCallbacks, &state);
  }
  return state.attached;
}

} // namespace

void startUnwinding() {
  Unwinder& state = unwinder();
  const std::lock_guard<std::mutex> lock(state.mutex);
  state.windowEnd = 0;
  refreshLocked(state);
}

bool unwindCaller(const CONTEXT& frame, bool pcIsExact, PREAD_PROCESS_MEMORY_ROUTINE readMemory,
                  HANDLE process, CONTEXT& caller, bool& callerPcIsExact) {
  Unwinder& state = unwinder();
  const std::lock_guard<std::mutex> lock(state.mutex);
  if (!state.attached && !refreshLocked(state)) {
    return false;
  }
  Step step{};
  for (unsigned regno = 0; regno < dwarfRegisterCount; ++regno) {
    step.registers[regno] = frame.*dwarfOrder[regno];
  }
  // The unwinder takes its first frame's address as exact. A return address is looked up
  // one byte back, in the call: a call that ends a function returns past its end.
  if (!pcIsExact) {
    step.registers[dwarfRip] -= 1;
  }
  step.readMemory = readMemory;
  step.process = process;
  caller = CONTEXT{};
  step.caller = &caller;
  state.step = &step;
  dwfl_getthread_frames(state.dwfl, ::getpid(), onFrame, &step);
  state.step = nullptr;
  callerPcIsExact = step.callerPcIsExact;
  return step.found;
}

} // namespace basalt::platform
