#include "basalt/logging/core_log_impl.h"

#include "basalt/logging/log_app.h"
#include "basalt/text/system_locale_info.h"

#include <algorithm>
#include <memory>
#include <new>

namespace basalt {
namespace {

// The threshold of every module that isn't configured.
CoreLog::VerbosityType unknownModuleVerbosity = CoreLog::VerbosityOff;

bool nameBefore(const LogApp* entry, const KELPString& key) {
  return entry->name < key;
}

} // namespace

CoreLogImpl::CoreLogImpl() {
  modules.reserve(10);
  language.append(getSystemLanguage());
  init(); // ensure_init runs it again if this attempt failed
}

CoreLogImpl::~CoreLogImpl() {
  if (mutex != nullptr) {
    PavaneSynchronized lock(*mutex);
    for (LogApp* entry : modules) {
      delete entry;
    }
    modules.clear();
  }
  delete mutex;
}

bool CoreLogImpl::init() {
  if (initialised) {
    return true;
  }
  // A mutex from a failed attempt stays: nothing else may be holding another one.
  if (mutex == nullptr) {
    mutex = new (std::nothrow) PavaneMutex;
    if (mutex == nullptr) {
      return false;
    }
  }
  PavaneSynchronized lock(*mutex);
  initialised = true;
  return initialised;
}

bool CoreLogImpl::writeRecord(std::uint32_t message, VerbosityType level, const KELPString& module,
                              const KELPString& component, int insertCount,
                              const unsigned short** inserts) {
  if (!initialised && !init()) {
    return false;
  }
  if (level > maxVerbosity || level <= CoreLog::VerbosityOff) {
    return false;
  }
  PavaneSynchronized lock(*mutex);
  if (*findVerbosity(module, component) < level) {
    return false;
  }
  // Without a log file a record is an event, and the event log takes nothing above Detail.
  return level <= CoreLog::VerbosityDetail;
}

bool CoreLogImpl::get(KELPString& text, std::uint32_t message, int insertCount,
                      const unsigned short** inserts) {
  if (!initialised && !init()) {
    return false;
  }
  PavaneSynchronized lock(*mutex);
  return false; // no message library is loaded, so no number has a text
}

CoreLog::VerbosityType* CoreLogImpl::getVerbosity(const KELPString& module,
                                                  const KELPString& component) {
  PavaneSynchronized lock(*mutex);
  return findVerbosity(module, component);
}

void CoreLogImpl::addModule(LogApp* entry) {
  std::unique_ptr<LogApp> owner(entry); // the table owns it, also when inserting fails
  const auto place = std::lower_bound(modules.begin(), modules.end(), entry->name, nameBefore);
  *modules.insert(place, nullptr) = owner.release();
}

LogApp* CoreLogImpl::findModule(const KELPString& name) {
  const auto place = std::lower_bound(modules.begin(), modules.end(), name, nameBefore);
  return place != modules.end() && (*place)->name == name ? *place : nullptr;
}

CoreLog::VerbosityType* CoreLogImpl::findVerbosity(const KELPString& module,
                                                   const KELPString& component, LogApp** found) {
  LogApp* entry = findModule(module);
  if (found != nullptr) {
    *found = entry;
  }
  return entry == nullptr ? &unknownModuleVerbosity : entry->findComponent(component);
}

void CoreLogImpl::addOwner() {
  owners.fetch_add(1, std::memory_order_relaxed);
}

bool CoreLogImpl::dropOwner() {
  return owners.fetch_sub(1, std::memory_order_acq_rel) == 1;
}

} // namespace basalt
