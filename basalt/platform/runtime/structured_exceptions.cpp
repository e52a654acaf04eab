#include "basalt/platform/runtime/structured_exceptions.h"

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <dlfcn.h>
#include <mutex>
#include <sys/uio.h>
#include <ucontext.h>
#include <unistd.h>

namespace basalt::platform {
namespace {

constexpr int faultSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL};
constexpr std::size_t faultSignalCount = sizeof faultSignals / sizeof faultSignals[0];

// Constant-initialised and trivially destructible, so the library can still be unloaded.
thread_local _se_translator_function threadTranslator = nullptr;

struct sigaction previousActions[faultSignalCount];
std::once_flag installOnce;
bool handlerInstalled = false;

std::size_t indexOf(int signal) {
  std::size_t index = 0;
  while (index < faultSignalCount && faultSignals[index] != signal) {
    ++index;
  }
  return index;
}

CONTEXT contextOf(const ucontext_t& signalContext) {
  const greg_t* registers = signalContext.uc_mcontext.gregs;
  const auto reg = [registers](int index) { return static_cast<DWORD64>(registers[index]); };
  CONTEXT context{};
  context.EFlags = static_cast<DWORD>(reg(REG_EFL));
  context.Rax = reg(REG_RAX);
  context.Rcx = reg(REG_RCX);
  context.Rdx = reg(REG_RDX);
  context.Rbx = reg(REG_RBX);
  context.Rsp = reg(REG_RSP);
  context.Rbp = reg(REG_RBP);
  context.Rsi = reg(REG_RSI);
  context.Rdi = reg(REG_RDI);
  context.R8 = reg(REG_R8);
  context.R9 = reg(REG_R9);
  context.R10 = reg(REG_R10);
  context.R11 = reg(REG_R11);
  context.R12 = reg(REG_R12);
  context.R13 = reg(REG_R13);
  context.R14 = reg(REG_R14);
  context.R15 = reg(REG_R15);
  context.Rip = reg(REG_RIP);
  return context;
}

EXCEPTION_RECORD recordOf(DWORD code, const siginfo_t& info, const ucontext_t& signalContext) {
  EXCEPTION_RECORD record{};
  record.ExceptionCode = code;
  record.ExceptionAddress = reinterpret_cast<void*>(signalContext.uc_mcontext.gregs[REG_RIP]);
  if (code == EXCEPTION_ACCESS_VIOLATION || code == EXCEPTION_IN_PAGE_ERROR) {
    // Bit 1 of the page fault's error code says the access was a write.
    const auto error = static_cast<DWORD64>(signalContext.uc_mcontext.gregs[REG_ERR]);
    record.NumberParameters = 2;
    record.ExceptionInformation[0] = (error & 2) != 0 ? 1 : 0;
    record.ExceptionInformation[1] = reinterpret_cast<DWORD64>(info.si_addr);
  }
  return record;
}

// What would have happened without our handler.
void passOn(int signal, siginfo_t* info, void* signalContext) {
  const struct sigaction& previous = previousActions[indexOf(signal)];
  if ((previous.sa_flags & SA_SIGINFO) != 0 && previous.sa_sigaction != nullptr) {
    previous.sa_sigaction(signal, info, signalContext);
    return;
  }
  if (previous.sa_handler != SIG_DFL && previous.sa_handler != SIG_IGN) {
    previous.sa_handler(signal);
    return;
  }
  // A fault can't be ignored; the process is about to end, so the default may stay.
  struct sigaction defaultAction {};
  defaultAction.sa_handler = SIG_DFL;
  ::sigaction(signal, &defaultAction, nullptr);
  if (info->si_code <= 0) {
    // Sent, not raised by an instruction: returning would not repeat it.
    ::raise(signal);
  }
}

bool isCode(std::uint64_t address) {
  Dl_info info{};
  return address != 0 && ::dladdr(reinterpret_cast<void*>(address), &info) != 0;
}

// A call through a bad pointer faults where there is no code, and so nothing to unwind by.
// While the translator runs, the saved registers then say that the fault happened on the call
// instruction itself: one byte before the return address, with that address popped. The
// unwinder takes a signal frame's address as it is, not less one. Returns whether it moved.
bool moveFaultToCaller(greg_t* registers) {
  std::uint64_t returnAddress = 0;
  iovec local{&returnAddress, sizeof returnAddress};
  iovec remote{reinterpret_cast<void*>(registers[REG_RSP]), sizeof returnAddress};
  if (isCode(static_cast<std::uint64_t>(registers[REG_RIP])) ||
      ::process_vm_readv(::getpid(), &local, 1, &remote, 1, 0) !=
          static_cast<ssize_t>(sizeof returnAddress) ||
      !isCode(returnAddress)) {
    return false;
  }
  registers[REG_RIP] = static_cast<greg_t>(returnAddress - 1);
  registers[REG_RSP] += static_cast<greg_t>(sizeof returnAddress);
  return true;
}

void onFaultSignal(int signal, siginfo_t* info, void* signalContext) {
  const _se_translator_function translator = threadTranslator;
  const DWORD code = exceptionCodeOf(signal, info->si_code);
  if (translator != nullptr && code != 0) {
    auto& machine = *static_cast<ucontext_t*>(signalContext);
    CONTEXT context = contextOf(machine);
    EXCEPTION_RECORD record = recordOf(code, *info, machine);
    EXCEPTION_POINTERS pointers{&record, &context};
    greg_t* registers = machine.uc_mcontext.gregs;
    const greg_t faultIp = registers[REG_RIP];
    const greg_t faultSp = registers[REG_RSP];
    const bool moved = moveFaultToCaller(registers);
    // May throw: the exception unwinds through the signal frame into the faulting code. No
    // object with a destructor may live here, or its cleanup would run before the unwinder
    // reads the registers above.
    translator(code, &pointers);
    if (moved) {
      registers[REG_RIP] = faultIp;
      registers[REG_RSP] = faultSp;
    }
  }
  passOn(signal, info, signalContext);
}

void installHandler() {
  struct sigaction action {};
  action.sa_sigaction = onFaultSignal;
  // SA_NODEFER: the handler may be left by an exception, which never restores the mask.
  action.sa_flags = SA_SIGINFO | SA_NODEFER;
  ::sigemptyset(&action.sa_mask);
  for (std::size_t index = 0; index < faultSignalCount; ++index) {
    ::sigaction(faultSignals[index], &action, &previousActions[index]);
  }
  handlerInstalled = true;
}

// The handler's code goes with the library.
__attribute__((destructor)) void removeHandler() {
  if (!handlerInstalled) {
    return;
  }
  for (std::size_t index = 0; index < faultSignalCount; ++index) {
    ::sigaction(faultSignals[index], &previousActions[index], nullptr);
  }
  handlerInstalled = false;
}

} // namespace

DWORD exceptionCodeOf(int signal, int signalCode) {
  if (signalCode <= 0) {
    return 0;
  }
  switch (signal) {
  case SIGSEGV:
    return EXCEPTION_ACCESS_VIOLATION;
  case SIGBUS:
    return signalCode == BUS_ADRALN ? EXCEPTION_DATATYPE_MISALIGNMENT : EXCEPTION_IN_PAGE_ERROR;
  case SIGILL:
    return signalCode == ILL_PRVOPC || signalCode == ILL_PRVREG ? EXCEPTION_PRIV_INSTRUCTION
                                                                : EXCEPTION_ILLEGAL_INSTRUCTION;
  case SIGFPE:
    switch (signalCode) {
    case FPE_INTDIV:
      return EXCEPTION_INT_DIVIDE_BY_ZERO;
    case FPE_INTOVF:
      return EXCEPTION_INT_OVERFLOW;
    case FPE_FLTDIV:
      return EXCEPTION_FLT_DIVIDE_BY_ZERO;
    case FPE_FLTOVF:
      return EXCEPTION_FLT_OVERFLOW;
    case FPE_FLTUND:
      return EXCEPTION_FLT_UNDERFLOW;
    case FPE_FLTRES:
      return EXCEPTION_FLT_INEXACT_RESULT;
    case FPE_FLTSUB:
      return EXCEPTION_ARRAY_BOUNDS_EXCEEDED;
    default:
      return EXCEPTION_FLT_INVALID_OPERATION;
    }
  default:
    return 0;
  }
}

_se_translator_function _set_se_translator(_se_translator_function translator) {
  if (translator != nullptr) {
    std::call_once(installOnce, installHandler);
  }
  const _se_translator_function previous = threadTranslator;
  threadTranslator = translator;
  return previous;
}

} // namespace basalt::platform
