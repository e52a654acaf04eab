#include "basalt/frame/static_objects.h"

#include "basalt/frame/debug_trace.h"
#include "basalt/frame/exit_list.h"
#include "basalt/frame/static_slot.h"

#include <array>

namespace basalt::frame {
namespace {

using RootNames = std::array<KELPString, 5>;

StaticSlot<SystemLocaleInfo> systemLocaleInfoSlot;
StaticSlot<KELPString> resourceLocationSlot;
StaticSlot<RootNames> registryRootNamesSlot;
StaticSlot<PavaneMutex> sharedLibraryErrorMutexSlot;
StaticSlot<KELPString> nullStringSlot;
StaticSlot<std::vector<std::string>> printedGlobalsSlot;
StaticSlot<KELPString> translatedExceptionTextSlot;
StaticSlot<KELPString> libraryModuleNameSlot;
StaticSlot<PavaneMutex> formatErrorMutexSlot;

template <class T, class... Args>
void make(StaticSlot<T>& slot, const char* name, ExitFunction destroy, Args&&... args) {
  slot.make(std::forward<Args>(args)...);
  enterOnExitList(name, destroy);
  debugTrace("made ", name);
}

} // namespace

void makeStaticObjects() {
  make(systemLocaleInfoSlot, "SystemLocaleInfo", [] { systemLocaleInfoSlot.destroy(); });
  make(resourceLocationSlot, "resourceLocation", [] { resourceLocationSlot.destroy(); });
  make(
      registryRootNamesSlot, "registry root names", [] { registryRootNamesSlot.destroy(); },
      RootNames{"[HKEY_CLASSES_ROOT]", "[HKEY_CURRENT_CONFIG]", "[HKEY_CURRENT_USER]",
                "[HKEY_LOCAL_MACHINE]", "[HKEY_USERS]"});
  make(sharedLibraryErrorMutexSlot, "SharedLibrary error mutex",
       [] { sharedLibraryErrorMutexSlot.destroy(); });
  make(nullStringSlot, "nullString", [] { nullStringSlot.destroy(); });
  make(printedGlobalsSlot, "printed globals", [] { printedGlobalsSlot.destroy(); });
  make(
      translatedExceptionTextSlot, "translated exception text",
      [] { translatedExceptionTextSlot.destroy(); }, "Structured Exception - stack will be traced");
  make(
      libraryModuleNameSlot, "libraryModuleName", [] { libraryModuleNameSlot.destroy(); },
      "basalt");
  make(formatErrorMutexSlot, "FormatError mutex", [] { formatErrorMutexSlot.destroy(); });
}

SystemLocaleInfo& systemLocaleInfo() {
  return systemLocaleInfoSlot.get();
}
KELPString& resourceLocation() {
  return resourceLocationSlot.get();
}
const KELPString& registryRootName(int index) {
  return registryRootNamesSlot.get().at(index);
}
PavaneMutex& sharedLibraryErrorMutex() {
  return sharedLibraryErrorMutexSlot.get();
}
const KELPString& nullStringObject() {
  return nullStringSlot.get();
}
std::vector<std::string>& printedGlobals() {
  return printedGlobalsSlot.get();
}
const KELPString& translatedExceptionText() {
  return translatedExceptionTextSlot.get();
}
const KELPString& libraryModuleName() {
  return libraryModuleNameSlot.get();
}
PavaneMutex& formatErrorMutex() {
  return formatErrorMutexSlot.get();
}

} // namespace basalt::frame
