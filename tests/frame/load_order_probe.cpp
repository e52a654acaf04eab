// Loads libbasalt.so the way a client's loader would, optionally uses the log, and unloads it.
// Not linked to basalt: everything comes through dlopen and dlsym.

#include "basalt/logging/core_log.h"

#include <cstdio>
#include <cstring>
#include <dlfcn.h>

namespace {

using GetLogObject = basalt::CoreLog* (*)();
// Non-virtual members take the object as their first argument.
using GetModuleVerbosity = basalt::CoreLog::VerbosityType* (*)(basalt::CoreLog*, const KELPString&,
                                                               const KELPString&);
using Log = bool (*)(basalt::CoreLog*, std::uint32_t, basalt::CoreLog::VerbosityType,
                     const KELPString&, const KELPString&, int, const unsigned short**);

template <class Function> Function symbol(void* library, const char* name) {
  void* address = dlsym(library, name);
  if (address == nullptr) {
    std::fprintf(stderr, "probe: no symbol %s\n", name);
  }
  return reinterpret_cast<Function>(address);
}

bool useLog(void* library) {
  const auto getLogObject = symbol<GetLogObject>(library, "_ZN6basalt12getLogObjectEv");
  const auto getModuleVerbosity = symbol<GetModuleVerbosity>(
      library, "_ZN6basalt7CoreLog18getModuleVerbosityERK10KELPStringS3_");
  const auto log =
      symbol<Log>(library, "_ZN6basalt7CoreLog3logEjNS0_13VerbosityTypeERK10KELPStringS4_iPPKt");
  if (getLogObject == nullptr || getModuleVerbosity == nullptr || log == nullptr) {
    return false;
  }
  basalt::CoreLog* coreLog = getLogObject();
  const KELPString empty; // default construction needs nothing of the library
  const basalt::CoreLog::VerbosityType* verbosity = getModuleVerbosity(coreLog, empty, empty);
  const bool accepted =
      log(coreLog, 0xC2011F03, basalt::CoreLog::VerbosityCritical, empty, empty, 0, nullptr);
  std::fprintf(stderr, "probe: verbosity %d, record %s\n", verbosity == nullptr ? -1 : *verbosity,
               accepted ? "accepted" : "refused");
  return true;
}

} // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: load_order_probe LIBRARY log|quiet\n");
    return 2;
  }
  void* library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    std::fprintf(stderr, "probe: %s\n", dlerror());
    return 1;
  }
  std::fprintf(stderr, "probe: loaded\n");
  if (std::strcmp(argv[2], "log") == 0 && !useLog(library)) {
    return 1;
  }
  if (dlclose(library) != 0) {
    std::fprintf(stderr, "probe: %s\n", dlerror());
    return 1;
  }
  // GNU unique symbols (statics of inline templates such as std::to_string's) pin a library.
  if (dlopen(argv[1], RTLD_NOW | RTLD_NOLOAD) != nullptr) {
    std::fprintf(stderr, "probe: still loaded after dlclose; look for UNIQUE symbols\n");
    return 1;
  }
  std::fprintf(stderr, "probe: unloaded\n");
  return 0;
}
