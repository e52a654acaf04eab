#include "basalt/text/thread_locale.h"

#include "basalt/platform/nls/number_format.h"
#include "basalt/platform/nls/thread_locale.h"

#include <memory>

namespace plat = basalt::platform;

int KELPSetThreadLocale(std::uint32_t locale) {
  return plat::SetThreadLocale(locale) == 1 ? 1 : 0;
}

std::uint32_t KELPGetThreadLocale() {
  return plat::GetThreadLocale();
}

int KELPGetNumberFormat(const KELPString& number, KELPString& formatted) {
  const plat::LCID locale = plat::GetThreadLocale();
  const int size = plat::GetNumberFormatW(locale, 0, number.c_str(), nullptr, nullptr, 0);
  if (size == 0) {
    return 0;
  }
  std::unique_ptr<unsigned short[]> buffer(new unsigned short[size]);
  if (plat::GetNumberFormatW(locale, 0, number.c_str(), nullptr, buffer.get(), size) == 0) {
    return 0;
  }
  formatted = buffer.get();
  return 1;
}
