#include "basalt/platform/nls/locale_table.h"

namespace basalt::platform {
namespace {

// A language's main locale comes first among its entries.
constexpr LocaleEntry locales[] = {
    {"en_US", "ENU", 0x0409, 1252}, {"en_GB", "ENG", 0x0809, 1252}, {"en_AU", "ENA", 0x0C09, 1252},
    {"en_CA", "ENC", 0x1009, 1252}, {"en_NZ", "ENZ", 0x1409, 1252}, {"en_IE", "ENI", 0x1809, 1252},
    {"en_ZA", "ENS", 0x1C09, 1252}, {"de_DE", "DEU", 0x0407, 1252}, {"de_CH", "DES", 0x0807, 1252},
    {"de_AT", "DEA", 0x0C07, 1252}, {"de_LU", "DEL", 0x1007, 1252}, {"de_LI", "DEC", 0x1407, 1252},
    {"fr_FR", "FRA", 0x040C, 1252}, {"fr_BE", "FRB", 0x080C, 1252}, {"fr_CA", "FRC", 0x0C0C, 1252},
    {"fr_CH", "FRS", 0x100C, 1252}, {"fr_LU", "FRL", 0x140C, 1252}, {"it_IT", "ITA", 0x0410, 1252},
    {"it_CH", "ITS", 0x0810, 1252}, {"es_ES", "ESN", 0x0C0A, 1252}, {"es_MX", "ESM", 0x080A, 1252},
    {"es_AR", "ESS", 0x2C0A, 1252}, {"pt_BR", "PTB", 0x0416, 1252}, {"pt_PT", "PTG", 0x0816, 1252},
    {"nl_NL", "NLD", 0x0413, 1252}, {"nl_BE", "NLB", 0x0813, 1252}, {"sv_SE", "SVE", 0x041D, 1252},
    {"sv_FI", "SVF", 0x081D, 1252}, {"da_DK", "DAN", 0x0406, 1252}, {"nb_NO", "NOR", 0x0414, 1252},
    {"no_NO", "NOR", 0x0414, 1252}, {"nn_NO", "NON", 0x0814, 1252}, {"fi_FI", "FIN", 0x040B, 1252},
    {"is_IS", "ISL", 0x040F, 1252}, {"ca_ES", "CAT", 0x0403, 1252}, {"eu_ES", "EUQ", 0x042D, 1252},
    {"pl_PL", "PLK", 0x0415, 1250}, {"cs_CZ", "CSY", 0x0405, 1250}, {"sk_SK", "SKY", 0x041B, 1250},
    {"hu_HU", "HUN", 0x040E, 1250}, {"sl_SI", "SLV", 0x0424, 1250}, {"hr_HR", "HRV", 0x041A, 1250},
    {"ro_RO", "ROM", 0x0418, 1250}, {"ru_RU", "RUS", 0x0419, 1251}, {"uk_UA", "UKR", 0x0422, 1251},
    {"bg_BG", "BGR", 0x0402, 1251}, {"el_GR", "ELL", 0x0408, 1253}, {"tr_TR", "TRK", 0x041F, 1254},
    {"he_IL", "HEB", 0x040D, 1255}, {"ar_SA", "ARA", 0x0401, 1256}, {"ar_EG", "ARE", 0x0C01, 1256},
    {"lt_LT", "LTH", 0x0427, 1257}, {"lv_LV", "LVI", 0x0426, 1257}, {"et_EE", "ETI", 0x0425, 1257},
    {"vi_VN", "VIT", 0x042A, 1258}, {"th_TH", "THA", 0x041E, 874},  {"ja_JP", "JPN", 0x0411, 932},
    {"ko_KR", "KOR", 0x0412, 949},  {"zh_CN", "CHS", 0x0804, 936},  {"zh_SG", "ZHI", 0x1004, 936},
    {"zh_TW", "CHT", 0x0404, 950},  {"zh_HK", "ZHH", 0x0C04, 950},
};

bool sameLanguage(const char* posixName, const std::string& languageTerritory) {
  const std::size_t length = languageTerritory.find('_');
  const std::string language = languageTerritory.substr(0, length);
  return language.size() == 2 && posixName[0] == language[0] && posixName[1] == language[1];
}

} // namespace

const LocaleEntry& findLocale(const std::string& languageTerritory) {
  for (const LocaleEntry& entry : locales) {
    if (languageTerritory == entry.posixName) {
      return entry;
    }
  }
  for (const LocaleEntry& entry : locales) {
    if (sameLanguage(entry.posixName, languageTerritory)) {
      return entry;
    }
  }
  return locales[0];
}

const LocaleEntry* findLocale(LCID lcid) {
  for (const LocaleEntry& entry : locales) {
    if (entry.lcid == lcid) {
      return &entry;
    }
  }
  return nullptr;
}

} // namespace basalt::platform
