#include "basalt/platform/runtime/structured_exceptions.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <dlfcn.h>
#include <iterator>
#include <mutex>
#include <sys/uio.h>
#include <ucontext.h>
#include <unistd.h>

namespace basalt::platform {

// What the handler leaves for a fault that its translator is to take, on the faulting
// thread's stack below everything the handler used.
struct FaultRedirect {
  // First: the unwind rules of the frame that takes the fault find these words at fixed
  // places. The registers of the faulting frame by DWARF number: rax, rdx, rcx, rbx, rsi, rdi,
  // rbp, rsp, r8 to r15, rip.
  DWORD64 registers[17];
  CONTEXT context;
  EXCEPTION_RECORD record;
  // The record of the signal, still whole above the stack the translator runs on: the thread
  // returns to the fault through it.
  ucontext_t* signalContext;
  _se_translator_function translator;
};

} // namespace basalt::platform

extern "C" {
// The frame a translated fault goes on in: it calls basaltDeliverFault and, if that returns,
// basaltResumeFault, and returns to the fault through the signal's record.
__attribute__((visibility("hidden"))) void basaltFaultTrampoline();
__attribute__((visibility("hidden"), used)) void
basaltDeliverFault(basalt::platform::FaultRedirect* redirect);
__attribute__((visibility("hidden"), used)) ucontext_t*
basaltResumeFault(basalt::platform::FaultRedirect* redirect);
}

// rbx holds the FaultRedirect. Its unwind rules give every register of the faulting frame
// from the redirect's first words (DW_CFA_expression r: at rbx + 8r, and the CFA, the
// faulting frame's rsp, read from rbx + 56), and mark it a signal frame, so that the unwinder
// looks for the faulting instruction's handler at its own address rather than one byte back,
// as it would for a return address.
asm(R"(
        .text
        .p2align 4
        .globl basaltFaultTrampoline
        .hidden basaltFaultTrampoline
        .type basaltFaultTrampoline, @function
basaltFaultTrampoline:
        .cfi_startproc
        .cfi_signal_frame
        .cfi_escape 0x0f, 4, 0x73, 0xb8, 0x00, 0x06
        .cfi_escape 0x10, 0, 3, 0x73, 0x80, 0x00
        .cfi_escape 0x10, 1, 3, 0x73, 0x88, 0x00
        .cfi_escape 0x10, 2, 3, 0x73, 0x90, 0x00
        .cfi_escape 0x10, 3, 3, 0x73, 0x98, 0x00
        .cfi_escape 0x10, 4, 3, 0x73, 0xa0, 0x00
        .cfi_escape 0x10, 5, 3, 0x73, 0xa8, 0x00
        .cfi_escape 0x10, 6, 3, 0x73, 0xb0, 0x00
        .cfi_escape 0x10, 8, 3, 0x73, 0xc0, 0x00
        .cfi_escape 0x10, 9, 3, 0x73, 0xc8, 0x00
        .cfi_escape 0x10, 10, 3, 0x73, 0xd0, 0x00
        .cfi_escape 0x10, 11, 3, 0x73, 0xd8, 0x00
        .cfi_escape 0x10, 12, 3, 0x73, 0xe0, 0x00
        .cfi_escape 0x10, 13, 3, 0x73, 0xe8, 0x00
        .cfi_escape 0x10, 14, 3, 0x73, 0xf0, 0x00
        .cfi_escape 0x10, 15, 3, 0x73, 0xf8, 0x00
        .cfi_escape 0x10, 16, 3, 0x73, 0x80, 0x01
        movq %rbx, %rdi
        call basaltDeliverFault
        movq %rbx, %rdi
        call basaltResumeFault
        movq %rax, %rsp
        movl $15, %eax
        syscall
        ud2
        .cfi_endproc
        .size basaltFaultTrampoline, .-basaltFaultTrampoline
)");

namespace basalt::platform {
namespace {

constexpr int faultSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL};
constexpr std::size_t faultSignalCount = sizeof faultSignals / sizeof faultSignals[0];

// The ucontext registers in DWARF order, as FaultRedirect::registers holds them.
constexpr int dwarfOrder[17] = {REG_RAX, REG_RDX, REG_RCX, REG_RBX, REG_RSI, REG_RDI,
                                REG_RBP, REG_RSP, REG_R8,  REG_R9,  REG_R10, REG_R11,
                                REG_R12, REG_R13, REG_R14, REG_R15, REG_RIP};
constexpr std::size_t dwarfRsp = 7;
constexpr std::size_t dwarfRip = 16;
static_assert(offsetof(FaultRedirect, registers) == 0, "the trampoline's rules count from here");

// What the signal handler, and the code that called it, may still put on the stack after
// the redirect is written below it.
constexpr std::uintptr_t handlerStackReserve = 16 * 1024;
constexpr greg_t directionFlag = 0x400;

// Read inside the signal handler: initial-exec, so that no read allocates, even when the
// library was loaded by dlopen. Constant-initialised and trivially destructible, so the
// library can still be unloaded.
[[gnu::tls_model("initial-exec")]] thread_local _se_translator_function threadTranslator = nullptr;
// From the redirect of a fault until its translator is left.
[[gnu::tls_model("initial-exec")]] thread_local bool threadDelivering = false;
// Set when a translator returned: the fault at threadPassOnIp comes again and goes on.
[[gnu::tls_model("initial-exec")]] thread_local bool threadPassingOn = false;
[[gnu::tls_model("initial-exec")]] thread_local greg_t threadPassOnIp = 0;

std::atomic<LPTOP_LEVEL_EXCEPTION_FILTER> unhandledFilter{nullptr};

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

// Word by word through volatile accesses, which no compiler turns into a call of memcpy: the
// redirect lies below the stack pointer, where the sanitizers have nothing to check. The
// barriers keep the caller's stores before the copy and its loads after it: g++ otherwise
// drops stores whose only reader is a volatile load here.
__attribute__((no_sanitize("address", "thread"))) void copyWords(void* target, const void* source,
                                                                 std::size_t size) {
  asm volatile("" ::: "memory");
  auto* to = static_cast<volatile std::uint64_t*>(target);
  const auto* from = static_cast<const volatile std::uint64_t*>(source);
  for (std::size_t index = 0; index < size / sizeof(std::uint64_t); ++index) {
    to[index] = from[index];
  }
  asm volatile("" ::: "memory");
}

// Leaves the fault for its translator: the redirect goes far below the handler's frame, and
// the thread, once the handler returns, goes on in the trampoline just below the redirect.
// The signal's record above stays as it is, but for the registers set here.
void redirectToTranslator(DWORD code, const siginfo_t& info, ucontext_t& machine,
                          _se_translator_function translator) {
  FaultRedirect redirect{};
  greg_t* registers = machine.uc_mcontext.gregs;
  for (std::size_t index = 0; index < std::size(dwarfOrder); ++index) {
    redirect.registers[index] = static_cast<DWORD64>(registers[dwarfOrder[index]]);
  }
  redirect.context = contextOf(machine);
  redirect.record = recordOf(code, info, machine);
  redirect.signalContext = &machine;
  redirect.translator = translator;
  const std::uintptr_t below = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0)) -
                               handlerStackReserve - sizeof redirect;
  auto* target = reinterpret_cast<FaultRedirect*>(below & ~std::uintptr_t{63});
  copyWords(target, &redirect, sizeof redirect);
  registers[REG_RIP] = reinterpret_cast<greg_t>(&basaltFaultTrampoline);
  registers[REG_RSP] = reinterpret_cast<greg_t>(target);
  registers[REG_RBX] = reinterpret_cast<greg_t>(target);
  // The faulting code may have set it (a backward string copy); the trampoline's calls
  // expect it clear.
  registers[REG_EFL] &= ~directionFlag;
  threadDelivering = true;
}

// A call through a bad pointer faults where there is no code, and so nothing to unwind by.
// The frame's registers for the unwinder then say that the fault happened on the call
// instruction itself: one byte before the return address, with that address popped. The
// report keeps the true registers.
__attribute__((no_sanitize("address", "thread"))) void moveFaultToCaller(DWORD64* registers) {
  std::uint64_t returnAddress = 0;
  iovec local{&returnAddress, sizeof returnAddress};
  iovec remote{reinterpret_cast<void*>(registers[dwarfRsp]), sizeof returnAddress};
  if (isCode(registers[dwarfRip]) ||
      ::process_vm_readv(::getpid(), &local, 1, &remote, 1, 0) !=
          static_cast<ssize_t>(sizeof returnAddress) ||
      !isCode(returnAddress)) {
    return;
  }
  registers[dwarfRip] = returnAddress - 1;
  registers[dwarfRsp] += sizeof returnAddress;
}

// Copies the fault out of the redirect into the caller's own variables, which the sanitizers
// know, and gives its translator.
__attribute__((no_sanitize("address", "thread"))) _se_translator_function
takeFault(FaultRedirect* redirect, CONTEXT& context, EXCEPTION_RECORD& record) {
  copyWords(&context, &redirect->context, sizeof context);
  copyWords(&record, &redirect->record, sizeof record);
  moveFaultToCaller(redirect->registers);
  return redirect->translator;
}

struct DeliveryEnd {
  DeliveryEnd() = default;
  DeliveryEnd(const DeliveryEnd&) = delete;
  DeliveryEnd& operator=(const DeliveryEnd&) = delete;
  ~DeliveryEnd() { threadDelivering = false; }
};

// The filter sees the fault with its registers as they were.
void filterUntranslated(DWORD code, const siginfo_t& info, const ucontext_t& machine) {
  const LPTOP_LEVEL_EXCEPTION_FILTER filter = unhandledFilter;
  if (filter == nullptr) {
    return;
  }
  CONTEXT context = contextOf(machine);
  EXCEPTION_RECORD record = recordOf(code, info, machine);
  EXCEPTION_POINTERS pointers{&record, &context};
  filter(&pointers);
}

void onFaultSignal(int signal, siginfo_t* info, void* signalContext) {
  const int savedErrno = errno;
  auto& machine = *static_cast<ucontext_t*>(signalContext);
  const DWORD code = exceptionCodeOf(signal, info->si_code);
  const bool again = threadPassingOn && machine.uc_mcontext.gregs[REG_RIP] == threadPassOnIp;
  threadPassingOn = false;
  const _se_translator_function translator = threadTranslator;
  if (code != 0 && translator != nullptr && !threadDelivering && !again) {
    redirectToTranslator(code, *info, machine, translator);
  } else {
    if (code != 0) {
      filterUntranslated(code, *info, machine);
    }
    passOn(signal, info, signalContext);
  }
  errno = savedErrno;
}

void installHandler() {
  struct sigaction action {};
  action.sa_sigaction = onFaultSignal;
  action.sa_flags = SA_SIGINFO;
  // No other signal may put its frame where the redirect goes. A fault inside the handler
  // therefore ends the process.
  ::sigfillset(&action.sa_mask);
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

LPTOP_LEVEL_EXCEPTION_FILTER SetUnhandledExceptionFilter(LPTOP_LEVEL_EXCEPTION_FILTER filter) {
  if (filter != nullptr) {
    std::call_once(installOnce, installHandler);
  }
  return unhandledFilter.exchange(filter);
}

static_assert(offsetof(CONTEXT, EFlags) == 4 && offsetof(CONTEXT, Rax) == 8 &&
                  offsetof(CONTEXT, Rsp) == 40 && offsetof(CONTEXT, R15) == 128 &&
                  offsetof(CONTEXT, Rip) == 136,
              "RtlCaptureContext stores by these offsets");

// Naked: no prologue changes a register before it is stored.
__attribute__((naked)) void RtlCaptureContext(CONTEXT* /*context*/) {
  asm(R"(
        movq %rax, 8(%rdi)
        movq %rcx, 16(%rdi)
        movq %rdx, 24(%rdi)
        movq %rbx, 32(%rdi)
        movq %rbp, 48(%rdi)
        movq %rsi, 56(%rdi)
        movq %rdi, 64(%rdi)
        movq %r8, 72(%rdi)
        movq %r9, 80(%rdi)
        movq %r10, 88(%rdi)
        movq %r11, 96(%rdi)
        movq %r12, 104(%rdi)
        movq %r13, 112(%rdi)
        movq %r14, 120(%rdi)
        movq %r15, 128(%rdi)
        leaq 8(%rsp), %rax
        movq %rax, 40(%rdi)
        movq (%rsp), %rax
        movq %rax, 136(%rdi)
        pushfq
        popq %rax
        movl %eax, 4(%rdi)
        ret
)");
}

} // namespace basalt::platform

extern "C" void basaltDeliverFault(basalt::platform::FaultRedirect* redirect) {
  namespace plat = basalt::platform;
  plat::CONTEXT context{};
  plat::EXCEPTION_RECORD record{};
  const plat::_se_translator_function translator = plat::takeFault(redirect, context, record);
  const plat::DeliveryEnd end;
  plat::EXCEPTION_POINTERS pointers{&record, &context};
  translator(record.ExceptionCode, &pointers);
}

// The translator returned: the signal's record gets back the registers the redirect changed,
// and the instruction runs again to fault untranslated.
extern "C" __attribute__((no_sanitize("address", "thread"))) ucontext_t*
basaltResumeFault(basalt::platform::FaultRedirect* redirect) {
  namespace plat = basalt::platform;
  ucontext_t* machine = redirect->signalContext;
  greg_t* registers = machine->uc_mcontext.gregs;
  registers[REG_RIP] = static_cast<greg_t>(redirect->context.Rip);
  registers[REG_RSP] = static_cast<greg_t>(redirect->context.Rsp);
  registers[REG_RBX] = static_cast<greg_t>(redirect->context.Rbx);
  registers[REG_EFL] = static_cast<greg_t>(redirect->context.EFlags);
  plat::threadPassOnIp = registers[REG_RIP];
  plat::threadPassingOn = true;
  return machine;
}
