#include "../support/registry_sandbox.h"
#include "basalt/system/registry_wrapper.h"

#include <gtest/gtest.h>
#include <vector>

namespace {

using basalt::testing::RegistrySandbox;

std::string utf8(const KELPString& text) {
  std::vector<char> buffer(text.size() * 3 + 1);
  text.toUTF8(buffer.data(), static_cast<unsigned int>(buffer.size()));
  return buffer.data();
}

const char logPath[] = "Software\\Corvane Holdings\\10.0\\TRELL(o)\\Log";

class RegistryWrapperTest : public ::testing::Test {
protected:
  void SetUp() override {
    const std::string log = "[HKEY_LOCAL_MACHINE\\" + std::string(logPath);
    sandbox.write("registry.reg",
                  "Windows Registry Editor Version 5.00\n\n" + log +
                      "]\n"
                      "\"LogFile\"=\"basalt.log\"\n\"Overwrite\"=dword:00000001\n"
                      "\"Zero\"=dword:0\n\"Empty\"=\"\"\n\"One\"=\"1\"\n"
                      "\"Big\"=hex(5):00,00,00,01\n"
                      "\"Multi\"=hex(7):61,00,00,00,62,00,00,00,00,00\n"
                      "\"Expand\"=hex(2):25,00,50,00,41,00,54,00,48,00,25,00,00,00\n"
                      "\"Short\"=hex(4):2a,00\n" +
                      log + "\\Modules\\SUPPORT]\n\"Verbosity\"=dword:4\n" + log +
                      "\\Modules\\Alpha\\Components\\Net]\n"
                      "[HKEY_CURRENT_USER\\Flat]\n\"v\"=\"flat\"\n");
    sandbox.useSources("registry.reg");
  }

  RegistrySandbox sandbox;
  RegistryWrapper registry;
};

TEST_F(RegistryWrapperTest, EachOverloadReadsEachKindOfValueItsOwnWay) {
  const auto root = RegistryWrapper::LocalMachine;
  KELPString text = "before";
  EXPECT_TRUE(registry.readRegKeyValue(root, logPath, "logfile", text, nullptr));
  EXPECT_EQ(utf8(text), "basalt.log");
  EXPECT_TRUE(registry.readRegKeyValue(root, logPath, "Overwrite", text, nullptr));
  EXPECT_EQ(utf8(text), "basalt.log"); // a number leaves the text alone
  text = "";
  EXPECT_FALSE(registry.readRegKeyValue(root, logPath, "Overwrite", text, nullptr));
  text = "before";
  EXPECT_FALSE(registry.readRegKeyValue(root, logPath, "Empty", text, nullptr));
  EXPECT_EQ(utf8(text), "");
  text = "before";
  EXPECT_FALSE(registry.readRegKeyValue(root, logPath, "Missing", text, nullptr));
  EXPECT_EQ(utf8(text), "before");
  EXPECT_TRUE(registry.readRegKeyValue(root, logPath, "Multi", text, nullptr));
  EXPECT_EQ(utf8(text), "a");
  EXPECT_TRUE(registry.readRegKeyValue(root, logPath, "Expand", text, nullptr));
  EXPECT_EQ(utf8(text), "%PATH%");
  EXPECT_FALSE(registry.readRegKeyValue(root, logPath, "Big", text, nullptr)); // starts with NUL

  std::uint32_t number = 99;
  EXPECT_TRUE(registry.readRegKeyValue(root, logPath, "Overwrite", number, nullptr));
  EXPECT_EQ(number, 1u);
  EXPECT_TRUE(registry.readRegKeyValue(root, logPath, "Short", number, nullptr));
  EXPECT_EQ(number, 42u);
  number = 99;
  EXPECT_TRUE(registry.readRegKeyValue(root, logPath, "Big", number, nullptr));
  EXPECT_TRUE(registry.readRegKeyValue(root, logPath, "LogFile", number, nullptr));
  EXPECT_FALSE(registry.readRegKeyValue(root, logPath, "Missing", number, nullptr));
  EXPECT_EQ(number, 99u);

  bool flag = false;
  EXPECT_TRUE(registry.readRegKeyValue(root, logPath, "Overwrite", flag, nullptr));
  EXPECT_TRUE(flag);
  EXPECT_TRUE(registry.readRegKeyValue(root, logPath, "One", flag, nullptr));
  EXPECT_FALSE(flag); // text is never a yes
  flag = true;
  EXPECT_TRUE(registry.readRegKeyValue(root, logPath, "Zero", flag, nullptr));
  EXPECT_FALSE(flag);
  flag = true;
  EXPECT_FALSE(registry.readRegKeyValue(root, logPath, "Missing", flag, nullptr));
  EXPECT_TRUE(flag);
}

TEST_F(RegistryWrapperTest, KeysHandedOutStayOpenAndFailuresAreKeptUntilTheNext) {
  EXPECT_EQ(utf8(registry.getErrorText()), ": The operation completed successfully.");

  RegistryKey* key = nullptr;
  KELPString text;
  EXPECT_FALSE(
      registry.readRegKeyValue(RegistryWrapper::LocalMachine, logPath, "Missing", text, &key));
  ASSERT_NE(key, nullptr);
  EXPECT_TRUE(key->isOpen());
  EXPECT_EQ(utf8(key->getName()), "Log");
  EXPECT_EQ(utf8(key->getFullPath()), "[HKEY_LOCAL_MACHINE]" + std::string(logPath));
  EXPECT_EQ(utf8(registry.getErrorText()), "[HKEY_LOCAL_MACHINE]" + std::string(logPath) +
                                               "\\Missing: The system cannot find the file "
                                               "specified.");
  std::uint32_t number = 0;
  EXPECT_TRUE(registry.readRegKeyValue(key, "Overwrite", number));
  EXPECT_EQ(number, 1u);
  EXPECT_TRUE(registry.readRegKeyValue(key, "LogFile", text));
  EXPECT_EQ(utf8(text), "basalt.log");

  EXPECT_FALSE(
      registry.readRegKeyValue(RegistryWrapper::LocalMachine, "Software\\Nope", "x", number, &key));
  EXPECT_EQ(key, nullptr);
  EXPECT_TRUE(registry.readRegKeyValue(RegistryWrapper::CurrentUser, "Flat", "V", text, &key));
  ASSERT_NE(key, nullptr);
  EXPECT_EQ(utf8(key->getName()), "Flat");
  EXPECT_EQ(key->getLastError(), 0u);
  EXPECT_EQ(utf8(registry.getErrorText()),
            "[HKEY_LOCAL_MACHINE]Software\\Nope: The system cannot find the file specified.");

  EXPECT_FALSE(registry.readRegKeyValue(static_cast<RegistryKey*>(nullptr), "x", text));
  EXPECT_EQ(utf8(registry.getErrorText()), "\\x: The handle is invalid.");
}

TEST_F(RegistryWrapperTest, EnumeratedSubKeysAreOpenedFromTheRootAndOutliveTheCall) {
  const std::string modules = std::string(logPath) + "\\Modules";
  std::vector<RegistryKey*> keys;
  ASSERT_TRUE(registry.enumRegKeys(RegistryWrapper::LocalMachine, modules.c_str(), keys));
  ASSERT_EQ(keys.size(), 2u);
  EXPECT_EQ(utf8(keys[0]->getPathName()), modules + "\\Alpha");
  EXPECT_EQ(utf8(keys[1]->getName()), "SUPPORT");
  std::uint32_t verbosity = 0;
  EXPECT_TRUE(registry.readRegKeyValue(keys[1], "Verbosity", verbosity));
  EXPECT_EQ(verbosity, 4u);

  ASSERT_TRUE(registry.enumRegKeys(keys[0], keys));
  ASSERT_EQ(keys.size(), 3u);
  EXPECT_EQ(utf8(keys[2]->getPathName()), modules + "\\Alpha\\Components");
  ASSERT_TRUE(registry.enumRegKeys(keys[0], keys));
  EXPECT_EQ(keys.size(), 4u);
  std::vector<RegistryKey*> none;
  ASSERT_TRUE(registry.enumRegKeys(RegistryWrapper::LocalMachine,
                                   (modules + "\\Alpha\\Components\\Net").c_str(), none));
  EXPECT_TRUE(none.empty());

  EXPECT_FALSE(registry.enumRegKeys(RegistryWrapper::LocalMachine, "Software\\Missing", none));
  EXPECT_EQ(utf8(registry.getErrorText()),
            "[HKEY_LOCAL_MACHINE]Software\\Missing: The system cannot find the file specified.");
  EXPECT_FALSE(registry.enumRegKeys(nullptr, none));

  // With an empty path every sub-key path starts with a backslash, which no key opens by.
  EXPECT_TRUE(registry.enumRegKeys(RegistryWrapper::LocalMachine, "", none));
  EXPECT_TRUE(none.empty());
  EXPECT_EQ(utf8(registry.getErrorText()),
            "[HKEY_LOCAL_MACHINE]\\Software: The specified path is invalid.");
}

} // namespace
