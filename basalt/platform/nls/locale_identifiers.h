#ifndef BASALT_PLATFORM_NLS_LOCALE_IDENTIFIERS_H
#define BASALT_PLATFORM_NLS_LOCALE_IDENTIFIERS_H

// Windows locale identifiers and the ICU locales behind them.

#include "basalt/platform/base/win_types.h"

#include <string>

namespace basalt::platform {

constexpr LCID LOCALE_NEUTRAL = 0x0;
constexpr LCID LOCALE_SYSTEM_DEFAULT = 0x800;

// The user's default locale for LOCALE_USER_DEFAULT, LOCALE_SYSTEM_DEFAULT and LOCALE_NEUTRAL
// (this platform has one default for both); any other identifier as it is.
LCID ConvertDefaultLocale(LCID locale);

// The ICU locale of an identifier, with the default identifiers resolved first; empty when
// ICU knows none.
std::string icuLocaleName(LCID locale);

} // namespace basalt::platform

#endif
