#include "basalt/crash/excp_error.h"
#include "basalt/crash/trace_translator.h"
#include "basalt/logging/core_log.h"
#include "tests/support/registry_sandbox.h"
#include "tests/support/scratch_directory.h"

#include <gtest/gtest.h>
#include <thread>

namespace {

namespace plat = basalt::platform;
using basalt::crash::translateStructuredException;
using basalt::crash::translationActive;

class ExcpErrorTest : public ::testing::Test {
protected:
  basalt::test::ScratchDirectory temp;
  basalt::test::EnvironmentVariable tmpdir{"TMPDIR", temp.path().c_str()};
};

TEST_F(ExcpErrorTest, IsTheSameFixedErrorWhateverTheFault) {
  // Static: a report is skipped for the context address of the last one.
  static plat::CONTEXT context{};
  context.Rip = 1;
  plat::EXCEPTION_RECORD record{};
  plat::EXCEPTION_POINTERS pointers{&record, &context};
  bool active = true;
  TRELL_o::ExcpError error(plat::EXCEPTION_ACCESS_VIOLATION, &pointers, &active);
  EXPECT_FALSE(active);
  EXPECT_NE(temp.read("LowmarshTrace.log").find("Start of Stack Dump"), std::string::npos);

  const TRELL_o::ExcpError copy = error;
  for (const TRELL_o::ExcpError* each : {static_cast<const TRELL_o::ExcpError*>(&error), &copy}) {
    EXPECT_EQ(each->code(), 0xC2011F00U);
    EXPECT_EQ(each->level(), TRELL_o::AnyError::SeverityCritical);
    EXPECT_EQ(each->module(), KELPString("StructuredException"));
    EXPECT_EQ(each->getInsert(0), nullptr);
  }
  EXPECT_EQ(error.getText(basalt::getLogObject()),
            KELPString("Structured Exception - stack will be traced"));
}

TEST_F(ExcpErrorTest, TheTranslatorThrowsUnlessATranslationIsUnderWay) {
  static plat::CONTEXT context{};
  context.Rip = 2;
  plat::EXCEPTION_RECORD record{};
  plat::EXCEPTION_POINTERS pointers{&record, &context};

  translationActive = true;
  EXPECT_NO_THROW(translateStructuredException(plat::EXCEPTION_ACCESS_VIOLATION, &pointers));
  EXPECT_TRUE(translationActive);
  EXPECT_FALSE(std::filesystem::exists(temp.path() / "LowmarshTrace.log"));

  translationActive = false;
  try {
    translateStructuredException(plat::EXCEPTION_INT_DIVIDE_BY_ZERO, &pointers);
    ADD_FAILURE() << "nothing thrown";
  } catch (TRELL_o::AnyError& error) {
    EXPECT_EQ(error.code(), 0xC2011F00U);
  }
  EXPECT_FALSE(translationActive);
  EXPECT_NE(temp.read("LowmarshTrace.log").find("Start of Stack Dump"), std::string::npos);
}

// Which translator installTraceTranslator leaves on a new thread, for a DoTrace value.
plat::_se_translator_function translatorFor(basalt::testing::RegistrySandbox& registry,
                                            const std::string& value) {
  registry.write("trace.reg", "Windows Registry Editor Version 5.00\n\n"
                              "[HKEY_LOCAL_MACHINE\\Software\\Corvane Holdings\\10.0\\TRELL(o)\\"
                              "Trace]\n" +
                                  value + "\n");
  registry.useSources("trace.reg");
  plat::_se_translator_function installed = nullptr;
  std::thread([&] {
    basalt::crash::installTraceTranslator();
    installed = plat::_set_se_translator(nullptr);
  }).join();
  return installed;
}

TEST(InstallTraceTranslator, FollowsTheSwitchOnTheCallingThreadOnly) {
  basalt::testing::RegistrySandbox registry;
  EXPECT_EQ(translatorFor(registry, "\"DoTrace\"=dword:00000001"), &translateStructuredException);
  EXPECT_EQ(translatorFor(registry, "\"DoTrace\"=dword:ffffffff"), &translateStructuredException);
  EXPECT_EQ(translatorFor(registry, "\"DoTrace\"=dword:00000000"), nullptr);
  EXPECT_EQ(translatorFor(registry, "\"DoTrace\"=\"1\""), nullptr);
  EXPECT_EQ(translatorFor(registry, "\"Other\"=dword:00000001"), nullptr);
  // The threads above set nothing here.
  EXPECT_EQ(plat::_set_se_translator(nullptr), nullptr);
}

} // namespace
