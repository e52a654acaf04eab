#include "basalt/concurrency/thread_registry.h"

#include "basalt/platform/base/thread_state.h"

#include <algorithm>
#include <new>

namespace basalt {

ThreadRegistry::ThreadRegistry() = default;

ThreadRegistry::~ThreadRegistry() {
  // A NOVI record that unregisterLUMAThread took out of the list is owned by nothing else.
  if (noviRecord != nullptr &&
      std::find(records.begin(), records.end(), noviRecord) == records.end()) {
    delete noviRecord;
  }
  clear_thread_list();
}

std::uint32_t ThreadRegistry::this_thread_id() {
  return platform::GetCurrentThreadId();
}

std::uint32_t ThreadRegistry::orCallingThread(std::uint32_t id) {
  return id != 0 ? id : this_thread_id();
}

std::uint32_t ThreadRegistry::getThisId() {
  return this_thread_id();
}

bool ThreadRegistry::append(ThreadIDFlag* record) {
  try {
    records.push_back(record);
  } catch (const std::bad_alloc&) {
    delete record;
    return false;
  }
  return true;
}

ThreadIDFlag* ThreadRegistry::get_id_flag_from_list(std::uint32_t id) {
  const auto found = std::find_if(records.begin(), records.end(),
                                  [id](const ThreadIDFlag* record) { return record->id == id; });
  return found != records.end() ? *found : nullptr;
}

void ThreadRegistry::remove_id_flag_from_list(std::uint32_t id) {
  const auto found = std::find_if(records.begin(), records.end(),
                                  [id](const ThreadIDFlag* record) { return record->id == id; });
  if (found == records.end()) {
    return;
  }
  ThreadIDFlag* record = *found;
  records.erase(found);
  // The NOVI record stays reachable through noviRecord, and the destructor frees it.
  if (record != noviRecord) {
    delete record;
  }
}

void ThreadRegistry::clear_thread_list() {
  PavaneSynchronized guard(lock);
  for (ThreadIDFlag* record : records) {
    delete record;
  }
  records.clear();
}

ThreadIDFlag* ThreadRegistry::find(std::uint32_t id) {
  if (noviRecord != nullptr && noviRecord->id == id) {
    return noviRecord;
  }
  return get_id_flag_from_list(id);
}

ThreadIDFlag* ThreadRegistry::findOrAppend(std::uint32_t id) {
  if (ThreadIDFlag* record = get_id_flag_from_list(id)) {
    return record;
  }
  auto* record = new (std::nothrow) ThreadIDFlag;
  if (record == nullptr) {
    return nullptr;
  }
  record->id = id;
  return append(record) ? record : nullptr;
}

std::uint32_t ThreadRegistry::registerThread() {
  const std::uint32_t id = this_thread_id();
  PavaneSynchronized guard(lock);
  ThreadIDFlag* record = find(id);
  if (record == nullptr) {
    record = findOrAppend(id);
  }
  if (record != nullptr) {
    ++record->depth;
  }
  return id;
}

std::uint32_t ThreadRegistry::registerLUMAThread() {
  const std::uint32_t id = this_thread_id();
  PavaneSynchronized guard(lock);
  if (ThreadIDFlag* record = findOrAppend(id)) {
    record->depth = 1;
  }
  return id;
}

std::uint32_t ThreadRegistry::registerNOVIThread() {
  const std::uint32_t id = this_thread_id();
  PavaneSynchronized guard(lock);
  ThreadIDFlag* record = nullptr;
  if (noviRecord == nullptr) {
    // The first caller becomes the NOVI thread, with a record of its own even if the list
    // holds one for it already.
    auto* made = new (std::nothrow) ThreadIDFlag;
    if (made != nullptr) {
      made->id = id;
      if (append(made)) {
        noviRecord = made;
        record = made;
      }
    }
  } else if (noviRecord->id == id) {
    record = noviRecord;
  } else {
    record = findOrAppend(id);
  }
  if (record != nullptr) {
    ++record->depth;
  }
  return id;
}

void ThreadRegistry::unregisterThread(std::uint32_t id) {
  decreaseDepth(id);
}

void ThreadRegistry::unregisterLUMAThread(std::uint32_t id) {
  id = orCallingThread(id);
  PavaneSynchronized guard(lock);
  remove_id_flag_from_list(id);
}

void ThreadRegistry::increaseDepth(std::uint32_t id) {
  id = orCallingThread(id);
  PavaneSynchronized guard(lock);
  if (ThreadIDFlag* record = find(id)) {
    ++record->depth;
  }
}

void ThreadRegistry::decreaseDepth(std::uint32_t id) {
  id = orCallingThread(id);
  PavaneSynchronized guard(lock);
  if (ThreadIDFlag* record = find(id)) {
    --record->depth;
  }
}

// The reads take the field under the lock too: another thread may be setting it.
std::uint32_t ThreadRegistry::depth(std::uint32_t id) {
  id = orCallingThread(id);
  PavaneSynchronized guard(lock);
  const ThreadIDFlag* record = find(id);
  return record != nullptr ? record->depth : 0;
}

void ThreadRegistry::setThisThreadNovi(unsigned short value, std::uint32_t id) {
  id = orCallingThread(id);
  PavaneSynchronized guard(lock);
  if (ThreadIDFlag* record = find(id)) {
    record->novi = value;
  }
}

unsigned short ThreadRegistry::getThisThreadNovi(std::uint32_t id) {
  id = orCallingThread(id);
  PavaneSynchronized guard(lock);
  const ThreadIDFlag* record = find(id);
  return record != nullptr ? record->novi : 0;
}

void ThreadRegistry::setThisThreadContext(void* context, std::uint32_t id) {
  id = orCallingThread(id);
  PavaneSynchronized guard(lock);
  if (ThreadIDFlag* record = find(id)) {
    record->context = context;
  }
}

void* ThreadRegistry::getThisThreadContext(std::uint32_t id) {
  id = orCallingThread(id);
  PavaneSynchronized guard(lock);
  const ThreadIDFlag* record = find(id);
  return record != nullptr ? record->context : nullptr;
}

} // namespace basalt
