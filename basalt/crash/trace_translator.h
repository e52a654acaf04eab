#ifndef BASALT_CRASH_TRACE_TRANSLATOR_H
#define BASALT_CRASH_TRACE_TRANSLATOR_H

#include "basalt/platform/runtime/structured_exceptions.h"

namespace basalt::crash {

// Sets translateStructuredException as the calling thread's translator when DoTrace under
// HKEY_LOCAL_MACHINE\Software\Corvane Holdings\10.0\TRELL(o)\Trace is a non-zero number.
// The entry point runs it on process attach and on every thread attach. Tracing on also
// starts the reporter thread and has a fault on any thread without a translator reported
// before the process ends by it.
void installTraceTranslator();

// Writes the stack report and throws a TRELL_o::ExcpError; returns at once, leaving the fault
// untranslated, while another translation is under way.
void translateStructuredException(unsigned int code, platform::EXCEPTION_POINTERS* pointers);

// True from the start of a translation until its report is written, and while the fault of a
// thread without a translator is reported. A plain flag: two threads that fault at once
// aren't kept apart by anything stronger.
extern bool translationActive;

} // namespace basalt::crash

#endif
