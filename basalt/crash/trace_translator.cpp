#include "basalt/crash/trace_translator.h"

#include "basalt/crash/excp_error.h"
#include "basalt/crash/stack_report.h"
#include "basalt/platform/runtime/reporter_thread.h"
#include "basalt/system/registry_wrapper.h"

namespace basalt::crash {

namespace plat = basalt::platform;

bool translationActive = false;

namespace {

plat::LONG reportUntranslatedFault(plat::EXCEPTION_POINTERS* pointers) {
  if (!translationActive) {
    translationActive = true;
    writeStackReportFromHandler(pointers->ContextRecord);
    translationActive = false;
  }
  return plat::EXCEPTION_CONTINUE_SEARCH;
}

} // namespace

void installTraceTranslator() {
  RegistryWrapper registry;
  bool doTrace = false;
  if (registry.readRegKeyValue(RegistryWrapper::LocalMachine,
                               "Software\\Corvane Holdings\\10.0\\TRELL(o)\\Trace", "DoTrace",
                               doTrace, nullptr) &&
      doTrace) {
    plat::_set_se_translator(translateStructuredException);
    // Reports are written on a thread of their own from now on, and a fault on a thread
    // without a translator is reported too before it ends the process.
    if (plat::startReporterThread()) {
      plat::SetUnhandledExceptionFilter(reportUntranslatedFault);
    }
  }
}

void translateStructuredException(unsigned int code, plat::EXCEPTION_POINTERS* pointers) {
  if (translationActive) {
    return;
  }
  translationActive = true;
  const TRELL_o::ExcpError error(code, pointers, &translationActive);
  throw error;
}

} // namespace basalt::crash
