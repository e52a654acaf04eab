#include "basalt/platform/nls/locale_identifiers.h"

#include "basalt/platform/nls/locale.h"

#include <unicode/uloc.h>

namespace basalt::platform {

LCID ConvertDefaultLocale(LCID locale) {
  if (locale == LOCALE_USER_DEFAULT || locale == LOCALE_SYSTEM_DEFAULT ||
      locale == LOCALE_NEUTRAL) {
    return GetUserDefaultLCID();
  }
  return locale;
}

std::string icuLocaleName(LCID locale) {
  char name[ULOC_FULLNAME_CAPACITY];
  UErrorCode status = U_ZERO_ERROR;
  const int32_t length =
      uloc_getLocaleForLCID(ConvertDefaultLocale(locale), name, sizeof name, &status);
  // ICU answers "root" for identifiers it reads as no language at all.
  if (U_FAILURE(status) || length <= 0 || length >= static_cast<int32_t>(sizeof name)) {
    return {};
  }
  std::string result(name, static_cast<std::size_t>(length));
  return result == "root" ? std::string() : result;
}

} // namespace basalt::platform
