#include "basalt/platform/automation_strings.h"
#include "basalt/platform/variant.h"

#include <gtest/gtest.h>

namespace plat = basalt::platform;

namespace {

TEST(Variant, ClearReleasesTheStringAndEmpties) {
  plat::VARIANT variant;
  plat::VariantInit(&variant);
  EXPECT_EQ(variant.vt, plat::VT_EMPTY);
  const plat::WCHAR text[] = {'a', 'b'};
  variant.vt = plat::VT_BSTR;
  variant.bstrVal = plat::SysAllocStringLen(text, 2);
  EXPECT_EQ(plat::VariantClear(&variant), plat::S_OK);
  EXPECT_EQ(variant.vt, plat::VT_EMPTY);
  EXPECT_EQ(variant.bstrVal, nullptr);
  EXPECT_EQ(plat::VariantClear(nullptr), plat::E_INVALIDARG);
}

TEST(Variant, ChangeTypeToDoubleInPlace) {
  plat::VARIANT variant;
  plat::VariantInit(&variant);
  variant.vt = plat::VT_I2;
  variant.iVal = -3;
  EXPECT_EQ(plat::VariantChangeType(&variant, &variant, 0, plat::VT_R8), plat::S_OK);
  EXPECT_EQ(variant.vt, plat::VT_R8);
  EXPECT_EQ(variant.dblVal, -3.0);

  variant.vt = plat::VT_I4;
  variant.lVal = 7;
  EXPECT_EQ(plat::VariantChangeType(&variant, &variant, 0, plat::VT_R8), plat::S_OK);
  EXPECT_EQ(variant.dblVal, 7.0);

  variant.vt = plat::VT_R4;
  variant.fltVal = 1.5F;
  EXPECT_EQ(plat::VariantChangeType(&variant, &variant, 0, plat::VT_R8), plat::S_OK);
  EXPECT_EQ(variant.dblVal, 1.5);

  // Into another variant, whose string is released first.
  plat::VARIANT target;
  plat::VariantInit(&target);
  const plat::WCHAR text[] = {'x'};
  target.vt = plat::VT_BSTR;
  target.bstrVal = plat::SysAllocStringLen(text, 1);
  EXPECT_EQ(plat::VariantChangeType(&target, &variant, 0, plat::VT_R8), plat::S_OK);
  EXPECT_EQ(target.vt, plat::VT_R8);
  EXPECT_EQ(target.dblVal, 1.5);
}

TEST(Variant, ChangeTypeRefusesOtherTypesAndLeavesTheTarget) {
  plat::VARIANT variant;
  plat::VariantInit(&variant);
  variant.vt = plat::VT_BOOL;
  variant.boolVal = plat::VARIANT_TRUE;
  EXPECT_EQ(plat::VariantChangeType(&variant, &variant, 0, plat::VT_R8), plat::DISP_E_TYPEMISMATCH);
  EXPECT_EQ(variant.vt, plat::VT_BOOL);
  variant.vt = plat::VT_I4;
  EXPECT_EQ(plat::VariantChangeType(&variant, &variant, 0, plat::VT_I2), plat::DISP_E_TYPEMISMATCH);
  EXPECT_EQ(variant.vt, plat::VT_I4);
  EXPECT_EQ(plat::VariantChangeType(nullptr, &variant, 0, plat::VT_R8), plat::E_INVALIDARG);
}

} // namespace
