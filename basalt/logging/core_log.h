#ifndef BASALT_LOGGING_CORE_LOG_H
#define BASALT_LOGGING_CORE_LOG_H

#include "basalt/export.h"
#include "basalt/text/kelp_string.h"

#include <atomic>
#include <cstdint>

namespace basalt {

class CoreLogImpl;
// The configured modules and their components; see the log's configuration.
class LogApp;
class LogModule;

// The door to logging and to message texts. Everything of substance lives in an
// implementation that is made on the first use of the object, so making one costs nothing.
//
// A record is written when its level is at most the threshold configured for its module and
// component. Records are identified by 32-bit message numbers; their words come from
// message libraries.
// May be shared between threads. Any thread may log at any time; the log takes its own lock.
class BASALT_API CoreLog {
public:
  // As a record's level and as a configured threshold: more means more output. A level of
  // VerbosityOff or below is always refused; the event log takes nothing above
  // VerbosityDetail. Compared as a signed integer.
  enum VerbosityType : int {
    VerbosityOff = 0,
    VerbosityCritical = 1,
    VerbosityError = 2,
    VerbosityWarning = 3,
    VerbosityInformation = 4,
    VerbosityDetail = 5,
    VerbosityAll = 6
  };

  CoreLog();
  // The name is not used.
  explicit CoreLog(const char* name);
  // A copy shares the implementation, which goes with the last object that holds it.
  CoreLog(const CoreLog& other);
  CoreLog& operator=(const CoreLog& other);
  ~CoreLog();

  // Writes a record of message with insertCount wide texts as its inserts. module selects the
  // threshold and is printed; component refines the threshold and may be empty. False when
  // the record was refused; a record refused by level costs no lock. A negative insertCount,
  // or inserts null with insertCount above 0, is refused.
  bool log(std::uint32_t message, VerbosityType level, const KELPString& module,
           const KELPString& component, int insertCount, const unsigned short** inserts);

  // Appends the text of message with its inserts to text, whatever the filter says. False,
  // with text as it was, when the number has no text or inserts is null while insertCount
  // is above 0.
  bool get(KELPString& text, std::uint32_t message, int insertCount,
           const unsigned short** inserts);

  // The threshold that applies to the pair: a pointer into the live table, valid as long as
  // the implementation. Writing through it changes the filter; an unknown module gives a
  // value of 0. Null only when the log can't be made.
  VerbosityType* getModuleVerbosity(const KELPString& module, const KELPString& component);

private:
  bool ensure_init();

  std::atomic<CoreLogImpl*> impl{nullptr};
};

// The process's log object: made on the first call, kept until the library unloads. Null only
// when memory ran out.
BASALT_API CoreLog* getLogObject();

} // namespace basalt

#endif
