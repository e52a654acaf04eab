#ifndef BASALT_LOGGING_CORE_LOG_IMPL_H
#define BASALT_LOGGING_CORE_LOG_IMPL_H

#include "basalt/concurrency/pavane_mutex.h"
#include "basalt/logging/core_log.h"
#include "basalt/platform/base/win_types.h"

#include <atomic>
#include <cstdint>
#include <vector>

class File;
class RegistryKey;
class RegistryWrapper;

namespace basalt {

class MessageLibrary;

// The substance of a CoreLog: the filter tables, the sinks and the message libraries. Private
// to the logging subsystem, which works on its fields directly.
//
// The configuration lies under HKEY_LOCAL_MACHINE\<logKeyPath> and is read once, by init:
//   Location   text: the directory of the message libraries
//   LogFile    text: the log file; a bare name lies in the directory for temporary files
//   Overwrite  text: "Yes" starts the file anew, anything else appends
//   Modules\<module>\Verbosity, Modules\<module>\Components\<component>\Verbosity
//              numbers: thresholds, mapped by mapVerbosity
class CoreLogImpl {
public:
  using VerbosityType = CoreLog::VerbosityType;

  static constexpr char logKeyPath[] = "Software\\Corvane Holdings\\10.0\\TRELL(o)\\Log";
  // The event of a registry failure, with "Registry Access Error: " and the failure's text.
  static constexpr std::uint32_t registryErrorEvent = 0xC2011F03;
  // The text of a record whose message gave none.
  static constexpr char missingTextNotice[] = "No message obtained. Check the Event log for errors";

  CoreLogImpl();
  ~CoreLogImpl();
  CoreLogImpl(const CoreLogImpl&) = delete;
  CoreLogImpl& operator=(const CoreLogImpl&) = delete;

  // Makes mutex and reads the configuration. True once that has run to its end; at once
  // true after that. A failed attempt leaves nothing of what it read.
  bool init();

  bool writeRecord(std::uint32_t message, VerbosityType level, const KELPString& module,
                   const KELPString& component, int insertCount, const unsigned short** inserts);
  bool get(KELPString& text, std::uint32_t message, int insertCount,
           const unsigned short** inserts);
  VerbosityType* getVerbosity(const KELPString& module, const KELPString& component);

  // The rest expects mutex to be held.

  // Registers the event source and fills modules. False when Modules can't be listed.
  bool readModules();
  // Sets the message libraries' location and opens the log file. Always true.
  bool readSinks();
  // 0 to 4 stay, 10 is VerbosityAll, anything else VerbosityDetail; raises maxVerbosity.
  VerbosityType mapVerbosity(std::uint32_t number);

  void addModule(LogApp* entry);
  LogApp* findModule(const KELPString& name);
  // Never null: an unknown module gives a process-wide value of 0. found, if not null,
  // receives the module's entry or null.
  VerbosityType* findVerbosity(const KELPString& module, const KELPString& component,
                               LogApp** found = nullptr);

  // Appends the message's text with its inserts. False, with text as it was, when the number
  // has no text.
  bool formatMessage(KELPString& text, std::uint32_t message, int insertCount,
                     const unsigned short** inserts);
  // The raw text of the number from its facility's library, loaded on first use.
  bool lookupText(std::uint32_t message, KELPString& text);

  // One event through eventSource; nothing when there is none.
  void reportEvent(int type, int category, std::uint32_t identifier, int stringCount,
                   const unsigned short** strings);

  // CoreLog objects that share this one through copying; the last one deletes it.
  void addOwner();
  bool dropOwner();

  File* logFile = nullptr;
  platform::HANDLE eventSource = nullptr;
  bool useEventLog = false;
  std::vector<LogApp*> modules;          // owned, ascending by name
  std::vector<std::uint64_t> moduleKeys; // nameKey of each module, in the same order
  // The highest threshold configured; fixed once init has run, so the gate reads it unlocked.
  VerbosityType maxVerbosity = CoreLog::VerbosityOff;
  PavaneMutex* mutex = nullptr; // owned; guards everything here
  KELPString language;
  std::vector<MessageLibrary*> libraries; // owned, in order of first use
  bool initialised = false;

private:
  void writeLine(std::uint32_t message, const KELPString& module, int insertCount,
                 const unsigned short** inserts);
  void reportRegistryEvent(const KELPString& failure);
  // A module's or component's Verbosity; false when it is missing or isn't a number.
  bool readVerbosity(RegistryWrapper& registry, RegistryKey* key, std::uint32_t& number);
  // Forgets what reading the configuration made: the event source, the tables, the file.
  void discardConfiguration();

  std::atomic<int> owners{1};
  // Working text of formatMessage and writeLine, kept from record to record so that a record
  // doesn't allocate them anew; guarded by mutex like the rest.
  KELPString rawText;
  std::uint32_t rawTextMessage = 0; // the number whose text rawText holds, when rawTextFound
  bool rawTextFound = false;
  KELPString recordText;
  KELPString recordLine;
  // The pair of names that findVerbosity was asked for last and its answer: records come in
  // runs from one module and component. Forgotten whenever the tables change.
  KELPString lastModule;
  KELPString lastComponent;
  VerbosityType* lastVerbosity = nullptr;
};

} // namespace basalt

#endif
