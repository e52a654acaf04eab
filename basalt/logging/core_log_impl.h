#ifndef BASALT_LOGGING_CORE_LOG_IMPL_H
#define BASALT_LOGGING_CORE_LOG_IMPL_H

#include "basalt/concurrency/pavane_mutex.h"
#include "basalt/logging/core_log.h"
#include "basalt/platform/win_types.h"

#include <atomic>
#include <cstdint>
#include <vector>

class File;

namespace basalt {

class MessageLibrary;

// The substance of a CoreLog: the filter tables, the sinks and the message libraries. Private
// to the logging subsystem, which works on its fields directly.
class CoreLogImpl {
public:
  using VerbosityType = CoreLog::VerbosityType;

  CoreLogImpl();
  ~CoreLogImpl();
  CoreLogImpl(const CoreLogImpl&) = delete;
  CoreLogImpl& operator=(const CoreLogImpl&) = delete;

  // Makes mutex and reads the configuration. True once that has run to its end; at once
  // true after that.
  bool init();

  bool writeRecord(std::uint32_t message, VerbosityType level, const KELPString& module,
                   const KELPString& component, int insertCount, const unsigned short** inserts);
  bool get(KELPString& text, std::uint32_t message, int insertCount,
           const unsigned short** inserts);
  VerbosityType* getVerbosity(const KELPString& module, const KELPString& component);

  // The tables; the caller holds mutex.
  void addModule(LogApp* entry);
  LogApp* findModule(const KELPString& name);
  // Never null: an unknown module gives a process-wide value of 0. found, if not null,
  // receives the module's entry or null.
  VerbosityType* findVerbosity(const KELPString& module, const KELPString& component,
                               LogApp** found = nullptr);

  // CoreLog objects that share this one through copying; the last one deletes it.
  void addOwner();
  bool dropOwner();

  File* logFile = nullptr;
  platform::HANDLE eventSource = nullptr;
  bool useEventLog = false;
  std::vector<LogApp*> modules; // owned, ascending by name
  // The highest threshold configured; fixed once init has run, so the gate reads it unlocked.
  VerbosityType maxVerbosity = CoreLog::VerbosityOff;
  PavaneMutex* mutex = nullptr; // owned; guards everything here
  KELPString language;
  std::vector<MessageLibrary*> libraries; // owned, in order of first use
  bool initialised = false;

private:
  std::atomic<int> owners{1};
};

} // namespace basalt

#endif
