#ifndef BASALT_LOGGING_MESSAGE_PROBE_H
#define BASALT_LOGGING_MESSAGE_PROBE_H

// What the log makes of one message number, and how it came to it: for the tools that ship
// with the library, which show operators why a text is found or not. Not for components: a
// probe sets the directory of the message libraries for the whole process, as a log's start
// does.

#include "basalt/text/kelp_string.h"

#include <cstdint>
#include <vector>

namespace basalt {

struct MessageProbe {
  // The directory searched first: the log key's Location, else the fallback, else empty. In
  // the library's form, with '\'.
  KELPString location;
  // Why Location couldn't be used, as the registry tells it; empty when it was.
  KELPString locationFailure;
  KELPString language;
  // In the order tried; the last one loaded when libraryPath isn't empty.
  std::vector<KELPString> triedFileNames;
  // The full path of the message library that loaded, in the library's form.
  KELPString libraryPath;
  // The text with the inserts in place, as a log file line would have it; found is false,
  // and text empty, when the number has no text.
  bool found = false;
  KELPString text;
};

// Looks message up as a log does at its first use and for each record: Location from the
// registry, else fallback, which stands for the directory of the libbasalt that a component
// loads (a tool that holds the library's code can't take its own); the library of the
// message's facility for language (null: the user's language, as the log takes it); the text
// with its inserts. When no library loads, the event log is told so, as it is by a log. No
// other event is reported and no log file is touched.
MessageProbe probeMessage(std::uint32_t message, const KELPString* language,
                          const KELPString& fallback, int insertCount,
                          const unsigned short** inserts);

} // namespace basalt

#endif
