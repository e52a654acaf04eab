#include "basalt/platform/registry/registry_store.h"
#include "basalt/system/registry_wrapper.h"
#include "support/registry_sandbox.h"

#include <atomic>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>
#include <vector>

namespace {

namespace plat = basalt::platform;

const char logPath[] = "Software\\Corvane Holdings\\10.0\\TRELL(o)\\Log";
const char logKey[] = "[HKEY_LOCAL_MACHINE]Software\\Corvane Holdings\\10.0\\TRELL(o)\\Log";

class RegistryWrapperTest : public ::testing::Test {
protected:
  void SetUp() override {
    const std::string log = "[HKEY_LOCAL_MACHINE\\" + std::string(logPath);
    sandbox.write("registry.reg", "Windows Registry Editor Version 5.00\n\n" + log +
                                      "]\n"
                                      "\"LogFile\"=\"basalt.log\"\n\"Overwrite\"=dword:00000001\n"
                                      "\"Zero\"=dword:0\n\"Empty\"=\"\"\n\"One\"=\"1\"\n"
                                      "\"Big\"=hex(5):00,00,00,01\n"
                                      "\"Multi\"=hex(7):61,00,00,00,62,00,00,00,00,00\n"
                                      "\"Short\"=hex(4):2a,00\n\"Long\"=hex(4):2a,00,00,00,00\n"
                                      "@=\"default\"\n" +
                                      log + "\\Modules\\SUPPORT]\n\"Verbosity\"=dword:4\n" + log +
                                      "\\Modules\\Alpha\\Components\\Net]\n" + log +
                                      "\\Modules\\beta]\n" + log + "\\Modules\\_under]\n" + log +
                                      "\\Modules\\\xC3\x84rger]\n" + log +
                                      "\\Modules\\\xC3\xA4pfel]\n"
                                      "[HKEY_CURRENT_USER\\Flat]\n\"v\"=\"flat\"\n");
    sandbox.useSources("registry.reg");
  }

  // "yes" or "no" for what the read of value says, and what the variable holds after it.
  template <class Value> std::string read(const char* value, Value held) {
    const bool found =
        registry.readRegKeyValue(RegistryWrapper::LocalMachine, logPath, value, held, nullptr);
    if constexpr (std::is_same_v<Value, KELPString>) {
      return (found ? "yes " : "no ") + held.string();
    } else {
      return (found ? "yes " : "no ") + std::to_string(held);
    }
  }

  basalt::testing::RegistrySandbox sandbox;
  RegistryWrapper registry;
};

TEST_F(RegistryWrapperTest, EachOverloadReadsEachKindOfValueItsOwnWay) {
  const KELPString before("before");
  EXPECT_EQ(read("logfile", before), "yes basalt.log");
  EXPECT_EQ(read("Overwrite", before), "yes before"); // a number leaves the text alone...
  EXPECT_EQ(read("Overwrite", KELPString()), "no ");  // ...and an empty text is no text
  EXPECT_EQ(read("Empty", before), "no ");
  EXPECT_EQ(read("Missing", before), "no before");
  EXPECT_EQ(read("Multi", before), "yes a");
  EXPECT_EQ(read("Big", before), "no "); // starts with NUL
  EXPECT_EQ(read("", before), "yes default");

  EXPECT_EQ(read("Overwrite", std::uint32_t{99}), "yes 1");
  EXPECT_EQ(read("Short", std::uint32_t{99}), "yes 42");
  EXPECT_EQ(read("Long", std::uint32_t{99}), "yes 0"); // too long to read into a number
  EXPECT_EQ(read("Big", std::uint32_t{99}), "yes 99");
  EXPECT_EQ(read("LogFile", std::uint32_t{99}), "yes 99");
  EXPECT_EQ(read("Missing", std::uint32_t{99}), "no 99");

  EXPECT_EQ(read("Overwrite", false), "yes 1");
  EXPECT_EQ(read("One", true), "yes 0"); // text is never a yes
  EXPECT_EQ(read("Zero", true), "yes 0");
  EXPECT_EQ(read("Missing", true), "no 1");
}

TEST_F(RegistryWrapperTest, KeysHandedOutStayOpenAndFailuresAreKeptUntilTheNext) {
  EXPECT_EQ(registry.getErrorText().string(), ": The operation completed successfully.");
  RegistryKey* key = nullptr;
  KELPString text;
  EXPECT_FALSE(
      registry.readRegKeyValue(RegistryWrapper::LocalMachine, logPath, "Missing", text, &key));
  ASSERT_NE(key, nullptr);
  EXPECT_EQ(registry.getErrorText().string(),
            std::string(logKey) + "\\Missing: The system cannot find the file specified.");
  std::uint32_t number = 0;
  EXPECT_TRUE(registry.readRegKeyValue(key, "Overwrite", number));
  EXPECT_EQ(number, 1u);

  EXPECT_FALSE(
      registry.readRegKeyValue(RegistryWrapper::LocalMachine, "Software\\Nope", "x", number, &key));
  EXPECT_EQ(key, nullptr);
  EXPECT_TRUE(registry.readRegKeyValue(RegistryWrapper::CurrentUser, "Flat", "V", text, &key));
  ASSERT_NE(key, nullptr);
  EXPECT_EQ(registry.getErrorText().string(),
            "[HKEY_LOCAL_MACHINE]Software\\Nope: The system cannot find the file specified.");

  EXPECT_FALSE(registry.readRegKeyValue(static_cast<RegistryKey*>(nullptr), "x", text));
  EXPECT_EQ(registry.getErrorText().string(), "\\x: The handle is invalid.");
}

TEST_F(RegistryWrapperTest, EnumeratedSubKeysAreOpenedFromTheRootAndOutliveTheCall) {
  const std::string modules = std::string(logPath) + "\\Modules";
  std::vector<RegistryKey*> keys;
  ASSERT_TRUE(registry.enumRegKeys(RegistryWrapper::LocalMachine, modules.c_str(), keys));
  std::string names;
  for (RegistryKey* key : keys) {
    names += basalt::test::narrow(key->getName()) + " ";
  }
  // Case-blind order, and letters beyond ASCII after all of ASCII.
  EXPECT_EQ(names, "Alpha beta SUPPORT _under \xC3\xA4pfel \xC3\x84rger ");

  // Appended to what the list holds.
  ASSERT_TRUE(registry.enumRegKeys(keys[0], keys));
  ASSERT_EQ(keys.size(), 7u);
  EXPECT_EQ(keys[6]->getPathName().string(), modules + "\\Alpha\\Components");
  std::vector<RegistryKey*> none;
  ASSERT_TRUE(registry.enumRegKeys(RegistryWrapper::LocalMachine,
                                   (modules + "\\ALPHA\\Components\\Net").c_str(), none));
  ASSERT_TRUE(registry.enumRegKeys(RegistryWrapper::LocalMachine,
                                   (modules + "\\\xC3\xA4RGER").c_str(), none));
  EXPECT_TRUE(none.empty());

  EXPECT_FALSE(registry.enumRegKeys(RegistryWrapper::LocalMachine, "Software\\Missing", none));
  EXPECT_EQ(registry.getErrorText().string(),
            "[HKEY_LOCAL_MACHINE]Software\\Missing: The system cannot find the file specified.");
  EXPECT_FALSE(registry.enumRegKeys(nullptr, none));

  // With an empty path every sub-key path starts with a backslash, which no key opens by.
  EXPECT_TRUE(registry.enumRegKeys(RegistryWrapper::LocalMachine, "", none));
  EXPECT_TRUE(none.empty());
  EXPECT_EQ(registry.getErrorText().string(),
            "[HKEY_LOCAL_MACHINE]\\Software: The specified path is invalid.");
}

// Later sources override earlier ones, and a change shows on the next open of a key, not in
// keys held open; a file is parsed again only when its time or size changes.
TEST_F(RegistryWrapperTest, LaterSourcesWinAndChangesShowOnTheNextOpenOnly) {
  const auto logFile = [](const std::string& value) {
    return "Windows Registry Editor Version 5.00\n\n[HKLM\\" + std::string(logPath) +
           "]\n\"LogFile\"=\"" + value + "\"\n";
  };
  sandbox.write("conf.d/20-second.reg", logFile("second"));
  sandbox.write("conf.d/10-first.reg", logFile("first") + "\"Order\"=\"10\"\n");
  sandbox.write("conf.d/.hidden.reg", logFile("hidden") + "\"Hidden\"=\"1\"\n");
  sandbox.write("conf.d/notes.txt", logFile("notes"));
  sandbox.useSources("registry.reg:conf.d");
  EXPECT_EQ(read("LogFile", KELPString()), "yes second");
  EXPECT_EQ(read("Order", KELPString()), "yes 10");
  EXPECT_EQ(read("Hidden", KELPString()), "no ");
  sandbox.useSources("conf.d:registry.reg");
  EXPECT_EQ(read("LogFile", KELPString()), "yes basalt.log");

  sandbox.write("cache.reg", logFile("aaaa") + "broken\n", 1000);
  sandbox.useSources("cache.reg");
  RegistryKey* held = nullptr;
  KELPString text;
  ASSERT_TRUE(
      registry.readRegKeyValue(RegistryWrapper::LocalMachine, logPath, "LogFile", text, &held));
  // Same size and time: the parse made before stands, though the bytes differ.
  sandbox.write("cache.reg", logFile("bbbb") + "broken\n", 1000);
  EXPECT_EQ(read("LogFile", KELPString()), "yes aaaa");
  sandbox.setTime("cache.reg", 2000);
  EXPECT_EQ(read("LogFile", KELPString()), "yes bbbb");
  EXPECT_TRUE(registry.readRegKeyValue(held, "LogFile", text));
  EXPECT_EQ(text, "aaaa");
  sandbox.write("cache.reg", logFile("ccccc"), 2000);
  EXPECT_EQ(read("LogFile", KELPString()), "yes ccccc");
  EXPECT_EQ(sandbox.events().size(), 2u); // the broken line, once per version of its file
}

// Each problem of a file is one event; the reads go on past it.
TEST_F(RegistryWrapperTest, BadLinesAndUnreadableFilesAreEachOneEvent) {
  const std::string bad =
      sandbox.write("bad.reg", "REGEDIT4\n[HKEY_LOCAL_MACHINE\\" + std::string(logPath) +
                                   "]\n\"w\"=dword:xyz\n\"v\"=\"kept\"\n");
  ASSERT_EQ(::mkfifo(sandbox.path("pipe.reg").c_str(), 0600), 0);
  sandbox.useSources("bad.reg:pipe.reg");
  EXPECT_EQ(read("v", KELPString()), "yes kept");

  const std::vector<std::optional<std::string>> strings[] = {
      {bad, "3", "dword: needs 1 to 8 hexadecimal digits"},
      {sandbox.path("pipe.reg"), "not a regular file"}};
  const auto events = sandbox.events();
  ASSERT_EQ(events.size(), 2u);
  for (std::size_t i = 0; i < events.size(); ++i) {
    const bool line = events[i].strings.size() == 3;
    EXPECT_EQ(events[i].source, "basalt registry");
    EXPECT_EQ(events[i].type, line ? "warning" : "error");
    EXPECT_EQ(events[i].category, 0u);
    EXPECT_EQ(events[i].event,
              line ? plat::registryLineSkippedEvent : plat::registryFileUnreadableEvent);
    EXPECT_EQ(events[i].strings, strings[i]);
  }
}

TEST_F(RegistryWrapperTest, ReadersOnManyThreadsSeeWholeVersionsWhileTheFileIsReplaced) {
  const auto version = [](int n) {
    std::string file = "REGEDIT4\n[HKEY_LOCAL_MACHINE\\" + std::string(logPath) + "]\n";
    for (int i = 0; i < 10; ++i) {
      file += "\"v" + std::to_string(i) + "\"=\"" + std::to_string(n) + "\"\n";
    }
    return file;
  };
  sandbox.write("r.reg", version(0), 1);
  sandbox.useSources("r.reg");
  std::atomic<bool> stop{false};
  std::atomic<int> failures{0};
  std::vector<std::thread> readers;
  readers.reserve(4);
  for (int t = 0; t < 4; ++t) {
    readers.emplace_back([&] {
      while (!stop) {
        // One key, one version.
        RegistryWrapper reader;
        RegistryKey* key = nullptr;
        KELPString first;
        KELPString fifth;
        KELPString last;
        const bool whole =
            reader.readRegKeyValue(RegistryWrapper::LocalMachine, logPath, "v0", first, &key) &&
            reader.readRegKeyValue(key, "v5", fifth) && reader.readRegKeyValue(key, "v9", last);
        failures += !whole || fifth != first || last != first ? 1 : 0;
      }
    });
  }
  for (int n = 1; n <= 40; ++n) {
    // Replaced whole, as an editor saves, so a reader never meets half a file.
    sandbox.write("next.reg", version(n), n + 1);
    std::filesystem::rename(sandbox.path("next.reg"), sandbox.path("r.reg"));
  }
  stop = true;
  for (auto& reader : readers) {
    reader.join();
  }
  EXPECT_EQ(failures, 0);
  EXPECT_EQ(read("v9", KELPString()), "yes 40");
  EXPECT_TRUE(sandbox.events().empty());
}

} // namespace
