#include "basalt/concurrency/marlow_thread_library.h"

namespace basalt {

MarlowRecursiveMutex::MarlowRecursiveMutex() = default;
MarlowRecursiveMutex::~MarlowRecursiveMutex() = default;

MarlowMonitor::MarlowMonitor() = default;
MarlowMonitor::~MarlowMonitor() = default;

MarlowInitialize::MarlowInitialize() = default;
MarlowInitialize::~MarlowInitialize() noexcept(false) = default;
MarlowInitialize::MarlowInitialize(const MarlowInitialize& other) = default;
MarlowInitialize& MarlowInitialize::operator=(const MarlowInitialize& other) = default;

MarlowAdoptCurrentThread::MarlowAdoptCurrentThread() = default;
MarlowAdoptCurrentThread::~MarlowAdoptCurrentThread() = default;
MarlowAdoptCurrentThread::MarlowAdoptCurrentThread(const MarlowAdoptCurrentThread& other) = default;
MarlowAdoptCurrentThread&
MarlowAdoptCurrentThread::operator=(const MarlowAdoptCurrentThread& other) = default;

} // namespace basalt
