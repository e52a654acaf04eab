#include "basalt/platform/images/string_resources.h"

#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/images/loaded_modules.h"
#include "basalt/platform/nls/locale.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace basalt::platform {
namespace {

constexpr LANGID neutralLanguage = 0x0000;
constexpr LANGID usEnglish = 0x0409;
constexpr unsigned stringsPerBlock = 16;

WORD unitAt(const unsigned char* at) {
  return static_cast<WORD>(at[0] | (at[1] << 8));
}

} // namespace

DWORD findStringResource(const PeImage& image, UINT id, LANGID userLanguage, const WCHAR*& text,
                         std::size_t& length) {
  const WORD low = static_cast<WORD>(id & 0xFFFF);
  const WORD block = static_cast<WORD>((low >> 4) + 1);
  const unsigned entry = low & (stringsPerBlock - 1);
  const LANGID languages[] = {neutralLanguage, userLanguage, usEnglish};
  const unsigned char* data = nullptr;
  DWORD size = 0;
  const DWORD error = image.findResource(RT_STRING, block, languages, 3, data, size);
  if (error != ERROR_SUCCESS) {
    return error;
  }
  // The units are handed out in place, so they must be aligned.
  if (reinterpret_cast<std::uintptr_t>(data) % alignof(WCHAR) != 0) {
    return ERROR_RESOURCE_DATA_NOT_FOUND;
  }
  // Each entry is a count of units and that many units; an empty entry is just its count.
  DWORD offset = 0;
  for (unsigned i = 0;; ++i) {
    if (size - offset < 2) {
      return ERROR_RESOURCE_DATA_NOT_FOUND;
    }
    const DWORD units = unitAt(data + offset);
    if ((size - offset - 2) / 2 < units) {
      return ERROR_RESOURCE_DATA_NOT_FOUND;
    }
    if (i == entry) {
      if (units == 0) {
        return ERROR_RESOURCE_NAME_NOT_FOUND;
      }
      text = reinterpret_cast<const WCHAR*>(data + offset + 2);
      length = units;
      return ERROR_SUCCESS;
    }
    offset += 2 + 2 * units;
  }
}

int LoadStringW(HINSTANCE module, UINT id, LPWSTR buffer, int size) {
  if (buffer == nullptr || size < 1) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  buffer[0] = 0;
  if (module == nullptr) {
    SetLastError(ERROR_RESOURCE_DATA_NOT_FOUND);
    return 0;
  }
  const std::shared_ptr<const LoadedModule> loaded = findLoadedModule(module);
  if (loaded == nullptr) {
    SetLastError(ERROR_INVALID_HANDLE);
    return 0;
  }
  if (loaded->image() == nullptr) {
    SetLastError(ERROR_RESOURCE_DATA_NOT_FOUND);
    return 0;
  }
  const WCHAR* text = nullptr;
  std::size_t length = 0;
  // Read once: as on Windows, the user's default language is fixed for the process's life.
  static const auto userLanguage = static_cast<LANGID>(GetUserDefaultLCID() & 0xFFFF);
  const DWORD error = findStringResource(*loaded->image(), id, userLanguage, text, length);
  if (error != ERROR_SUCCESS) {
    SetLastError(error);
    return 0;
  }
  const std::size_t copied = std::min(length, static_cast<std::size_t>(size) - 1);
  std::memcpy(buffer, text, copied * sizeof(WCHAR));
  buffer[copied] = 0;
  return static_cast<int>(copied);
}

} // namespace basalt::platform
