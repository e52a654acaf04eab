#include "basalt/platform/variant.h"

#include "basalt/platform/automation_strings.h"

#include <cstring>

namespace basalt::platform {

void VariantInit(VARIANT* variant) {
  std::memset(variant, 0, sizeof(VARIANT));
  variant->vt = VT_EMPTY;
}

HRESULT VariantClear(VARIANT* variant) {
  if (variant == nullptr) {
    return E_INVALIDARG;
  }
  if (variant->vt == VT_BSTR) {
    SysFreeString(variant->bstrVal);
  }
  VariantInit(variant);
  return S_OK;
}

HRESULT VariantChangeType(VARIANT* target, const VARIANT* source, std::uint16_t /*flags*/,
                          VARTYPE type) {
  if (target == nullptr || source == nullptr) {
    return E_INVALIDARG;
  }
  if (type != VT_R8) {
    return DISP_E_TYPEMISMATCH;
  }
  double value;
  switch (source->vt) {
  case VT_I2:
    value = source->iVal;
    break;
  case VT_I4:
    value = source->lVal;
    break;
  case VT_R4:
    value = source->fltVal;
    break;
  case VT_R8:
    value = source->dblVal;
    break;
  default:
    return DISP_E_TYPEMISMATCH;
  }
  if (target != source) {
    VariantClear(target);
  }
  target->vt = VT_R8;
  target->dblVal = value;
  return S_OK;
}

} // namespace basalt::platform
