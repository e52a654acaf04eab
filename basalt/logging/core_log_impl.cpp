#include "basalt/logging/core_log_impl.h"

#include "basalt/logging/event_source.h"
#include "basalt/logging/log_app.h"
#include "basalt/logging/message_library.h"
#include "basalt/logging/message_text.h"
#include "basalt/platform/runtime/event_log.h"
#include "basalt/platform/runtime/runtime_time.h"
#include "basalt/system/file.h"
#include "basalt/system/file_locator.h"
#include "basalt/system/registry_wrapper.h"
#include "basalt/text/system_locale_info.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

namespace plat = basalt::platform;

namespace basalt {
namespace {

// The threshold of every module that isn't configured.
CoreLog::VerbosityType unknownModuleVerbosity = CoreLog::VerbosityOff;

// What ctime gives, less the blank, the year and the line feed at its end.
constexpr std::size_t yearAndLineEnd = 6;
// "Www Mmm dd hh:mm:ss.mmm: " and the ": " behind the module.
constexpr std::size_t lineHeadLength = 27;

// Names compare up to their first zero unit, as the tables' searches compare them.
bool sameName(const KELPString& name, const KELPString& other) {
  const unsigned short* x = name.c_str();
  const unsigned short* y = other.c_str();
  for (; *x != 0 && *x == *y; ++x, ++y) {
  }
  return *x == *y;
}

// 7-bit text, such as the time stamp, widened unit by unit rather than through the code page.
void appendAscii(KELPString& text, const char* ascii, std::size_t length) {
  const std::size_t at = text.size();
  text.Base::resize(at + length);
  std::copy(ascii, ascii + length, text.Base::begin() + static_cast<std::ptrdiff_t>(at));
}

} // namespace

CoreLogImpl::CoreLogImpl() {
  modules.reserve(10);
  moduleKeys.reserve(10);
  language.append(getSystemLanguage());
  init(); // ensure_init runs it again if this attempt failed
}

CoreLogImpl::~CoreLogImpl() {
  if (mutex != nullptr) {
    PavaneSynchronized lock(*mutex);
    discardConfiguration();
    for (MessageLibrary* library : libraries) {
      delete library;
    }
    libraries.clear();
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
  try {
    discardConfiguration();
    // What they return doesn't matter: a registry failure leaves less configuration, and
    // an event says so.
    readModules();
    readSinks();
    initialised = true;
  } catch (...) {
    initialised = false;
  }
  return initialised;
}

void CoreLogImpl::discardConfiguration() {
  if (eventSource != nullptr) {
    plat::DeregisterEventSource(eventSource);
    eventSource = nullptr;
  }
  for (LogApp* entry : modules) {
    delete entry;
  }
  modules.clear();
  moduleKeys.clear();
  lastVerbosity = nullptr;
  maxVerbosity = CoreLog::VerbosityOff;
  delete logFile;
  logFile = nullptr;
  useEventLog = false;
}

bool CoreLogImpl::readModules() {
  // First, so that every event of the start has somewhere to go.
  eventSource = plat::RegisterEventSourceW(nullptr, KELPString(eventSourceName).c_str());
  RegistryWrapper registry;
  KELPString modulesPath(logKeyPath);
  modulesPath.append("\\Modules");
  std::vector<RegistryKey*> moduleKeys;
  if (!registry.enumRegKeys(RegistryWrapper::LocalMachine, modulesPath, moduleKeys)) {
    reportRegistryEvent(registry.getErrorText());
    return false;
  }
  for (RegistryKey* moduleKey : moduleKeys) {
    auto entry = std::make_unique<LogApp>(moduleKey->getName());
    std::uint32_t number = 0;
    if (readVerbosity(registry, moduleKey, number)) {
      entry->verbosity = mapVerbosity(number);
    }
    KELPString componentsPath(moduleKey->getPathName());
    componentsPath.append("\\Components");
    std::vector<RegistryKey*> componentKeys;
    if (registry.enumRegKeys(RegistryWrapper::LocalMachine, componentsPath, componentKeys)) {
      for (RegistryKey* componentKey : componentKeys) {
        if (readVerbosity(registry, componentKey, number)) {
          entry->addComponent(componentKey->getName(), mapVerbosity(number));
        }
      }
    }
    addModule(entry.release());
  }
  return true;
}

bool CoreLogImpl::readVerbosity(RegistryWrapper& registry, RegistryKey* key,
                                std::uint32_t& number) {
  const KELPString valueName("Verbosity");
  // A value that isn't a DWORD reads as success and leaves the number alone, so one that
  // came back unchanged is read again from another start to tell 0 from text.
  number = 0;
  if (!registry.readRegKeyValue(key, valueName, number)) {
    return false;
  }
  if (number != 0) {
    return true;
  }
  std::uint32_t probe = 1;
  registry.readRegKeyValue(key, valueName, probe);
  if (probe == 0) {
    return true;
  }
  KELPString failure(key->getFullPath());
  failure.append("\\Verbosity: the value is not a number (a DWORD is needed)");
  reportRegistryEvent(failure);
  return false;
}

bool CoreLogImpl::readSinks() {
  RegistryWrapper registry;
  KELPString location;
  if (!registry.readRegKeyValue(RegistryWrapper::LocalMachine, logKeyPath, "Location", location,
                                nullptr)) {
    reportRegistryEvent(registry.getErrorText());
    FileLocator libraryModule;
    if (libraryModule.setLocationToModule("basalt") != 0) {
      location = libraryModule.getLocation();
      const KELPString attempt("Attempting to load resource dlls from ");
      const unsigned short* strings[] = {attempt.c_str(), location.c_str()};
      reportEvent(plat::EVENTLOG_WARNING_TYPE, 0, 0, 2, strings);
    }
  }
  MessageLibrary::setLocation(location);

  KELPString fileName;
  if (!registry.readRegKeyValue(RegistryWrapper::LocalMachine, logKeyPath, "LogFile", fileName,
                                nullptr)) {
    reportRegistryEvent(registry.getErrorText());
  }
  if (!fileName.empty()) {
    KELPString overwrite;
    if (!registry.readRegKeyValue(RegistryWrapper::LocalMachine, logKeyPath, "Overwrite", overwrite,
                                  nullptr)) {
      overwrite = "No";
    }
    const char* mode = overwrite == "Yes" ? "w+" : "a+";
    FileLocator locator(fileName);
    if (locator.isLocationSet() == 0) {
      locator.setLocationToTemp(); // without one the name stays relative to the working directory
    }
    auto file = std::make_unique<File>(locator);
    if (file->open(mode)) {
      logFile = file.release();
    }
  }
  if (logFile == nullptr) {
    useEventLog = true;
  }
  return true;
}

CoreLog::VerbosityType CoreLogImpl::mapVerbosity(std::uint32_t number) {
  VerbosityType verbosity = CoreLog::VerbosityDetail;
  if (number <= CoreLog::VerbosityInformation) {
    verbosity = static_cast<VerbosityType>(number);
  } else if (number == 10) {
    verbosity = CoreLog::VerbosityAll;
  }
  maxVerbosity = std::max(maxVerbosity, verbosity);
  return verbosity;
}

void CoreLogImpl::reportRegistryEvent(const KELPString& failure) {
  const KELPString heading("Registry Access Error: ");
  const unsigned short* strings[] = {heading.c_str(), failure.c_str()};
  reportEvent(plat::EVENTLOG_WARNING_TYPE, 1, registryErrorEvent, 2, strings);
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
  if (logFile != nullptr) {
    writeLine(message, module, insertCount, inserts);
    return true;
  }
  int type = plat::EVENTLOG_INFORMATION_TYPE;
  if (level <= CoreLog::VerbosityError) {
    type = plat::EVENTLOG_ERROR_TYPE;
  } else if (level == CoreLog::VerbosityWarning) {
    type = plat::EVENTLOG_WARNING_TYPE;
  } else if (level > CoreLog::VerbosityDetail) {
    return false; // the event log takes nothing above Detail
  }
  if (useEventLog) {
    reportEvent(type, static_cast<int>((message >> 12) & 0xF), message, insertCount, inserts);
  }
  return true;
}

void CoreLogImpl::writeLine(std::uint32_t message, const KELPString& module, int insertCount,
                            const unsigned short** inserts) {
  KELPString& text = recordText;
  text.clear();
  formatMessage(text, message, insertCount, inserts);
  // Taken after the text is made, as a line's time is when it was written.
  plat::_timeb now{};
  plat::_ftime(&now);
  KELPString& line = recordLine;
  line.clear();
  line.reserve(lineHeadLength + module.size() + text.size() + sizeof missingTextNotice);
  if (const char* shown = plat::ctime(&now.time)) {
    const std::size_t length = std::strlen(shown);
    appendAscii(line, shown, length > yearAndLineEnd ? length - yearAndLineEnd : 0);
  }
  // ".%3.3u" of the milliseconds: a dot and exactly three digits.
  const char milliseconds[] = {'.', static_cast<char>('0' + now.millitm / 100 % 10),
                               static_cast<char>('0' + now.millitm / 10 % 10),
                               static_cast<char>('0' + now.millitm % 10)};
  appendAscii(line, milliseconds, sizeof milliseconds);
  appendAscii(line, ": ", 2);
  line += module;
  appendAscii(line, ": ", 2);
  if (text.empty()) {
    appendAscii(line, missingTextNotice, sizeof missingTextNotice - 1);
  } else {
    line += text;
  }
  logFile->writeLine(line);
}

bool CoreLogImpl::get(KELPString& text, std::uint32_t message, int insertCount,
                      const unsigned short** inserts) {
  if (!initialised && !init()) {
    return false;
  }
  PavaneSynchronized lock(*mutex);
  return formatMessage(text, message, insertCount, inserts);
}

CoreLog::VerbosityType* CoreLogImpl::getVerbosity(const KELPString& module,
                                                  const KELPString& component) {
  PavaneSynchronized lock(*mutex);
  return findVerbosity(module, component);
}

bool CoreLogImpl::formatMessage(KELPString& text, std::uint32_t message, int insertCount,
                                const unsigned short** inserts) {
  // A library stays loaded as long as the log, so a number's text never changes: the last
  // one found serves the next record of the same number without a walk of the resources.
  if (!rawTextFound || rawTextMessage != message) {
    rawTextFound = lookupText(message, rawText);
    rawTextMessage = message;
  }
  return rawTextFound && formatMessageText(rawText, insertCount, inserts, text);
}

bool CoreLogImpl::lookupText(std::uint32_t message, KELPString& text) {
  const std::uint32_t facility = message & 0x0FFF0000;
  const auto known =
      std::find_if(libraries.begin(), libraries.end(), [facility](const MessageLibrary* library) {
        return library->facility == facility;
      });
  MessageLibrary* library = nullptr;
  if (known != libraries.end()) {
    library = *known;
  } else {
    auto made = std::make_unique<MessageLibrary>(message, language);
    libraries.push_back(made.get());
    library = made.release();
  }
  return library->library.getString(message, text);
}

void CoreLogImpl::reportEvent(int type, int category, std::uint32_t identifier, int stringCount,
                              const unsigned short** strings) {
  if (eventSource == nullptr) {
    return;
  }
  plat::ReportEventW(eventSource, static_cast<plat::WORD>(type), static_cast<plat::WORD>(category),
                     identifier, nullptr, static_cast<plat::WORD>(stringCount), 0, strings,
                     nullptr);
}

void CoreLogImpl::addModule(LogApp* entry) {
  std::unique_ptr<LogApp> owner(entry); // the table owns it, also when inserting fails
  // Room first, so that the two tables can't fall out of step.
  modules.reserve(modules.size() + 1);
  moduleKeys.reserve(modules.size() + 1);
  const auto place =
      static_cast<std::ptrdiff_t>(searchByName(moduleKeys, modules, entry->name).place);
  moduleKeys.insert(moduleKeys.begin() + place, nameKey(entry->name));
  modules.insert(modules.begin() + place, owner.release());
  lastVerbosity = nullptr;
}

LogApp* CoreLogImpl::findModule(const KELPString& name) {
  return findByName(moduleKeys, modules, name);
}

CoreLog::VerbosityType* CoreLogImpl::findVerbosity(const KELPString& module,
                                                   const KELPString& component, LogApp** found) {
  if (found == nullptr && lastVerbosity != nullptr && sameName(module, lastModule) &&
      sameName(component, lastComponent)) {
    return lastVerbosity;
  }
  LogApp* entry = findModule(module);
  if (found != nullptr) {
    *found = entry;
  }
  VerbosityType* const verbosity =
      entry == nullptr ? &unknownModuleVerbosity : entry->findComponent(component);
  lastModule.assign(module.c_str());
  lastComponent.assign(component.c_str());
  lastVerbosity = verbosity;
  return verbosity;
}

void CoreLogImpl::addOwner() {
  owners.fetch_add(1, std::memory_order_relaxed);
}

bool CoreLogImpl::dropOwner() {
  return owners.fetch_sub(1, std::memory_order_acq_rel) == 1;
}

} // namespace basalt
