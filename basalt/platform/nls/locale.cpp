#include "basalt/platform/nls/locale.h"

#include "basalt/platform/base/debug_output.h"
#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/nls/code_pages.h"
#include "basalt/platform/nls/locale_table.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace basalt::platform {
namespace {

// The first non-empty variable of the list, as POSIX orders them; C when none is set.
std::string localeVariable(const char* category) {
  for (const char* name : {"LC_ALL", category, "LANG"}) {
    const char* value = std::getenv(name);
    if (value != nullptr && *value != '\0') {
      return value;
    }
  }
  return "C";
}

std::string upperAlphanumeric(const std::string& text) {
  std::string out;
  for (const char c : text) {
    if (std::isalnum(static_cast<unsigned char>(c)) != 0) {
      out.push_back(static_cast<char>(std::toupper(static_cast<unsigned char>(c))));
    }
  }
  return out;
}

// The Windows code page of a POSIX codeset name; 0 when it names none we know.
UINT codePageOfCodeset(const std::string& codeset) {
  const std::string name = upperAlphanumeric(codeset);
  struct Alias {
    const char* name;
    UINT page;
  };
  static constexpr Alias aliases[] = {
      {"UTF8", 65001},     {"SJIS", 932},        {"SHIFTJIS", 932},    {"CP932", 932},
      {"WINDOWS31J", 932}, {"GBK", 936},         {"CP936", 936},       {"GB2312", 936},
      {"EUCCN", 936},      {"EUCKR", 949},       {"CP949", 949},       {"UHC", 949},
      {"BIG5", 950},       {"CP950", 950},       {"TIS620", 874},      {"CP874", 874},
      {"KOI8R", 20866},    {"ISO885913", 28603}, {"ISO885915", 28605},
  };
  for (const Alias& alias : aliases) {
    if (name == alias.name) {
      return alias.page;
    }
  }
  if (name.size() == 8 && name.compare(0, 7, "ISO8859") == 0 && name[7] >= '1' && name[7] <= '9') {
    return 28590 + static_cast<UINT>(name[7] - '0');
  }
  for (const char* prefix : {"CP", "WINDOWS"}) {
    const std::size_t length = std::strlen(prefix);
    if (name.compare(0, length, prefix) == 0 && name.size() == length + 4) {
      const UINT page = static_cast<UINT>(std::atoi(name.c_str() + length));
      if (page >= 1250 && page <= 1258) {
        return page;
      }
    }
  }
  return 0;
}

// Splits "language_TERRITORY.codeset@modifier"; C and POSIX count as en_US with UTF-8.
struct PosixLocale {
  std::string languageTerritory;
  std::string codeset;
};

PosixLocale parseLocale(std::string value) {
  if (value == "C" || value == "POSIX" || value.compare(0, 2, "C.") == 0) {
    return {"en_US", "UTF-8"};
  }
  if (const std::size_t at = value.find('@'); at != std::string::npos) {
    value.erase(at);
  }
  PosixLocale locale;
  if (const std::size_t dot = value.find('.'); dot != std::string::npos) {
    locale.codeset = value.substr(dot + 1);
    value.erase(dot);
  }
  locale.languageTerritory = value;
  return locale;
}

const LocaleEntry& userLocale() {
  return findLocale(parseLocale(localeVariable("LC_MESSAGES")).languageTerritory);
}

UINT processCodePage() {
  if (const char* forced = std::getenv("BASALT_CODEPAGE"); forced != nullptr && *forced != '\0') {
    const int page = std::atoi(forced);
    if (page > 0 && IsValidCodePage(static_cast<UINT>(page))) {
      return static_cast<UINT>(page);
    }
    // Text in a page that can't be converted would be lost, so the locale decides instead.
    outputDebugTrace((std::string("BASALT_CODEPAGE=") + forced +
                      " names no supported code page; the locale's is used")
                         .c_str());
  }
  const PosixLocale ctype = parseLocale(localeVariable("LC_CTYPE"));
  if (const UINT page = codePageOfCodeset(ctype.codeset); page != 0) {
    return page;
  }
  return findLocale(ctype.languageTerritory).ansiCodePage;
}

int writeItem(const std::string& item, WCHAR* buffer, int size) {
  const int needed = static_cast<int>(item.size()) + 1;
  if (buffer == nullptr || size < needed) {
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return 0;
  }
  for (std::size_t i = 0; i < item.size(); ++i) {
    buffer[i] = static_cast<unsigned char>(item[i]);
  }
  buffer[item.size()] = 0;
  return needed;
}

} // namespace

int GetLocaleInfoW(LCID locale, DWORD type, WCHAR* buffer, int size) {
  if (locale != LOCALE_USER_DEFAULT && locale != GetUserDefaultLCID()) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  switch (type) {
  case LOCALE_SABBREVLANGNAME:
    return writeItem(userLocale().abbreviation, buffer, size);
  case LOCALE_IDEFAULTANSICODEPAGE: {
    // Not std::to_string: its inline tables are GNU unique symbols, which would keep dlclose
    // from ever unloading the library.
    char digits[16];
    std::snprintf(digits, sizeof(digits), "%u", processCodePage());
    return writeItem(digits, buffer, size);
  }
  default:
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
}

UINT GetACP() {
  return processCodePage();
}

LCID GetUserDefaultLCID() {
  return userLocale().lcid;
}

int _wtoi(const WCHAR* text) {
  if (text == nullptr) {
    return 0;
  }
  while (*text == ' ' || (*text >= '\t' && *text <= '\r')) {
    ++text;
  }
  const bool negative = *text == '-';
  if (*text == '-' || *text == '+') {
    ++text;
  }
  // Accumulated unsigned so that overflow wraps as the runtime's conversion did.
  std::uint32_t value = 0;
  for (; *text >= '0' && *text <= '9'; ++text) {
    value = value * 10 + static_cast<std::uint32_t>(*text - '0');
  }
  return static_cast<int>(negative ? 0u - value : value);
}

} // namespace basalt::platform
