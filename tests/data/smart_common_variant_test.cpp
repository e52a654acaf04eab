// The common variant: typed access that raises and logs, the steps to and from the automation
// variant, and comparisons within and across types.

#include "basalt/data/smart_common_variant.h"
#include "basalt/errors/base_error.h"
#include "basalt/frame/static/static_objects.h"
#include "basalt/logging/core_log.h"
#include "basalt/platform/com/automation_strings.h"
#include "basalt/platform/runtime/event_log.h"
#include "support/registry_sandbox.h"
#include "support/scratch_directory.h"

#include <gtest/gtest.h>

namespace {

namespace plat = basalt::platform;
using basalt::test::units;

constexpr unsigned int wrongType = 0xC20170A6;

// The library logs through a log of the test's own that reads a registry where the module
// "basalt" logs errors and there is no log file, so records become events.
class SmartCommonVariantTest : public ::testing::Test {
protected:
  void SetUp() override {
    plat::setSyslogSocketPath(registry.path("no-syslog").c_str());
    registry.write("log.reg", "Windows Registry Editor Version 5.00\n\n"
                              "[HKEY_LOCAL_MACHINE\\Software\\Corvane Holdings\\10.0\\TRELL(o)"
                              "\\Log\\Modules\\basalt]\n\"Verbosity\"=dword:00000002\n");
    registry.useSources("log.reg");
    basalt::frame::libraryLog = &log;
  }
  void TearDown() override {
    basalt::frame::libraryLog = saved;
    plat::setSyslogSocketPath(nullptr);
  }

  basalt::testing::RegistrySandbox registry;
  basalt::CoreLog log;
  basalt::CoreLog* const saved = basalt::frame::libraryLog;
};

// Calls access, which must raise the wrong-type error, and checks the error.
template <typename Access> void expectWrongType(Access access) {
  try {
    access();
    ADD_FAILURE() << "no error raised";
  } catch (TRELL_o::AnyError& error) {
    EXPECT_EQ(error.code(), wrongType);
    EXPECT_EQ(error.level(), TRELL_o::AnyError::SeverityError);
    EXPECT_EQ(error.status(), TRELL_o::AnyError::CompletedDefault);
    EXPECT_TRUE(error.module() == "basalt");
    ASSERT_EQ(error.numInserts(), 1);
    EXPECT_EQ(error.getInsert(0)->code(), 0xC201A161u);
  }
}

TEST_F(SmartCommonVariantTest, WrongTypeAccessRaisesLogsAndChangesNothing) {
  const SmartCommonVariant empty;
  expectWrongType([&] { empty.Text(); });
  expectWrongType([&] { empty.Number(); });
  expectWrongType([&] { empty.Date(); });
  expectWrongType([&] { empty.Boolean(); });
  EXPECT_EQ(empty.Type(), CVT_EMPTY);
  const SmartCommonVariant number(1.5, 0);
  const SmartCommonVariant date(1.5, 1);
  expectWrongType([&] { number.Date(); });
  expectWrongType([&] { date.Number(); });
  EXPECT_EQ(number.Number(), 1.5);
  // Every raise left a record, though each was caught; the log's own notes on its
  // configuration are other events.
  int raised = 0;
  for (const auto& event : registry.events()) {
    if (event.event == wrongType) {
      ++raised;
      EXPECT_EQ(event.type, "error");
    }
  }
  EXPECT_EQ(raised, 6);
}

TEST_F(SmartCommonVariantTest, CopiesOwnTheirTextAndClearingIsFinal) {
  EXPECT_EQ(SmartCommonVariant(5).Boolean(), 5); // not reduced to 0 or 1
  EXPECT_EQ(SmartCommonVariant(static_cast<const unsigned short*>(nullptr)).Text().size(), 0u);
  auto* original = new SmartCommonVariant(KELPString("shared?"));
  SmartCommonVariant copy(*original);
  SmartCommonVariant assigned;
  assigned = *original;
  delete original;
  EXPECT_TRUE(copy.Text() == "shared?");
  const SmartCommonVariant& same = assigned;
  assigned = same; // a variant assigned to itself keeps its value
  EXPECT_TRUE(assigned.Text() == "shared?");
  copy.Clear();
  copy.Clear();
  EXPECT_EQ(copy.Type(), CVT_EMPTY);
}

TEST_F(SmartCommonVariantTest, ToAutomationVariant) {
  plat::VARIANT target;
  plat::VariantInit(&target);
  EXPECT_FALSE(SmartCommonVariant(1).Variant(nullptr));

  ASSERT_TRUE(SmartCommonVariant(5).Variant(&target));
  EXPECT_EQ(target.vt, plat::VT_BOOL);
  EXPECT_EQ(static_cast<unsigned short>(target.boolVal), 0xFFFF);
  ASSERT_TRUE(SmartCommonVariant(0).Variant(&target));
  EXPECT_EQ(target.boolVal, 0);

  const auto text = units(std::u16string_view(u"zwölf\u0000zehn", 10));
  ASSERT_TRUE(SmartCommonVariant(KELPString(text.data(), 10)).Variant(&target));
  ASSERT_EQ(target.vt, plat::VT_BSTR);
  EXPECT_EQ(plat::SysStringLen(target.bstrVal), 10u); // every unit, the zero unit too
  EXPECT_EQ(text, basalt::test::Units(target.bstrVal, 10));

  // The string the target held is released: the address sanitizer sees a leak otherwise.
  ASSERT_TRUE(SmartCommonVariant().Variant(&target));
  EXPECT_EQ(target.vt, plat::VT_EMPTY);

  ASSERT_TRUE(SmartCommonVariant(3.25, 1).Variant(&target));
  EXPECT_EQ(target.vt, plat::VT_DATE);
  EXPECT_EQ(target.date, 3.25);
  plat::VariantClear(&target);
}

// "type value" of the variant made from an automation variant of type vt set by set.
template <typename Set> std::string fromVariant(plat::VARTYPE vt, Set set) {
  plat::VARIANT source;
  plat::VariantInit(&source);
  source.vt = vt;
  set(source);
  SmartCommonVariant variant(KELPString("previous"));
  variant = source;
  const CommonVT type = variant.Type();
  if (type == CVT_EMPTY || type == CVT_TEXT || type == CVT_BOOLEAN) {
    return type == CVT_EMPTY  ? "empty"
           : type == CVT_TEXT ? "text " + variant.Text().string()
                              : "boolean " + std::to_string(variant.Boolean());
  }
  return (type == CVT_DATE ? "date " : "number ") +
         testing::PrintToString(type == CVT_DATE ? variant.Date() : variant.Number());
}

TEST_F(SmartCommonVariantTest, FromAutomationVariant) {
  plat::VARIANT source;
  plat::VariantInit(&source);
  source.vt = plat::VT_I4;
  source.lVal = 7;
  EXPECT_EQ(SmartCommonVariant(source).Number(), 7.0);
  EXPECT_EQ(source.vt, plat::VT_R8); // the caller's variant was converted in place

  EXPECT_EQ(fromVariant(plat::VT_I2, [](auto& v) { v.iVal = -3; }), "number -3");
  // A float isn't taken, and the previous value is gone.
  EXPECT_EQ(fromVariant(plat::VT_R4, [](auto& v) { v.fltVal = 1.0F; }), "empty");
  // Only VARIANT_TRUE counts as true.
  EXPECT_EQ(fromVariant(plat::VT_BOOL, [](auto& v) { v.boolVal = 1; }), "boolean 0");
  EXPECT_EQ(fromVariant(plat::VT_BOOL, [](auto& v) { v.boolVal = plat::VARIANT_TRUE; }),
            "boolean 1");
  EXPECT_EQ(fromVariant(plat::VT_BSTR, [](auto& v) { v.bstrVal = nullptr; }), "text ");
  EXPECT_EQ(fromVariant(plat::VT_DATE, [](auto& v) { v.date = 45000.5; }), "date 45000.5");
  EXPECT_EQ(fromVariant(plat::VT_NULL, [](auto&) {}), "empty");
}

TEST_F(SmartCommonVariantTest, ComparisonsWithinAndAcrossTypes) {
  const SmartCommonVariant empty;
  const SmartCommonVariant yes(1);
  EXPECT_TRUE(empty == yes);
  EXPECT_FALSE(empty < yes);
  EXPECT_FALSE(empty > yes);
  expectWrongType([&] { static_cast<void>(yes == empty); });
  expectWrongType(
      [&] { static_cast<void>(SmartCommonVariant(1.0, 0) < SmartCommonVariant(1.0, 1)); });
  expectWrongType([&] { static_cast<void>(SmartCommonVariant(KELPString("1")) > yes); });

  EXPECT_FALSE(yes == SmartCommonVariant(2)); // both true, yet different values
  EXPECT_TRUE(SmartCommonVariant(-1) < yes);  // signed
  EXPECT_TRUE(SmartCommonVariant(2.5, 1) > SmartCommonVariant(2.25, 1));

  // Unit order, not a language's: 'Z' (0x5A) sorts before 'a' (0x61), 'é' after both.
  const SmartCommonVariant upper(KELPString("Z"));
  const SmartCommonVariant lower(KELPString("a"));
  const SmartCommonVariant accented(KELPString(units(u"\u00e9").c_str()));
  EXPECT_TRUE(upper < lower);
  EXPECT_TRUE(accented > lower);

  // Equality stops at a zero unit; the greater-than of the base string doesn't.
  const auto left = units(std::u16string_view(u"a\u0000b", 3));
  const auto right = units(std::u16string_view(u"a\u0000a", 3));
  const SmartCommonVariant first(KELPString(left.data(), 3));
  const SmartCommonVariant second(KELPString(right.data(), 3));
  EXPECT_TRUE(first == second);
  EXPECT_TRUE(first > second);
}

} // namespace
