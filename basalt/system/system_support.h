#ifndef BASALT_SYSTEM_SYSTEM_SUPPORT_H
#define BASALT_SYSTEM_SYSTEM_SUPPORT_H

#include "basalt/export.h"
#include "basalt/platform/com/guid.h"
#include "basalt/text/kelp_string.h"

#include <cstdint>

// The system's text for an error number, and new GUIDs. Every text of a system error number
// in the library comes from here.
// Any thread may call these.
namespace SystemSupport {

// FormatError of the calling thread's last error.
BASALT_API void FormatLastError(KELPString& text);

// Replaces text with the system's message for error, without its line end; empty for a
// number that has no message. One call at a time in the whole process.
BASALT_API void FormatError(KELPString& text, std::uint32_t error);

// nil: all 16 bytes 0. Otherwise a new random GUID.
BASALT_API void GenerateGUID(basalt::platform::GUID& guid, bool nil);

} // namespace SystemSupport

#endif
