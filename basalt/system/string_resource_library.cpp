#include "basalt/system/string_resource_library.h"

#include "basalt/platform/images/string_resources.h"

namespace plat = basalt::platform;

StringResourceLibrary::~StringResourceLibrary() = default;

bool StringResourceLibrary::load(const basalt::FileLocator& library) {
  return SharedLibrary::load(library);
}

bool StringResourceLibrary::getString(plat::DWORD id, KELPString& text) const {
  // One fixed buffer and no second try: longer strings are cut to 511 characters.
  constexpr int bufferSize = 512;
  plat::WCHAR buffer[bufferSize];
  text.erase();
  const int length = plat::LoadStringW(getHandle(), id, buffer, bufferSize);
  if (length > 0) {
    text.append(buffer, static_cast<unsigned int>(length));
  }
  return length > 0;
}
