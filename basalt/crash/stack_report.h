#ifndef BASALT_CRASH_STACK_REPORT_H
#define BASALT_CRASH_STACK_REPORT_H

// The crash report: appended to LowmarshTrace.log in the directory for temporary files, one
// report per translated fault, with the time, the modules loaded, a legend and a block per
// stack frame. Symbols come from the debug help library "imagehlp.dll", bound by name at the
// first report. Addresses are 64 bits and printed with 16 hexadecimal digits.

#include "basalt/platform/images/debug_help.h"
#include "basalt/platform/runtime/structured_exceptions.h"
#include "basalt/text/kelp_string.h"

namespace basalt::crash {

// Writes the report of context, unless it is the context of the last report. Any failure
// ends the report quietly. The report is written on the reporter thread, once tracing has
// started it, while the caller waits; else here.
void writeStackReport(platform::CONTEXT* context);

// The same from inside a signal handler: on the reporter thread only, nothing without it.
void writeStackReportFromHandler(platform::CONTEXT* context);

// From symbol initialisation to the report's trailer, into the open report.
void traceStack(platform::HANDLE thread, platform::CONTEXT* context);

// Non-zero once all 16 functions are bound; on failure nothing stays loaded.
int bindImagehlp();

void writeLastError();
// False if a write failed.
bool writeLegend();
bool writeModuleInfo(platform::IMAGEHLP_MODULE* module);
// The callback of SymEnumerateModules: one line per module. FALSE, ending the enumeration,
// when the line can't be written.
platform::BOOL writeModuleEntry(const char* moduleName, platform::DWORD64 baseOfDll,
                                void* userContext);
void symbolTypeName(platform::SYM_TYPE value, KELPString& text);

} // namespace basalt::crash

#endif
