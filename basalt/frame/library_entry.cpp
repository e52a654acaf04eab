#include "basalt/frame/library_entry.h"

#include "basalt/crash/trace_translator.h"
#include "basalt/frame/static/debug_trace.h"
#include "basalt/frame/static/exit_list.h"
#include "basalt/frame/static/static_objects.h"
#include "basalt/logging/core_log.h"
#include "basalt/platform/registry/registry_store.h"
#include "basalt/platform/runtime/orb.h"
#include "basalt/platform/threads/jtc_thread.h"

#include <exception>
#include <new>

namespace basalt::frame {

platform::JTCInitialize* threadLibraryInit = nullptr;

void startLibrary() {
  if (threadLibraryInit == nullptr) {
    threadLibraryInit = new (std::nothrow) platform::JTCInitialize;
  }
  // The ORB's instance is held only across the making of the log.
  platform::CORBA_ORB_var orb;
  orb = platform::CORBA_ORB::_OB_instance();
  libraryLog = getLogObject();
}

namespace {

// Linux tells a shared library nothing of new threads; the thread library tells us of its own.
void onThreadNotice(bool attached) {
  libraryEntryPoint(nullptr, attached ? DLL_THREAD_ATTACH : DLL_THREAD_DETACH, nullptr);
}

} // namespace

platform::BOOL libraryEntryPoint(platform::HANDLE /*module*/, platform::DWORD reason,
                                 void* /*reserved*/) {
  switch (reason) {
  case DLL_PROCESS_ATTACH:
    platform::setThreadNotice(onThreadNotice);
    crash::installTraceTranslator();
    startLibrary();
    break;
  case DLL_THREAD_ATTACH:
    // A translator holds for one thread only.
    crash::installTraceTranslator();
    break;
  case DLL_PROCESS_DETACH:
    if (threadLibraryInit != nullptr) {
      try {
        delete threadLibraryInit;
        threadLibraryInit = nullptr;
      } catch (...) {
        // Unloading goes on; the exit list still deletes the log.
      }
    }
    break;
  default: // thread detach
    break;
  }
  return platform::TRUE;
}

} // namespace basalt::frame

namespace {

// The loader's calls: the static objects and process attach when the library is loaded,
// process detach and the exit list when it goes, whether by dlclose or at process exit.
__attribute__((constructor)) void onLibraryLoad() {
  basalt::frame::makeStaticObjects();
  // An exception leaving a load constructor would end the host process.
  try {
    basalt::frame::libraryEntryPoint(nullptr, basalt::frame::DLL_PROCESS_ATTACH, nullptr);
  } catch (const std::exception& error) {
    basalt::frame::debugTrace("process attach failed: ", error.what());
  } catch (...) {
    basalt::frame::debugTrace("process attach failed", "");
  }
}

__attribute__((destructor)) void onLibraryUnload() {
  basalt::frame::libraryEntryPoint(nullptr, basalt::frame::DLL_PROCESS_DETACH, nullptr);
  basalt::frame::runExitList();
  basalt::platform::releaseRegistry();
}

} // namespace
