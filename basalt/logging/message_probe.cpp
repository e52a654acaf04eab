#include "basalt/logging/message_probe.h"

#include "basalt/logging/core_log_impl.h"
#include "basalt/logging/message_library.h"
#include "basalt/logging/message_text.h"
#include "basalt/system/registry_wrapper.h"
#include "basalt/text/system_locale_info.h"

namespace basalt {

MessageProbe probeMessage(std::uint32_t message, const KELPString* language,
                          const KELPString& fallback, int insertCount,
                          const unsigned short** inserts) {
  MessageProbe probe;
  RegistryWrapper registry;
  if (!registry.readRegKeyValue(RegistryWrapper::LocalMachine, CoreLogImpl::logKeyPath, "Location",
                                probe.location, nullptr)) {
    probe.locationFailure = registry.getErrorText();
    probe.location = fallback;
  }
  MessageLibrary::setLocation(probe.location);

  probe.language = language != nullptr ? *language : KELPString(getSystemLanguage());
  const MessageLibrary library(message, probe.language);
  probe.triedFileNames = library.triedFileNames();
  probe.libraryPath = library.loadedPath();
  KELPString raw;
  if (library.library.getString(message, raw)) {
    probe.found = formatMessageText(raw, insertCount, inserts, probe.text);
  }
  return probe;
}

} // namespace basalt
