#include "basalt/data/smart_common_variant.h"

#include "basalt/errors/base_error.h"
#include "basalt/frame/static/static_objects.h"

#include <new>

namespace plat = basalt::platform;

namespace {

constexpr unsigned int wrongTypeError = 0xC20170A6;
constexpr unsigned int wrongTypeInsert = 0xC201A161;
constexpr unsigned short variantTrue = 0xFFFF;

[[noreturn]] void raiseWrongType() {
  BaseError error(wrongTypeError, basalt::frame::libraryModuleName(),
                  TRELL_o::AnyError::SeverityError, TRELL_o::AnyError::CompletedDefault);
  error.addInsert(wrongTypeInsert);
  error.log(basalt::frame::libraryLog);
  throw error;
}

// A copy of text on the heap; null when memory runs out, which leaves a text without a string.
KELPString* copyOf(const KELPString& text) {
  try {
    return new KELPString(text);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

} // namespace

SmartCommonVariant::SmartCommonVariant() : variant{} {
  variant.type = CVT_EMPTY;
}

SmartCommonVariant::SmartCommonVariant(const SmartCommonVariant& other) : SmartCommonVariant() {
  *this = other;
}

SmartCommonVariant::SmartCommonVariant(const KELPString& text) : variant{} {
  variant.type = CVT_TEXT;
  variant.value.text = copyOf(text);
}

SmartCommonVariant::SmartCommonVariant(const unsigned short* text)
    : SmartCommonVariant(KELPString(text)) {}

SmartCommonVariant::SmartCommonVariant(const double& value, int isDate) : variant{} {
  variant.type = isDate != 0 ? CVT_DATE : CVT_NUMBER;
  variant.value.number = value;
}

SmartCommonVariant::SmartCommonVariant(int value) : variant{} {
  variant.type = CVT_BOOLEAN;
  variant.value.boolean = value;
}

SmartCommonVariant::SmartCommonVariant(plat::tagVARIANT& source) : SmartCommonVariant() {
  *this = source;
}

SmartCommonVariant::~SmartCommonVariant() {
  Clear();
}

void SmartCommonVariant::Clear() {
  if (variant.type == CVT_TEXT) {
    delete variant.value.text;
    variant.value.text = nullptr;
  }
  variant.type = CVT_EMPTY;
}

CommonVT SmartCommonVariant::Type() const {
  return variant.type;
}

const KELPString& SmartCommonVariant::Text() const {
  if (variant.type != CVT_TEXT || variant.value.text == nullptr) {
    raiseWrongType();
  }
  return *variant.value.text;
}

const double& SmartCommonVariant::Number() const {
  if (variant.type != CVT_NUMBER) {
    raiseWrongType();
  }
  return variant.value.number;
}

const double& SmartCommonVariant::Date() const {
  if (variant.type != CVT_DATE) {
    raiseWrongType();
  }
  return variant.value.number;
}

int SmartCommonVariant::Boolean() const {
  if (variant.type != CVT_BOOLEAN) {
    raiseWrongType();
  }
  return variant.value.boolean;
}

void SmartCommonVariant::operator=(const SmartCommonVariant& other) {
  if (&other == this) {
    return;
  }
  Clear();
  switch (other.variant.type) {
  case CVT_TEXT:
    if (other.variant.value.text != nullptr) {
      variant.value.text = copyOf(*other.variant.value.text);
      variant.type = CVT_TEXT;
    }
    break;
  case CVT_NUMBER:
  case CVT_DATE:
    variant.value.number = other.variant.value.number;
    variant.type = other.variant.type;
    break;
  case CVT_BOOLEAN:
    variant.value.boolean = other.variant.value.boolean;
    variant.type = CVT_BOOLEAN;
    break;
  case CVT_EMPTY:
    break;
  }
}

void SmartCommonVariant::operator=(plat::tagVARIANT& source) {
  Clear();
  switch (source.vt) {
  case plat::VT_I2:
  case plat::VT_I4:
  case plat::VT_R8:
    plat::VariantChangeType(&source, &source, 0, plat::VT_R8);
    variant.value.number = source.dblVal;
    variant.type = CVT_NUMBER;
    break;
  case plat::VT_DATE:
    variant.value.number = source.date;
    variant.type = CVT_DATE;
    break;
  case plat::VT_BSTR: {
    KELPString text;
    text.fillFromBSTR(source.bstrVal);
    variant.value.text = copyOf(text);
    variant.type = CVT_TEXT;
    break;
  }
  case plat::VT_BOOL:
    variant.value.boolean = static_cast<unsigned short>(source.boolVal) == variantTrue ? 1 : 0;
    variant.type = CVT_BOOLEAN;
    break;
  default: // VT_EMPTY, VT_NULL, VT_R4 and the rest aren't taken
    break;
  }
}

bool SmartCommonVariant::Variant(plat::tagVARIANT* target) const {
  if (target == nullptr) {
    return false;
  }
  plat::VariantClear(target);
  switch (variant.type) {
  case CVT_TEXT:
    if (variant.value.text == nullptr) {
      return false;
    }
    variant.value.text->createBSTR(&target->bstrVal);
    target->vt = plat::VT_BSTR;
    return true;
  case CVT_NUMBER:
    target->vt = plat::VT_R8;
    target->dblVal = variant.value.number;
    return true;
  case CVT_DATE:
    target->vt = plat::VT_DATE;
    target->date = variant.value.number;
    return true;
  case CVT_BOOLEAN:
    target->vt = plat::VT_BOOL;
    target->boolVal = static_cast<plat::VARIANT_BOOL>(variant.value.boolean != 0 ? variantTrue : 0);
    return true;
  case CVT_EMPTY:
    break;
  }
  return true;
}

bool SmartCommonVariant::comparableWith(const SmartCommonVariant& other) const {
  if (variant.type == CVT_EMPTY) {
    return false;
  }
  if (other.variant.type != variant.type) {
    raiseWrongType();
  }
  return true;
}

bool SmartCommonVariant::operator==(const SmartCommonVariant& other) const {
  if (!comparableWith(other)) {
    return true;
  }
  switch (variant.type) {
  case CVT_TEXT:
    return Text() == other.Text();
  case CVT_BOOLEAN:
    return variant.value.boolean == other.variant.value.boolean;
  default:
    return variant.value.number == other.variant.value.number;
  }
}

bool SmartCommonVariant::operator<(const SmartCommonVariant& other) const {
  if (!comparableWith(other)) {
    return false;
  }
  switch (variant.type) {
  case CVT_TEXT:
    return Text() < other.Text();
  case CVT_BOOLEAN:
    return variant.value.boolean < other.variant.value.boolean;
  default:
    return variant.value.number < other.variant.value.number;
  }
}

bool SmartCommonVariant::operator>(const SmartCommonVariant& other) const {
  if (!comparableWith(other)) {
    return false;
  }
  switch (variant.type) {
  case CVT_TEXT:
    return static_cast<const KELPString::Base&>(Text()) >
           static_cast<const KELPString::Base&>(other.Text());
  case CVT_BOOLEAN:
    return variant.value.boolean > other.variant.value.boolean;
  default:
    return variant.value.number > other.variant.value.number;
  }
}
