#include "basalt/text/case_tables.h"
#include "basalt/text/kelp_string.h"

namespace text = basalt::text;

unsigned short KELPString::chrToLower(unsigned short unit) {
  return text::lowerCase(unit);
}

unsigned short KELPString::chrToUpper(unsigned short unit) {
  return text::upperCase(unit);
}

void KELPString::toLower() {
  for (unsigned short& unit : *this) {
    unit = text::lowerCase(unit);
  }
}

void KELPString::toUpper() {
  for (unsigned short& unit : *this) {
    unit = text::upperCase(unit);
  }
}
