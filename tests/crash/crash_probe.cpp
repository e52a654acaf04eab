// A process that faults on purpose: the tests run it with the trace switch on or off and read
// what it prints and the report it leaves. Built with -fnon-call-exceptions, as clients that
// want faults translated are.
//
//   crash_probe <fault> <where> [times]
//
// fault: one of faultBelow's kinds.
// where: main (the loading thread), busy (the loading thread while a translation is under way),
// attached (a new thread that runs the entry point's thread attach), plain (a new thread that
// doesn't). Prints "caught <code> <module> <text> <level>" for each AnyError caught. With
// PROBE_PREVIOUS_HANDLER set, a SIGSEGV handler of its own, installed before the library's,
// prints "previous handler", with " at the fault" when it gets the registers of a fault in
// writeThroughNull, and lets the signal's default action end the process.

#include "basalt/crash/trace_translator.h"
#include "basalt/errors/any_error.h"
#include "basalt/frame/library_entry.h"
#include "basalt/text/kelp_string.h"
#include "tests/crash/crash_probe_faults.h"

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>
#include <thread>
#include <ucontext.h>
#include <unistd.h>

// Built without unwind tables (see CMakeLists.txt): only its frame pointer leads out of it.
extern "C" void callWithoutUnwindTables(void (*function)(void*), void* argument);

namespace probe {

// Sanitizers would report these faults themselves before the processor raises them.
#define PROBE_FAULT __attribute__((noinline, no_sanitize("address", "undefined")))

PROBE_FAULT void writeThroughNull(volatile int* target) {
  *target = 1; // NOLINT(clang-analyzer-core.NullDereference): the fault is the point
}

PROBE_FAULT int divideByZero(volatile int divisor) {
  return 7 / divisor; // NOLINT(clang-analyzer-core.DivideZero): the fault is the point
}

// Not __builtin_trap: the compiler would take the call for one that never returns and move
// it out of its caller.
PROBE_FAULT void executeIllegalInstruction() {
  asm volatile("ud2");
}

PROBE_FAULT void callThroughNull(void (*volatile function)()) {
  function(); // NOLINT(clang-analyzer-core.CallAndMessage): the fault is the point
  asm volatile("");
}

PROBE_FAULT void raiseSignal() {
  std::raise(SIGSEGV);
}

// Through a pointer, so that the call gives the walk no target to check.
void (*volatile indirectWrite)(volatile int*) = writeThroughNull;

// An exception can't unwind through a frame without unwind tables: the fault's is caught below
// that frame, to be thrown again above it. Through a pointer, so that no compiler takes the
// call for one that can't throw.
__attribute__((noinline)) void catchBelowFramePointers(void* caught) {
  try {
    indirectWrite(nullptr);
  } catch (...) {
    *static_cast<std::exception_ptr*>(caught) = std::current_exception();
  }
}

// Two frames between the catch and the fault, kept from being folded away.
__attribute__((noinline)) void faultBelow(const std::string& kind) {
  if (kind == "null-write") {
    writeThroughNull(nullptr);
  } else if (kind == "indirect-write") {
    indirectWrite(nullptr);
  } else if (kind == "divide") {
    std::printf("quotient %d\n", divideByZero(0));
  } else if (kind == "illegal") {
    executeIllegalInstruction();
  } else if (kind == "null-call") {
    callThroughNull(nullptr);
  } else if (kind == "raise") {
    raiseSignal();
  } else if (kind == "locals") {
    callWithLocals(nullptr);
  } else if (kind == "registers") {
    std::printf("sum %d\n", faultInRegisters(7, nullptr));
  } else if (kind == "optimised") {
    optimisedOuter();
  } else if (kind == "comparator") {
    sortWithFaultingComparison();
  } else if (kind == "memcpy") {
    copyIntoNowhere();
  } else if (kind == "frame-pointers") {
    std::exception_ptr caught;
    callWithoutUnwindTables(catchBelowFramePointers, &caught);
    std::rethrow_exception(caught);
  }
  asm volatile("");
}

__attribute__((noinline)) void faultTwice(const std::string& kind, int times) {
  for (int round = 0; round < times; ++round) {
    try {
      faultBelow(kind);
      std::printf("no fault\n");
    } catch (TRELL_o::AnyError& error) {
      std::string module;
      std::string text;
      error.module().fillString(module);
      error.getText(nullptr).fillString(text);
      std::printf("caught 0x%X %s \"%s\" %d\n", error.code(), module.c_str(), text.c_str(),
                  static_cast<int>(error.level()));
    }
    std::fflush(stdout);
  }
}

// Says whether the registers it is given are those of the fault in writeThroughNull.
void previousHandler(int /*signal*/, siginfo_t* /*info*/, void* context) {
  const auto pc =
      static_cast<std::uintptr_t>(static_cast<ucontext_t*>(context)->uc_mcontext.gregs[REG_RIP]);
  const auto fault = reinterpret_cast<std::uintptr_t>(&writeThroughNull);
  const char* line = pc - fault < 64 ? "previous handler at the fault\n" : "previous handler\n";
  ::write(STDOUT_FILENO, line, std::strlen(line));
  std::signal(SIGSEGV, SIG_DFL);
}

// Before the library's own start: a component's handler that was there first.
__attribute__((constructor(101))) void installPreviousHandler() {
  if (std::getenv("PROBE_PREVIOUS_HANDLER") != nullptr) {
    struct sigaction action {};
    action.sa_sigaction = previousHandler;
    action.sa_flags = SA_SIGINFO;
    ::sigaction(SIGSEGV, &action, nullptr);
  }
}

} // namespace probe

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: crash_probe <fault> <where> [times]\n");
    return 2;
  }
  const std::string kind = argv[1];
  const std::string where = argv[2];
  const int times = argc > 3 ? std::atoi(argv[3]) : 1;
  if (where == "main" || where == "busy") {
    // As if another thread's translation were under way: the translator leaves the fault be.
    basalt::crash::translationActive = where == "busy";
    probe::faultTwice(kind, times);
  } else {
    std::thread([&] {
      if (where == "attached") {
        basalt::frame::libraryEntryPoint(nullptr, basalt::frame::DLL_THREAD_ATTACH, nullptr);
      }
      probe::faultTwice(kind, times);
    }).join();
  }
  return 0;
}
