#ifndef BASALT_FRAME_LIBRARY_ENTRY_H
#define BASALT_FRAME_LIBRARY_ENTRY_H

#include "basalt/platform/base/win_types.h"
#include "basalt/platform/threads/thread_library.h"

namespace basalt::frame {

// Why the entry point is called.
constexpr platform::DWORD DLL_PROCESS_DETACH = 0;
constexpr platform::DWORD DLL_PROCESS_ATTACH = 1;
constexpr platform::DWORD DLL_THREAD_ATTACH = 2;
constexpr platform::DWORD DLL_THREAD_DETACH = 3;

// What the loader calls, after the static objects are made (process attach) and before the
// exit list runs (process detach). The module handle and the reserved word are not used.
// Returns 1 for every reason: no failure makes the load fail. Thread attach and detach come
// on the threads that the thread library starts, before their run() and after it; threads made
// with pthread_create or std::thread directly are not announced.
platform::BOOL libraryEntryPoint(platform::HANDLE module, platform::DWORD reason, void* reserved);

// Brings up the thread library and makes the log object while the ORB's instance is held.
void startLibrary();

// The thread library's bracket for this process: set on process attach, deleted on detach.
extern platform::JTCInitialize* threadLibraryInit;

} // namespace basalt::frame

#endif
