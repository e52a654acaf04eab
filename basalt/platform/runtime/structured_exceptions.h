#ifndef BASALT_PLATFORM_RUNTIME_STRUCTURED_EXCEPTIONS_H
#define BASALT_PLATFORM_RUNTIME_STRUCTURED_EXCEPTIONS_H

// Structured exceptions are the synchronous fault signals: SIGSEGV, SIGBUS, SIGFPE and
// SIGILL raised by the processor for an instruction of the thread.
//
// A thread that has set a translator has it called on its own stack with the Windows code of
// the fault and a record of the registers, but not inside the signal handler: the handler
// takes the registers, makes the thread go on, once the handler has returned, in a frame that
// stands where the faulting instruction was, and returns. The translator is called from that
// frame, so it may allocate, lock and throw like any other code; a C++ exception thrown from
// it unwinds through that frame into the faulting function as if the instruction had thrown
// it, to the nearest matching catch. If the translator returns, the thread goes back to the
// faulting instruction with every register as it was, and the fault that follows goes on
// untranslated.
//
// Code that may fault must be compiled so that its frames can be unwound from the faulting
// instruction. With g++ 12, -fnon-call-exceptions on every file that holds such code is
// enough at any optimisation level: the faulting function's own destructors and catch
// clauses run too. Without it, g++ ends the process through std::terminate when the fault
// lies in a function it has proved not to throw. clang 14 accepts the option and ignores it:
// a fault leaves a function only when its caller can't prove the function non-throwing (it
// is defined in another file, or calls something that may throw); the faulting function's
// own destructors and catch clauses never run; and a fault inside a noexcept function (one
// of the C library's, say) ends the process through std::terminate.
//
// The translator runs on the faulting thread's stack, below the faulting frame, so a stack
// overflow, which leaves no room for it, ends the process with SIGSEGV untranslated; so does
// a fault inside the handler itself.
//
// A fault that isn't translated (the thread has no translator, its translator returned, or
// it faulted while its translator ran) is first given to the unhandled exception filter, if
// one is set, inside the signal handler. Then it goes on as if the handler weren't there: to
// the handler that was installed before ours (the address sanitizer's, say) or to the
// default action, which ends the process with the signal (and a core dump where enabled). A
// signal that another process sent goes straight on.

#include "basalt/platform/base/win_types.h"

namespace basalt::platform {

constexpr DWORD EXCEPTION_DATATYPE_MISALIGNMENT = 0x80000002;
constexpr DWORD EXCEPTION_ACCESS_VIOLATION = 0xC0000005;
constexpr DWORD EXCEPTION_IN_PAGE_ERROR = 0xC0000006;
constexpr DWORD EXCEPTION_ILLEGAL_INSTRUCTION = 0xC000001D;
constexpr DWORD EXCEPTION_ARRAY_BOUNDS_EXCEEDED = 0xC000008C;
constexpr DWORD EXCEPTION_FLT_DIVIDE_BY_ZERO = 0xC000008E;
constexpr DWORD EXCEPTION_FLT_INEXACT_RESULT = 0xC000008F;
constexpr DWORD EXCEPTION_FLT_INVALID_OPERATION = 0xC0000090;
constexpr DWORD EXCEPTION_FLT_OVERFLOW = 0xC0000091;
constexpr DWORD EXCEPTION_FLT_UNDERFLOW = 0xC0000093;
constexpr DWORD EXCEPTION_INT_DIVIDE_BY_ZERO = 0xC0000094;
constexpr DWORD EXCEPTION_INT_OVERFLOW = 0xC0000095;
constexpr DWORD EXCEPTION_PRIV_INSTRUCTION = 0xC0000096;

constexpr DWORD EXCEPTION_MAXIMUM_PARAMETERS = 15;

// The x86-64 integer registers of the faulting thread; Rip, Rbp and Rsp stand where the
// 32-bit record had Eip, Ebp and Esp.
struct CONTEXT {
  DWORD ContextFlags;
  DWORD EFlags;
  DWORD64 Rax, Rcx, Rdx, Rbx, Rsp, Rbp, Rsi, Rdi;
  DWORD64 R8, R9, R10, R11, R12, R13, R14, R15;
  DWORD64 Rip;
};

// For an access violation, ExceptionInformation[0] is 0 for a read and 1 for a write, and
// ExceptionInformation[1] the address that was accessed.
struct EXCEPTION_RECORD {
  DWORD ExceptionCode;
  DWORD ExceptionFlags;
  EXCEPTION_RECORD* ExceptionRecord;
  void* ExceptionAddress;
  DWORD NumberParameters;
  DWORD64 ExceptionInformation[EXCEPTION_MAXIMUM_PARAMETERS];
};

struct EXCEPTION_POINTERS {
  EXCEPTION_RECORD* ExceptionRecord;
  CONTEXT* ContextRecord;
};

using _se_translator_function = void (*)(unsigned int code, EXCEPTION_POINTERS* pointers);

// Sets the calling thread's translator and returns the one it had; null removes it. The
// translator ends with the thread. The process-wide handler is installed by the first call
// with a translator and removed when the library unloads.
_se_translator_function _set_se_translator(_se_translator_function translator);

constexpr LONG EXCEPTION_CONTINUE_SEARCH = 0;

using LPTOP_LEVEL_EXCEPTION_FILTER = LONG (*)(EXCEPTION_POINTERS* pointers);

// Sets the process's filter for faults that aren't translated, on any thread, and returns
// the one it had; null removes it. The filter runs inside the signal handler, so it may make
// only async-signal-safe calls. Its result isn't looked at: the fault then goes on as
// EXCEPTION_CONTINUE_SEARCH says. The first call with a filter installs the handler.
LPTOP_LEVEL_EXCEPTION_FILTER SetUnhandledExceptionFilter(LPTOP_LEVEL_EXCEPTION_FILTER filter);

// The calling function's registers as they will be when this call returns: Rip is the
// return address, Rsp the stack pointer after the return. Rax, R10 and R11 are not kept.
void RtlCaptureContext(CONTEXT* context);

// The Windows code of a fault signal and its si_code; 0 when the pair is no fault.
DWORD exceptionCodeOf(int signal, int signalCode);

} // namespace basalt::platform

#endif
