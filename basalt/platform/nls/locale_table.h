#ifndef BASALT_PLATFORM_NLS_LOCALE_TABLE_H
#define BASALT_PLATFORM_NLS_LOCALE_TABLE_H

#include "basalt/platform/base/win_types.h"

#include <string>

namespace basalt::platform {

// What Windows says of one locale.
struct LocaleEntry {
  const char* posixName;    // language_TERRITORY
  const char* abbreviation; // LOCALE_SABBREVLANGNAME
  LCID lcid;
  UINT ansiCodePage; // LOCALE_IDEFAULTANSICODEPAGE
};

// The entry for "language_TERRITORY"; for an unknown territory the language's main locale,
// for an unknown language en_US.
const LocaleEntry& findLocale(const std::string& languageTerritory);

// The entry with that identifier; null when the table has none.
const LocaleEntry* findLocale(LCID lcid);

} // namespace basalt::platform

#endif
