#ifndef BASALT_LOGGING_MESSAGE_LIBRARY_H
#define BASALT_LOGGING_MESSAGE_LIBRARY_H

#include "basalt/system/string_resource_library.h"
#include "basalt/text/kelp_string.h"

#include <cstdint>
#include <vector>

namespace basalt {

// The message library of one facility as the log keeps it: the loaded module, or none when
// every name failed. A failed record is kept, so each facility costs one round of attempts.
class MessageLibrary {
public:
  // Loads the library of message's facility (bits 27 to 16) for language. The names tried,
  // each first in frame::resourceLocation() and then through the platform's search, are
  //   strings_<facility in lower-case hex>_xx   the neutral library, which wins if present
  //   strings_<facility>_<language>
  //   strings_<facility>_<first two letters of language>   only for longer languages
  //   strings_<facility>_en
  // with ".dll" added. When none loads, an error event says so in the event log.
  MessageLibrary(std::uint32_t message, const KELPString& language);
  MessageLibrary(const MessageLibrary&) = delete;
  MessageLibrary& operator=(const MessageLibrary&) = delete;

  // Sets frame::resourceLocation(), the directory that every log object's libraries come
  // from. Each log object's start sets it, so it is written and read under a lock of its own.
  static void setLocation(const KELPString& location);

  // The file names tried, in order, the one that loaded last: "strings_201_xx.dll", ...
  const std::vector<KELPString>& triedFileNames() const { return tried; }
  // The full path of the loaded module in the library's form; empty when none loaded.
  const KELPString& loadedPath() const { return path; }

  StringResourceLibrary library;
  KELPString language;
  std::uint32_t facility; // the facility field in place: message & 0x0FFF0000

private:
  bool tryLoad(FileLocator& locator, const KELPString& name);

  std::vector<KELPString> tried;
  KELPString path;
};

} // namespace basalt

#endif
