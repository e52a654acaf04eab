#ifndef BASALT_CONCURRENCY_THREAD_REGISTRY_H
#define BASALT_CONCURRENCY_THREAD_REGISTRY_H

#include "basalt/concurrency/pavane_mutex.h"
#include "basalt/export.h"

#include <cstdint>
#include <vector>

namespace basalt {

// What the registry keeps of one thread.
// A record of the registry, read and written under the registry's lock.
class BASALT_API ThreadIDFlag {
public:
  ThreadIDFlag() = default;

  std::uint32_t id = 0; // the system's number of the thread
  std::uint32_t depth = 0;
  unsigned short novi = 0;
  void* context = nullptr;
};

// A depth, a NOVI value and a context per thread, keyed by the system's thread number, for
// clients that make one of these. In every operation an id of 0 means the calling thread.
//
// The first thread that calls registerNOVIThread becomes the NOVI thread for the life of the
// registry and is found without a search; every other thread is looked up linearly.
// May be shared between threads. Every operation but getThisId holds its lock.
class BASALT_API ThreadRegistry {
public:
  ThreadRegistry();
  ~ThreadRegistry();
  ThreadRegistry(const ThreadRegistry&) = delete;
  ThreadRegistry& operator=(const ThreadRegistry&) = delete;

  // Each returns the calling thread's number. registerThread and registerNOVIThread count
  // the depth up; registerLUMAThread sets it to 1 and looks past the NOVI record.
  std::uint32_t registerThread();
  std::uint32_t registerLUMAThread();
  std::uint32_t registerNOVIThread();

  // Counts down; the record stays, also at depth 0.
  void unregisterThread(std::uint32_t id = 0);
  // Takes the thread's record out of the list, looking past the NOVI record.
  void unregisterLUMAThread(std::uint32_t id = 0);

  // Nothing happens, and reads give 0 or null, for a thread without a record. The depth is
  // unsigned and is not kept from going below 0.
  void increaseDepth(std::uint32_t id = 0);
  void decreaseDepth(std::uint32_t id = 0);
  std::uint32_t depth(std::uint32_t id = 0);
  void setThisThreadNovi(unsigned short value, std::uint32_t id = 0);
  unsigned short getThisThreadNovi(std::uint32_t id = 0);
  void setThisThreadContext(void* context, std::uint32_t id = 0);
  void* getThisThreadContext(std::uint32_t id = 0);

  std::uint32_t getThisId();

private:
  static std::uint32_t this_thread_id();
  static std::uint32_t orCallingThread(std::uint32_t id);
  // These expect lock to be held.
  ThreadIDFlag* get_id_flag_from_list(std::uint32_t id);
  void remove_id_flag_from_list(std::uint32_t id);
  void clear_thread_list();

  // The NOVI record first, then the list; the caller holds lock.
  ThreadIDFlag* find(std::uint32_t id);
  // Finds the record in the list or appends a new one; null when it can't be kept.
  ThreadIDFlag* findOrAppend(std::uint32_t id);
  // Appends record, or deletes it when the list can't take it; false then.
  bool append(ThreadIDFlag* record);

  PavaneMutex lock;
  ThreadIDFlag* noviRecord = nullptr;
  std::vector<ThreadIDFlag*> records; // owned, in the order they were made
};

} // namespace basalt

#endif
