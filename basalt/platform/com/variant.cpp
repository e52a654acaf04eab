#include "basalt/platform/com/variant.h"

#include "basalt/platform/com/automation_strings.h"
#include "basalt/platform/com/com.h"

#include <charconv>
#include <cstring>
#include <string>
#include <type_traits>

namespace basalt::platform {
namespace {

// Decimal text of a number, the same in every locale.
template <typename Number> BSTR decimalText(Number value, int digits) {
  char buffer[64];
  std::to_chars_result end{};
  if constexpr (std::is_floating_point_v<Number>) {
    end = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::general, digits);
  } else {
    end = std::to_chars(buffer, buffer + sizeof buffer, value);
  }
  WCHAR units[64];
  const auto length = static_cast<UINT>(end.ptr - buffer);
  for (UINT i = 0; i < length; ++i) {
    units[i] = static_cast<unsigned char>(buffer[i]);
  }
  return SysAllocStringLen(units, length);
}

HRESULT toReal(const VARIANT* source, double& value) {
  switch (source->vt) {
  case VT_I2:
    value = source->iVal;
    return S_OK;
  case VT_I4:
    value = source->lVal;
    return S_OK;
  case VT_R4:
    value = source->fltVal;
    return S_OK;
  case VT_R8:
    value = source->dblVal;
    return S_OK;
  default:
    return DISP_E_TYPEMISMATCH;
  }
}

HRESULT toText(const VARIANT* source, BSTR& text) {
  switch (source->vt) {
  case VT_BSTR:
    text = SysAllocStringLen(source->bstrVal, SysStringLen(source->bstrVal));
    break;
  case VT_I2:
    text = decimalText(static_cast<int>(source->iVal), 0);
    break;
  case VT_I4:
    text = decimalText(source->lVal, 0);
    break;
  case VT_BOOL:
    text = decimalText(source->boolVal == VARIANT_FALSE ? 0 : -1, 0);
    break;
  case VT_R4:
    text = decimalText(source->fltVal, 7);
    break;
  case VT_R8:
    text = decimalText(source->dblVal, 15);
    break;
  default:
    return DISP_E_TYPEMISMATCH;
  }
  return text == nullptr ? E_OUTOFMEMORY : S_OK;
}

} // namespace

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
  } else if ((variant->vt == VT_UNKNOWN || variant->vt == VT_DISPATCH) &&
             variant->punkVal != nullptr) {
    variant->punkVal->Release();
  }
  VariantInit(variant);
  return S_OK;
}

HRESULT VariantCopy(VARIANT* target, const VARIANT* source) {
  if (target == nullptr || source == nullptr) {
    return E_INVALIDARG;
  }
  if (target == source) {
    return S_OK;
  }
  VariantClear(target);
  *target = *source;
  if (source->vt == VT_BSTR && source->bstrVal != nullptr) {
    target->bstrVal = SysAllocStringLen(source->bstrVal, SysStringLen(source->bstrVal));
    if (target->bstrVal == nullptr) {
      VariantInit(target);
      return E_OUTOFMEMORY;
    }
  } else if ((source->vt == VT_UNKNOWN || source->vt == VT_DISPATCH) &&
             source->punkVal != nullptr) {
    source->punkVal->AddRef();
  }
  return S_OK;
}

HRESULT VariantChangeType(VARIANT* target, const VARIANT* source, std::uint16_t /*flags*/,
                          VARTYPE type) {
  if (target == nullptr || source == nullptr) {
    return E_INVALIDARG;
  }
  if (type == VT_R8) {
    double value = 0;
    const HRESULT result = toReal(source, value);
    if (FAILED(result)) {
      return result;
    }
    VariantClear(target);
    target->vt = VT_R8;
    target->dblVal = value;
    return S_OK;
  }
  if (type == VT_BSTR) {
    BSTR text = nullptr;
    const HRESULT result = toText(source, text);
    if (FAILED(result)) {
      return result;
    }
    VariantClear(target);
    target->vt = VT_BSTR;
    target->bstrVal = text;
    return S_OK;
  }
  return DISP_E_TYPEMISMATCH;
}

} // namespace basalt::platform
