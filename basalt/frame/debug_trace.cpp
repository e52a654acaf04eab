#include "basalt/frame/debug_trace.h"

#include "basalt/platform/debug_output.h"

#include <string>

namespace basalt::frame {

void debugTrace(const char* what, const char* name) {
  // Built from 7-bit text only: this runs before and after the string layer's objects live.
  std::string line = std::string("basalt: ") + what + name + "\n";
  std::basic_string<platform::WCHAR> wide(line.begin(), line.end());
  platform::OutputDebugStringW(wide.c_str());
}

} // namespace basalt::frame
