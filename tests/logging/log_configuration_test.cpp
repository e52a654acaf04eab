#include "basalt/frame/static_objects.h"
#include "basalt/logging/core_log.h"
#include "basalt/logging/core_log_impl.h"
#include "basalt/logging/log_app.h"
#include "basalt/system/file.h"
#include "log_sandbox.h"

#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>

namespace {

using basalt::CoreLog;
using basalt::CoreLogImpl;
using basalt::test::logKey;
using basalt::test::LogSandbox;
using basalt::test::narrow;
using basalt::test::regText;

constexpr std::uint32_t ofMessage = 0xC2010001;

std::string library(std::string text) {
  for (char& c : text) {
    c = c == '/' ? '\\' : c;
  }
  return text;
}

std::string module(const std::string& name, const std::string& values) {
  return logKey("Modules\\" + name) + values;
}

std::string component(const std::string& moduleName, const std::string& name,
                      const std::string& values) {
  return logKey("Modules\\" + moduleName + "\\Components\\" + name) + values;
}

std::string verbosity(unsigned int number) {
  char digits[16];
  std::snprintf(digits, sizeof digits, "%x", number);
  return std::string("\"Verbosity\"=dword:") + digits + "\n";
}

class LogConfiguration : public ::testing::Test {
protected:
  CoreLog::VerbosityType threshold(CoreLogImpl& impl, const char* moduleName,
                                   const char* componentName) {
    return *impl.getVerbosity(moduleName, componentName);
  }

  LogSandbox sandbox;
};

TEST_F(LogConfiguration, RegistryNumbersMapToThresholdsAndOnlyTenReachesAll) {
  std::string body = logKey();
  const unsigned int numbers[] = {0, 1, 2, 3, 4, 5, 6, 9, 10, 11, 0xFFFFFFFF};
  const CoreLog::VerbosityType expected[] = {
      CoreLog::VerbosityOff,     CoreLog::VerbosityCritical,    CoreLog::VerbosityError,
      CoreLog::VerbosityWarning, CoreLog::VerbosityInformation, CoreLog::VerbosityDetail,
      CoreLog::VerbosityDetail,  CoreLog::VerbosityDetail,      CoreLog::VerbosityAll,
      CoreLog::VerbosityDetail,  CoreLog::VerbosityDetail};
  for (const unsigned int number : numbers) {
    body += module("M" + std::to_string(number), verbosity(number));
  }
  sandbox.configure(body);
  CoreLogImpl impl;
  EXPECT_EQ(impl.maxVerbosity, CoreLog::VerbosityAll);
  for (std::size_t i = 0; i < std::size(numbers); ++i) {
    const std::string name = "M" + std::to_string(numbers[i]);
    EXPECT_EQ(threshold(impl, name.c_str(), ""), expected[i]) << name;
  }
  // Without 10 the highest is what 5 and above give.
  sandbox.configure(module("A", verbosity(7)) + module("B", verbosity(2)));
  CoreLogImpl detail;
  EXPECT_EQ(detail.maxVerbosity, CoreLog::VerbosityDetail);
}

TEST_F(LogConfiguration, ComponentReplacesItsModulesThresholdUpAndDown) {
  sandbox.configure(module("SUPPORT", verbosity(5)) + component("SUPPORT", "Quiet", verbosity(0)) +
                    component("SUPPORT", "Loud", verbosity(10)) +
                    component("SUPPORT", "Bare", "\"Other\"=dword:1\n") + module("Silent", "") +
                    component("Silent", "Only", verbosity(3)));
  CoreLogImpl impl;
  EXPECT_EQ(threshold(impl, "SUPPORT", ""), CoreLog::VerbosityDetail);
  EXPECT_EQ(threshold(impl, "SUPPORT", "Quiet"), CoreLog::VerbosityOff);
  EXPECT_EQ(threshold(impl, "SUPPORT", "Loud"), CoreLog::VerbosityAll);
  EXPECT_EQ(threshold(impl, "SUPPORT", "Bare"), CoreLog::VerbosityDetail);
  EXPECT_EQ(threshold(impl, "SUPPORT", "Unknown"), CoreLog::VerbosityDetail);
  EXPECT_EQ(threshold(impl, "Silent", "Only"), CoreLog::VerbosityWarning);
  EXPECT_EQ(threshold(impl, "Silent", ""), CoreLog::VerbosityOff);
  // A component counts only under its own module.
  EXPECT_EQ(threshold(impl, "Elsewhere", "Loud"), CoreLog::VerbosityOff);
  ASSERT_NE(impl.findModule("SUPPORT"), nullptr);
  EXPECT_EQ(impl.findModule("SUPPORT")->componentCount, 2);

  // Through the log: records pass by the pair's threshold (no log file: events, up to 5).
  const auto write = [&](CoreLog::VerbosityType level, const char* moduleName,
                         const char* componentName) {
    return impl.writeRecord(ofMessage, level, moduleName, componentName, 0, nullptr);
  };
  EXPECT_TRUE(write(CoreLog::VerbosityDetail, "SUPPORT", "Unknown"));
  EXPECT_FALSE(write(CoreLog::VerbosityCritical, "SUPPORT", "Quiet"));
  EXPECT_TRUE(write(CoreLog::VerbosityWarning, "Silent", "Only"));
  EXPECT_FALSE(write(CoreLog::VerbosityInformation, "Silent", "Only"));
  EXPECT_FALSE(write(CoreLog::VerbosityCritical, "Silent", ""));

  // Without 10 anywhere, a component's 3 is the highest threshold.
  sandbox.configure(module("Silent", "") + component("Silent", "Only", verbosity(3)));
  CoreLogImpl low;
  EXPECT_EQ(low.maxVerbosity, CoreLog::VerbosityWarning);
}

TEST_F(LogConfiguration, ModuleNamesMatchExactlyThoughTheRegistryIgnoresCase) {
  sandbox.configure(module("SUPPORT", verbosity(4)) + module("alpha", verbosity(2)) +
                    module("Zeta", verbosity(3)) + logKey("modules\\beta") + verbosity(1));
  CoreLogImpl impl;
  ASSERT_EQ(impl.modules.size(), 4u);
  EXPECT_EQ(narrow(impl.modules[0]->name), "SUPPORT"); // by code unit: capitals first
  EXPECT_EQ(narrow(impl.modules[1]->name), "Zeta");
  EXPECT_EQ(narrow(impl.modules[2]->name), "alpha");
  EXPECT_EQ(narrow(impl.modules[3]->name), "beta");
  EXPECT_EQ(threshold(impl, "SUPPORT", ""), CoreLog::VerbosityInformation);
  EXPECT_EQ(threshold(impl, "support", ""), CoreLog::VerbosityOff);
  EXPECT_EQ(threshold(impl, "Alpha", ""), CoreLog::VerbosityOff);
  EXPECT_EQ(threshold(impl, "beta", ""), CoreLog::VerbosityCritical);
  EXPECT_FALSE(impl.writeRecord(ofMessage, CoreLog::VerbosityCritical, "Support", "", 0, nullptr));
}

TEST_F(LogConfiguration, VerbosityThatIsNotANumberIsReportedAndIgnored) {
  sandbox.configure(module("Text", "\"Verbosity\"=\"5\"\n") + module("Zero", verbosity(0)) +
                    component("Zero", "Text", "\"Verbosity\"=\"4\"\n"));
  CoreLogImpl impl;
  EXPECT_EQ(threshold(impl, "Text", ""), CoreLog::VerbosityOff);
  EXPECT_EQ(threshold(impl, "Zero", "Text"), CoreLog::VerbosityOff);
  EXPECT_EQ(impl.findModule("Zero")->componentCount, 0);
  std::vector<std::string> named;
  for (const auto& event : sandbox.registry.events()) {
    if (event.event == basalt::test::registryEvent && event.strings.size() == 2 &&
        event.strings[1]->find("Verbosity: the value is not a number") != std::string::npos) {
      named.push_back(*event.strings[1]);
    }
  }
  ASSERT_EQ(named.size(), 2u);
  EXPECT_NE(named[0].find("\\Modules\\Text\\Verbosity"), std::string::npos) << named[0];
  EXPECT_NE(named[1].find("\\Modules\\Zero\\Components\\Text\\Verbosity"), std::string::npos)
      << named[1];
}

// A machine without any log key: four events in the order of reading, the libraries sought
// in the directory of the loaded shared library, and a log that refuses every record but
// still finds texts through the platform's search.
TEST_F(LogConfiguration, MachineWithoutLogKeysReportsInOrderAndUsesTheLibrarysDirectory) {
  void* shared = ::dlopen(BASALT_BINARY_DIR "/basalt/libbasalt.so", RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(shared, nullptr) << ::dlerror();
  const std::string directory = library(BASALT_BINARY_DIR "/basalt");
  {
    CoreLogImpl impl;
    EXPECT_EQ(impl.maxVerbosity, CoreLog::VerbosityOff);
    EXPECT_TRUE(impl.modules.empty());
    EXPECT_EQ(impl.logFile, nullptr);
    EXPECT_TRUE(impl.useEventLog);
    EXPECT_EQ(narrow(basalt::frame::resourceLocation()), directory);
  }
  ::dlclose(shared);

  const auto events = sandbox.registry.events();
  ASSERT_EQ(events.size(), 4u);
  // The key itself is missing, so the texts name the key rather than the value.
  const char* const missing[] = {"\\Log\\Modules: ", "\\Log: ", "", "\\Log: "};
  for (int i : {0, 1, 3}) {
    SCOPED_TRACE(i);
    EXPECT_EQ(events[i].source, "Corvane OLAP Client");
    EXPECT_EQ(events[i].type, "warning");
    EXPECT_EQ(events[i].category, 1u);
    EXPECT_EQ(events[i].event, basalt::test::registryEvent);
    ASSERT_EQ(events[i].strings.size(), 2u);
    EXPECT_EQ(events[i].strings[0], "Registry Access Error: ");
    EXPECT_EQ(events[i].strings[1]->rfind(
                  "[HKEY_LOCAL_MACHINE]Software\\Corvane Holdings\\10.0\\TRELL(o)\\Log", 0),
              0u)
        << *events[i].strings[1];
    EXPECT_NE(events[i].strings[1]->find(missing[i]), std::string::npos);
  }
  EXPECT_EQ(events[2].type, "warning");
  EXPECT_EQ(events[2].category, 0u);
  EXPECT_EQ(events[2].event, 0u);
  ASSERT_EQ(events[2].strings.size(), 2u);
  EXPECT_EQ(events[2].strings[0], "Attempting to load resource dlls from ");
  EXPECT_EQ(events[2].strings[1], directory);

  // get needs no configuration: the platform's search finds the neutral library.
  const char* saved = std::getenv("LD_LIBRARY_PATH");
  const std::string savedPath = saved == nullptr ? "" : saved;
  ::setenv("LD_LIBRARY_PATH", (std::string(basalt::test::messagesDir) + "/neutral").c_str(), 1);
  CoreLog log;
  KELPString text;
  const KELPString insert("X");
  const unsigned short* inserts[] = {insert.c_str(), insert.c_str()};
  EXPECT_TRUE(log.get(text, ofMessage, 2, inserts));
  EXPECT_FALSE(log.log(ofMessage, CoreLog::VerbosityCritical, "SUPPORT", "", 2, inserts));
  if (saved == nullptr) {
    ::unsetenv("LD_LIBRARY_PATH");
  } else {
    ::setenv("LD_LIBRARY_PATH", savedPath.c_str(), 1);
  }
  EXPECT_EQ(narrow(text), "X of X, 100% done");
}

class LogFileConfiguration : public LogConfiguration {
protected:
  // SUPPORT at 4, the neutral library, and these values of the log key.
  void configure(const std::string& values) {
    sandbox.configure(
        logKey() + "\"Location\"=" + regText(std::string(basalt::test::messagesDir) + "/neutral") +
        "\n" + values + module("SUPPORT", verbosity(4)));
  }

  // One record through a fresh log object, which closes its file when it goes.
  void logOnce(const char* insert) {
    CoreLog log;
    const KELPString text(insert);
    const unsigned short* inserts[] = {text.c_str(), text.c_str()};
    EXPECT_TRUE(log.log(ofMessage, CoreLog::VerbosityError, "SUPPORT", "", 2, inserts));
  }

  int linesWith(const std::string& file, const std::string& text) {
    int count = 0;
    std::istringstream lines(sandbox.scratch.read(file));
    for (std::string line; std::getline(lines, line);) {
      count += line.find(text) != std::string::npos ? 1 : 0;
    }
    return count;
  }
};

TEST_F(LogFileConfiguration, BareNameGoesToTheTemporaryDirectoryAndPathsStayWhereTheyPoint) {
  std::filesystem::create_directory(sandbox.scratch.path() / "tmp");
  basalt::test::TmpDirVariable tmp(sandbox.scratch.os("tmp").c_str());
  configure("\"LogFile\"=\"bare.log\"\n");
  logOnce("first");
  EXPECT_EQ(linesWith("tmp/bare.log", "SUPPORT: first of first, 100% done"), 1);

  std::filesystem::create_directory(sandbox.scratch.path() / "logs");
  configure("\"LogFile\"=" + regText(sandbox.scratch.os("logs/full.log")) + "\n");
  logOnce("second");
  EXPECT_EQ(linesWith("logs/full.log", "second of second"), 1);
  EXPECT_FALSE(std::filesystem::exists(sandbox.scratch.path() / "tmp/full.log"));
}

TEST_F(LogFileConfiguration, OnlyTheExactWordYesStartsTheFileAnew) {
  const std::string file = regText(sandbox.scratch.os("run.log"));
  const struct {
    const char* overwrite;
    bool kept;
  } cases[] = {{"\"Overwrite\"=\"Yes\"\n", false},
               {"\"Overwrite\"=\"yes\"\n", true},
               {"\"Overwrite\"=\"YES\"\n", true},
               {"\"Overwrite\"=dword:1\n", true},
               {"", true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.overwrite);
    sandbox.scratch.write("run.log", "Mon Jan  1 00:00:00.000: OLD: line\n");
    configure("\"LogFile\"=" + file + "\n" + c.overwrite);
    logOnce("new");
    EXPECT_EQ(linesWith("run.log", "OLD: line"), c.kept ? 1 : 0);
    EXPECT_EQ(linesWith("run.log", "new of new"), 1);
  }
  // No event speaks of Overwrite, whatever it holds.
  for (const auto& event : sandbox.registry.events()) {
    EXPECT_EQ(event.strings.at(1)->find("Overwrite"), std::string::npos);
  }
}

} // namespace
