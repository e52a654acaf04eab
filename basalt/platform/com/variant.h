#ifndef BASALT_PLATFORM_COM_VARIANT_H
#define BASALT_PLATFORM_COM_VARIANT_H

// The automation variant: a type tag with the original type numbers and one value member.

#include "basalt/export.h"
#include "basalt/platform/base/win_types.h"

#include <cstdint>

namespace basalt::platform {

class IUnknown;

using VARTYPE = std::uint16_t;
using VARIANT_BOOL = std::int16_t;
using DATE = double;
using SCODE = LONG;

constexpr VARTYPE VT_EMPTY = 0;
constexpr VARTYPE VT_NULL = 1;
constexpr VARTYPE VT_I2 = 2;
constexpr VARTYPE VT_I4 = 3;
constexpr VARTYPE VT_R4 = 4;
constexpr VARTYPE VT_R8 = 5;
constexpr VARTYPE VT_CY = 6;
constexpr VARTYPE VT_DATE = 7;
constexpr VARTYPE VT_BSTR = 8;
constexpr VARTYPE VT_DISPATCH = 9;
constexpr VARTYPE VT_ERROR = 10;
constexpr VARTYPE VT_BOOL = 11;
constexpr VARTYPE VT_VARIANT = 12;
constexpr VARTYPE VT_UNKNOWN = 13;
constexpr VARTYPE VT_DECIMAL = 14;
constexpr VARTYPE VT_I1 = 16;
constexpr VARTYPE VT_UI1 = 17;
constexpr VARTYPE VT_UI2 = 18;
constexpr VARTYPE VT_UI4 = 19;
constexpr VARTYPE VT_I8 = 20;
constexpr VARTYPE VT_UI8 = 21;
constexpr VARTYPE VT_INT = 22;
constexpr VARTYPE VT_UINT = 23;

constexpr VARIANT_BOOL VARIANT_TRUE = -1;
constexpr VARIANT_BOOL VARIANT_FALSE = 0;

constexpr HRESULT DISP_E_TYPEMISMATCH = static_cast<HRESULT>(0x80020005);

// The automation variant's record. A plain value, for one thread at a time.
struct tagVARIANT {
  VARTYPE vt;
  WORD wReserved1;
  WORD wReserved2;
  WORD wReserved3;
  union {
    std::int64_t llVal;
    LONG lVal;
    BYTE bVal;
    std::int16_t iVal;
    float fltVal;
    double dblVal;
    VARIANT_BOOL boolVal;
    SCODE scode;
    DATE date;
    BSTR bstrVal;
    void* byref;
    IUnknown* punkVal;
    IUnknown* pdispVal; // the dispatch interface is not modelled: any object counts
    char cVal;
    std::uint16_t uiVal;
    ULONG ulVal;
    int intVal;
    UINT uintVal;
  };
};
using VARIANT = tagVARIANT;
using VARIANTARG = tagVARIANT;

// Makes the variant VT_EMPTY with a zero value, without looking at what it held.
BASALT_API void VariantInit(VARIANT* variant);

// Releases what the variant owns (the string of a VT_BSTR through SysFreeString, the object
// of a VT_UNKNOWN or VT_DISPATCH through Release) and makes it VT_EMPTY. E_INVALIDARG for
// null.
BASALT_API HRESULT VariantClear(VARIANT* variant);

// Clears target and makes it a copy of source with a string or a reference of its own.
// E_OUTOFMEMORY, with target cleared, when the string can't be copied.
BASALT_API HRESULT VariantCopy(VARIANT* target, const VARIANT* source);

// Converts source to type into target, which may be source itself; flags are not used.
// VT_R8 comes from VT_I2, VT_I4, VT_R4 and VT_R8. VT_BSTR comes from VT_BSTR, VT_I2, VT_I4,
// VT_BOOL ("-1" or "0"), and VT_R4 and VT_R8 in decimal with '.' and at most 7 and 15
// significant digits, without a locale. Anything else gives DISP_E_TYPEMISMATCH and leaves
// target as it was.
BASALT_API HRESULT VariantChangeType(VARIANT* target, const VARIANT* source, std::uint16_t flags,
                                     VARTYPE type);

} // namespace basalt::platform

#endif
