#ifndef BASALT_PLATFORM_RUNTIME_STRUCTURED_EXCEPTIONS_H
#define BASALT_PLATFORM_RUNTIME_STRUCTURED_EXCEPTIONS_H

// Structured exceptions are the synchronous fault signals: SIGSEGV, SIGBUS, SIGFPE and
// SIGILL raised by the processor for an instruction of the thread. A thread that has set a
// translator has it called on its own stack, inside the signal handler, with the Windows code
// of the fault and a record of the registers; a C++ exception thrown from the translator
// unwinds out of the signal frame to the nearest matching catch.
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
// The translator runs on the faulting thread's own stack, so a stack overflow, which leaves
// no room for it, ends the process with SIGSEGV untranslated. It may allocate and write
// files, which no signal handler may safely do: a fault inside malloc or stdio while they
// hold their lock can hang the thread instead.
//
// A thread without a translator, a signal that another process sent, and a fault that the
// translator returns from all go on as if the handler weren't there: to the handler that was
// installed before ours (the address sanitizer's, say) or to the default action, which ends
// the process with the signal.

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

// The Windows code of a fault signal and its si_code; 0 when the pair is no fault.
DWORD exceptionCodeOf(int signal, int signalCode);

} // namespace basalt::platform

#endif
