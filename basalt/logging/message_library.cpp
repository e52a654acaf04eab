#include "basalt/logging/message_library.h"

#include "basalt/concurrency/pavane_mutex.h"
#include "basalt/frame/static/static_objects.h"
#include "basalt/frame/static/static_slot.h"
#include "basalt/logging/event_source.h"
#include "basalt/platform/images/modules.h"
#include "basalt/platform/runtime/event_log.h"
#include "basalt/system/file_locator.h"
#include "basalt/text/formatted_text.h"

namespace plat = basalt::platform;

namespace basalt {
namespace {

constexpr plat::DWORD modulePathSize = 1024;

// Made on first use and entered on the exit list then.
frame::StaticSlot<PavaneMutex> locationMutex;

PavaneMutex& locationLock() {
  static const bool made = [] {
    frame::makeStaticObject(locationMutex, "resourceLocation mutex",
                            [] { locationMutex.destroy(); });
    return true;
  }();
  static_cast<void>(made);
  return locationMutex.get();
}

KELPString currentLocation() {
  PavaneSynchronized lock(locationLock());
  return frame::resourceLocation();
}

// Not through a log object's handle: the failure is told whatever the log's sinks are.
void reportLoadFailure() {
  const KELPString source(eventSourceName);
  const KELPString text("Failed to load the resource dlls. The component is not installed "
                        "correctly.");
  plat::LPCWSTR strings[] = {text.c_str()};
  plat::HANDLE eventLog = plat::OpenEventLogW(nullptr, source.c_str());
  plat::ReportEventW(eventLog, plat::EVENTLOG_ERROR_TYPE, 0, 0, nullptr, 1, 0, strings, nullptr);
  plat::CloseEventLog(eventLog);
}

// The path of the module that a load by this locator found: by its full name first, as the
// load tried, then by its file name, which the platform's search found.
KELPString modulePath(const FileLocator& locator) {
  plat::HMODULE module = plat::GetModuleHandleW(locator.getFullFileName().c_str());
  if (module == nullptr) {
    module = plat::GetModuleHandleW(locator.getFileName().c_str());
  }
  plat::WCHAR buffer[modulePathSize];
  const plat::DWORD length =
      module == nullptr ? 0 : plat::GetModuleFileNameW(module, buffer, modulePathSize);
  return length == 0 || length >= modulePathSize ? KELPString() : KELPString(buffer, length);
}

} // namespace

MessageLibrary::MessageLibrary(std::uint32_t message, const KELPString& language)
    : language(language), facility(message & 0x0FFF0000) {
  unsigned short digits[4] = {};
  suprintf(digits, 3, "%x", facility >> 16);
  FileLocator locator;
  locator.setLocation(currentLocation());
  KELPString name("strings_");
  name.append(digits);
  KELPString neutral(name);
  neutral.append("_xx");
  name.append("_");
  name += language;
  if (tryLoad(locator, neutral) || tryLoad(locator, name)) {
    return;
  }
  const KELPString::size_type languageStart = name.size() - language.size();
  if (language.size() > 2) {
    name.resize(languageStart + 2);
    if (tryLoad(locator, name)) {
      return;
    }
  }
  // Back to the start of the language, whether it was cut to two letters or not.
  name.resize(languageStart);
  name.append("en");
  if (!tryLoad(locator, name)) {
    reportLoadFailure();
  }
}

void MessageLibrary::setLocation(const KELPString& location) {
  PavaneSynchronized lock(locationLock());
  frame::resourceLocation() = location;
}

bool MessageLibrary::tryLoad(FileLocator& locator, const KELPString& name) {
  locator.setFileName(name);
  KELPString fileName(locator.getFileName());
  if (locator.getExtension().empty()) {
    fileName.append(".dll");
  }
  tried.push_back(fileName);
  if (!library.load(locator)) {
    return false;
  }
  locator.setFileName(fileName);
  path = modulePath(locator);
  return true;
}

} // namespace basalt
