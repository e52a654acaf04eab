#include "basalt/platform/com/automation_strings.h"
#include "basalt/platform/com/guid.h"
#include "basalt/platform/com/variant.h"

#include <gtest/gtest.h>
#include <set>
#include <string>

namespace plat = basalt::platform;

namespace {

plat::VARIANT textVariant() {
  plat::VARIANT variant;
  plat::VariantInit(&variant);
  const plat::WCHAR text[] = {'a', 'b'};
  variant.vt = plat::VT_BSTR;
  variant.bstrVal = plat::SysAllocStringLen(text, 2);
  return variant;
}

// The common variant's tests in tests/data change I2 and I4 in place and clear strings.
TEST(Variant, ClearEmptiesAndChangeTypeMakesDoublesOfNumbersOnly) {
  EXPECT_EQ(plat::VariantClear(nullptr), plat::E_INVALIDARG);

  plat::VARIANT variant;
  plat::VariantInit(&variant);
  variant.vt = plat::VT_R4;
  variant.fltVal = 1.5F;
  // Into another variant, whose string is released first.
  plat::VARIANT target = textVariant();
  EXPECT_EQ(plat::VariantChangeType(&target, &variant, 0, plat::VT_R8), plat::S_OK);
  EXPECT_EQ(target.vt, plat::VT_R8);
  EXPECT_EQ(target.dblVal, 1.5);

  // Other types are refused and the target stays as it was.
  variant.vt = plat::VT_BOOL;
  variant.boolVal = plat::VARIANT_TRUE;
  EXPECT_EQ(plat::VariantChangeType(&variant, &variant, 0, plat::VT_R8), plat::DISP_E_TYPEMISMATCH);
  EXPECT_EQ(variant.vt, plat::VT_BOOL);
  variant.vt = plat::VT_I4;
  EXPECT_EQ(plat::VariantChangeType(&variant, &variant, 0, plat::VT_I2), plat::DISP_E_TYPEMISMATCH);
  EXPECT_EQ(variant.vt, plat::VT_I4);
  EXPECT_EQ(plat::VariantChangeType(nullptr, &variant, 0, plat::VT_R8), plat::E_INVALIDARG);
}

TEST(CoCreateGuid, GuidsAreRandomOfVersionFour) {
  std::set<std::string> seen;
  for (int i = 0; i < 1000; ++i) {
    plat::GUID guid{};
    ASSERT_EQ(plat::CoCreateGuid(&guid), 0);
    EXPECT_EQ(guid.Data3 >> 12, 4);
    EXPECT_EQ(guid.Data4[0] >> 6, 2);
    seen.emplace(reinterpret_cast<const char*>(&guid), sizeof(guid));
  }
  EXPECT_EQ(seen.size(), 1000u);
  EXPECT_EQ(plat::CoCreateGuid(nullptr), static_cast<plat::HRESULT>(0x80070057));
}

} // namespace
