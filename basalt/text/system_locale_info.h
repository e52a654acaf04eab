#ifndef BASALT_TEXT_SYSTEM_LOCALE_INFO_H
#define BASALT_TEXT_SYSTEM_LOCALE_INFO_H

#include <cstdint>
#include <string>

// The process locale record, read from the platform once while the library loads.
struct SystemLocaleInfo {
  SystemLocaleInfo();

  std::string language;      // the user's abbreviated language name, such as "ENU"
  std::int32_t codePage = 0; // the user's default ANSI code page
};

// The record's language, empty when the platform gave none.
const char* getSystemLanguage();
std::int32_t getSystemCodePage();

#endif
