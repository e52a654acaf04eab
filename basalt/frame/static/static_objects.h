#ifndef BASALT_FRAME_STATIC_STATIC_OBJECTS_H
#define BASALT_FRAME_STATIC_STATIC_OBJECTS_H

#include "basalt/concurrency/pavane_mutex.h"
#include "basalt/text/kelp_string.h"
#include "basalt/text/system_locale_info.h"

#include <string>
#include <vector>

namespace basalt {
class CoreLog;
} // namespace basalt

namespace basalt::frame {

// The log the library's own code writes through. Set on process attach and not reset on
// detach: nothing may use it once the library is being unloaded.
extern CoreLog* libraryLog;

// The library's process-wide objects with static life. They are made when the library loads,
// before the process attach steps, in the order of this header, and go in the reverse order
// from the exit list when it unloads.
void makeStaticObjects();

SystemLocaleInfo& systemLocaleInfo();
// Where the message libraries are looked for; shared by every log object.
KELPString& resourceLocation();
// "[HKEY_CLASSES_ROOT]", "[HKEY_CURRENT_CONFIG]", "[HKEY_CURRENT_USER]",
// "[HKEY_LOCAL_MACHINE]", "[HKEY_USERS]", in that order.
const KELPString& registryRootName(int index);
PavaneMutex& sharedLibraryErrorMutex();
const KELPString& nullStringObject();
// Names of the globals a crash report has printed for the current module.
std::vector<std::string>& printedGlobals();
// "Structured Exception - stack will be traced"
const KELPString& translatedExceptionText();
// "basalt", the module of the library's own errors.
const KELPString& libraryModuleName();
PavaneMutex& formatErrorMutex();

} // namespace basalt::frame

#endif
