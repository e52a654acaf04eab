#include "basalt/crash/trace_translator.h"

#include "basalt/crash/excp_error.h"
#include "basalt/system/registry_wrapper.h"

namespace basalt::crash {

namespace plat = basalt::platform;

bool translationActive = false;

void installTraceTranslator() {
  RegistryWrapper registry;
  bool doTrace = false;
  if (registry.readRegKeyValue(RegistryWrapper::LocalMachine,
                               "Software\\Corvane Holdings\\10.0\\TRELL(o)\\Trace", "DoTrace",
                               doTrace, nullptr) &&
      doTrace) {
    plat::_set_se_translator(translateStructuredException);
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
