#include "basalt/platform/com/automation_strings.h"

#include <cstdlib>
#include <cstring>
#include <limits>

namespace basalt::platform {
namespace {
// The 32-bit byte length sits in front of the first unit.
constexpr std::size_t prefixBytes = sizeof(std::uint32_t);
} // namespace

BSTR SysAllocStringLen(const WCHAR* text, UINT length) {
  if (length > (std::numeric_limits<std::uint32_t>::max() - prefixBytes) / sizeof(WCHAR) - 1) {
    return nullptr;
  }
  const std::uint32_t byteLength = length * sizeof(WCHAR);
  auto* block = static_cast<unsigned char*>(std::malloc(prefixBytes + byteLength + sizeof(WCHAR)));
  if (block == nullptr) {
    return nullptr;
  }
  std::memcpy(block, &byteLength, prefixBytes);
  auto* units = reinterpret_cast<WCHAR*>(block + prefixBytes);
  if (text != nullptr) {
    std::memcpy(units, text, byteLength);
  } else {
    std::memset(units, 0, byteLength);
  }
  units[length] = 0;
  return units;
}

UINT SysStringLen(BSTR text) {
  if (text == nullptr) {
    return 0;
  }
  std::uint32_t byteLength;
  std::memcpy(&byteLength, reinterpret_cast<unsigned char*>(text) - prefixBytes, prefixBytes);
  return byteLength / sizeof(WCHAR);
}

void SysFreeString(BSTR text) {
  if (text != nullptr) {
    std::free(reinterpret_cast<unsigned char*>(text) - prefixBytes);
  }
}

} // namespace basalt::platform
