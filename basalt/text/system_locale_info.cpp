#include "basalt/text/system_locale_info.h"

#include "basalt/frame/static/static_objects.h"
#include "basalt/platform/nls/locale.h"
#include "basalt/text/kelp_string.h"

namespace plat = basalt::platform;

SystemLocaleInfo::SystemLocaleInfo() {
  plat::WCHAR name[4] = {};
  plat::GetLocaleInfoW(plat::LOCALE_USER_DEFAULT, plat::LOCALE_SABBREVLANGNAME, name, 4);
  language = KELPString(name).string();

  plat::WCHAR page[7] = {};
  plat::GetLocaleInfoW(plat::LOCALE_USER_DEFAULT, plat::LOCALE_IDEFAULTANSICODEPAGE, page, 7);
  codePage = plat::_wtoi(page);
  if (codePage == 0) {
    codePage = static_cast<std::int32_t>(plat::GetACP());
  }
}

const char* getSystemLanguage() {
  return basalt::frame::systemLocaleInfo().language.c_str();
}

std::int32_t getSystemCodePage() {
  return basalt::frame::systemLocaleInfo().codePage;
}
