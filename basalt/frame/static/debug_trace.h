#ifndef BASALT_FRAME_STATIC_DEBUG_TRACE_H
#define BASALT_FRAME_STATIC_DEBUG_TRACE_H

namespace basalt::frame {

// One line "basalt: <what><name>" on the debug output, for following load and unload.
void debugTrace(const char* what, const char* name = "");

} // namespace basalt::frame

#endif
