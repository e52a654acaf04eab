#include "basalt/platform/com/guid.h"

#include <cerrno>
#include <cstring>
#include <sys/random.h>

namespace basalt::platform {
namespace {

constexpr HRESULT resultOk = 0;
constexpr HRESULT resultInvalidArgument = static_cast<HRESULT>(0x80070057);
constexpr HRESULT resultFail = static_cast<HRESULT>(0x80004005);

} // namespace

HRESULT CoCreateGuid(GUID* guid) {
  if (guid == nullptr) {
    return resultInvalidArgument;
  }
  unsigned char bytes[16];
  std::size_t filled = 0;
  while (filled < sizeof(bytes)) {
    const ssize_t count = ::getrandom(bytes + filled, sizeof(bytes) - filled, 0);
    if (count < 0 && errno == EINTR) {
      continue;
    }
    if (count < 0) {
      return resultFail;
    }
    filled += static_cast<std::size_t>(count);
  }
  std::memcpy(&guid->Data1, bytes, 4);
  std::memcpy(&guid->Data2, bytes + 4, 2);
  std::memcpy(&guid->Data3, bytes + 6, 2);
  std::memcpy(guid->Data4, bytes + 8, 8);
  // RFC 4122: version 4 in the top nibble of Data3, variant 10 in the top bits of Data4[0].
  guid->Data3 = static_cast<WORD>((guid->Data3 & 0x0FFF) | 0x4000);
  guid->Data4[0] = static_cast<BYTE>((guid->Data4[0] & 0x3F) | 0x80);
  return resultOk;
}

} // namespace basalt::platform
