#include "basalt/frame/static/static_objects.h"

#include "basalt/frame/static/static_slot.h"

#include <array>

namespace basalt::frame {

CoreLog* libraryLog = nullptr;
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

} // namespace

void makeStaticObjects() {
  makeStaticObject(systemLocaleInfoSlot, "SystemLocaleInfo",
                   [] { systemLocaleInfoSlot.destroy(); });
  makeStaticObject(resourceLocationSlot, "resourceLocation",
                   [] { resourceLocationSlot.destroy(); });
  makeStaticObject(
      registryRootNamesSlot, "registry root names", [] { registryRootNamesSlot.destroy(); },
      RootNames{"[HKEY_CLASSES_ROOT]", "[HKEY_CURRENT_CONFIG]", "[HKEY_CURRENT_USER]",
                "[HKEY_LOCAL_MACHINE]", "[HKEY_USERS]"});
  makeStaticObject(sharedLibraryErrorMutexSlot, "SharedLibrary error mutex",
                   [] { sharedLibraryErrorMutexSlot.destroy(); });
  makeStaticObject(nullStringSlot, "nullString", [] { nullStringSlot.destroy(); });
  makeStaticObject(printedGlobalsSlot, "printed globals", [] { printedGlobalsSlot.destroy(); });
  makeStaticObject(
      translatedExceptionTextSlot, "translated exception text",
      [] { translatedExceptionTextSlot.destroy(); }, "Structured Exception - stack will be traced");
  makeStaticObject(
      libraryModuleNameSlot, "libraryModuleName", [] { libraryModuleNameSlot.destroy(); },
      "basalt");
  makeStaticObject(formatErrorMutexSlot, "FormatError mutex",
                   [] { formatErrorMutexSlot.destroy(); });
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
