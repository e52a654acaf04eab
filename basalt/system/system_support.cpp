#include "basalt/system/system_support.h"

#include "basalt/frame/static/static_objects.h"
#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/runtime/system_messages.h"

#include <cstring>

namespace plat = basalt::platform;

namespace SystemSupport {

void FormatLastError(KELPString& text) {
  FormatError(text, plat::GetLastError());
}

void FormatError(KELPString& text, std::uint32_t error) {
  basalt::PavaneSynchronized lock(basalt::frame::formatErrorMutex());
  plat::LPWSTR buffer = nullptr;
  plat::FormatMessageW(plat::FORMAT_MESSAGE_ALLOCATE_BUFFER | plat::FORMAT_MESSAGE_FROM_SYSTEM,
                       nullptr, error, 0x400, reinterpret_cast<plat::LPWSTR>(&buffer), 0, nullptr);
  text = buffer;
  plat::LocalFree(buffer);
  if (!text.empty() && text.back() == '\n') {
    text.pop_back();
    if (!text.empty() && text.back() == '\r') {
      text.pop_back();
    }
  }
}

void GenerateGUID(basalt::platform::GUID& guid, bool nil) {
  if (nil) {
    std::memset(&guid, 0, sizeof(guid));
    return;
  }
  plat::CoCreateGuid(&guid);
}

} // namespace SystemSupport
