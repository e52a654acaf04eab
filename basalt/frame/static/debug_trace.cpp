#include "basalt/frame/static/debug_trace.h"

#include "basalt/platform/base/debug_output.h"

#include <string>

namespace basalt::frame {

void debugTrace(const char* what, const char* name) {
  platform::outputDebugTrace((std::string(what) + name).c_str());
}

} // namespace basalt::frame
