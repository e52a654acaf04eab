#include "basalt/frame/static/static_objects.h"
#include "basalt/logging/core_log_impl.h"
#include "basalt/logging/log_app.h"
#include "log_sandbox.h"

#include <algorithm>
#include <chrono>
#include <dlfcn.h>
#include <filesystem>
#include <future>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using basalt::CoreLog;
using basalt::CoreLogImpl;
using namespace basalt::test;

std::string module(const std::string& name, const std::string& values) {
  return logKey("Modules\\" + name) + values;
}

TEST(LogConfiguration, ThresholdsMapAndComponentsReplaceTheirModulesExactlyByName) {
  LogSandbox sandbox;
  std::string body;
  for (const char* number : {"0", "1", "2", "3", "4", "5", "6", "9", "a", "b", "ffffffff"}) {
    body += module(std::string("M") + number, verbosity(number));
  }
  // The tables compare the first four units as one word: names that share them, names shorter
  // than four and units above 0x7FFF must still sort and match unit by unit.
  const char* const names[] = {
      "Synchronization", "Synchronisation", "Syn", "Sync\uFF21", "Sync", "Synchron", "S", "\uFF21"};
  for (int i = 0; i < 8; ++i) {
    body += module(std::string("Names\\Components\\") + names[i],
                   verbosity(std::to_string(std::min(i, 5)).c_str()));
  }
  sandbox.configure(body + module("Names", verbosity("a")) + module("SUPPORT", verbosity("5")) +
                    module("SUPPORT\\Components\\Quiet", verbosity("0")) +
                    module("SUPPORT\\Components\\Loud", verbosity("a")) +
                    module("SUPPORT\\Components\\Bare", "") +
                    module("Text", "\"Verbosity\"=\"5\"\n") +
                    module("Silent\\Components\\Only", verbosity("3")));
  CoreLogImpl impl;
  // The tables in their order, by code unit (capitals first), with the mapped thresholds.
  std::string tables;
  for (const basalt::LogApp* entry : impl.modules) {
    tables += narrow(entry->name) + "=" + std::to_string(entry->verbosity) + " ";
    for (const basalt::LogModule* component : entry->components) {
      tables += "/" + narrow(component->name) + "=" + std::to_string(component->verbosity) + " ";
    }
  }
  EXPECT_EQ(tables, "M0=0 M1=1 M2=2 M3=3 M4=4 M5=5 M6=5 M9=5 Ma=6 Mb=5 Mffffffff=5 Names=6 "
                    "/S=5 /Syn=2 /Sync=4 /Synchron=5 /Synchronisation=1 /Synchronization=0 "
                    "/Sync\uFF21=3 /\uFF21=5 SUPPORT=5 /Loud=6 /Quiet=0 Silent=0 /Only=3 Text=0 ");
  EXPECT_EQ(impl.maxVerbosity, CoreLog::VerbosityAll);
  const auto threshold = [&](const KELPString& name, const KELPString& component) {
    return static_cast<int>(*impl.getVerbosity(name, component));
  };
  EXPECT_EQ(threshold("Support", "Loud"), 0); // an unknown module has no components
  // Modules that share their first four units with others match unit by unit too.
  EXPECT_EQ(threshold("SUPPORTS", ""), 0);
  EXPECT_EQ(threshold("Mfffffff", ""), 0);
  EXPECT_EQ(threshold("Mffffffff", ""), 5);
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(threshold("Names", wide(names[i]).c_str()), i) << names[i];
  }
  for (const char* absent :
       {"Synchronizatio", "Synchronizations", "SynchroniZation", "Sy", "SyncC", ""}) {
    EXPECT_EQ(threshold("Names", absent), 6) << absent;
  }
  // A text where a number belongs is told in the event log.
  const auto events = sandbox.registry.events();
  ASSERT_EQ(events.size(), 4u); // Text's Verbosity, Location, where the libraries are, LogFile
  EXPECT_NE(events[0].strings.at(1)->find("\\Modules\\Text\\Verbosity: the value is not a number"),
            std::string::npos);
}

// A machine without any log key: four events in the order of reading, the libraries sought in
// the directory of the loaded shared library, and every record refused and no text found:
// through the process's log, a private one whatever its name, and copies, which share it.
TEST(LogConfiguration, MachineWithoutLogKeysReportsInOrderAndRefusesEverything) {
  LogSandbox sandbox;
  void* shared = ::dlopen(BASALT_BINARY_DIR "/basalt/libbasalt.so", RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(shared, nullptr) << ::dlerror();
  EXPECT_TRUE(CoreLogImpl().useEventLog);
  ::dlclose(shared);
  const std::string directory = libraryForm(BASALT_BINARY_DIR "/basalt");
  EXPECT_EQ(narrow(basalt::frame::resourceLocation()), directory);
  const std::string key = "[HKEY_LOCAL_MACHINE]Software\\Corvane Holdings\\10.0\\TRELL(o)\\Log";
  const auto events = sandbox.registry.events();
  ASSERT_EQ(events.size(), 4u);
  const std::string texts[4][2] = {{"Registry Access Error: ", key + "\\Modules: "},
                                   {"Registry Access Error: ", key + ": "},
                                   {"Attempting to load resource dlls from ", directory},
                                   {"Registry Access Error: ", key + ": "}};
  for (int i = 0; i < 4; ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(events[i].source, "Corvane OLAP Client");
    EXPECT_EQ(events[i].type, "warning");
    EXPECT_EQ(events[i].category, i == 2 ? 0u : 1u);
    EXPECT_EQ(events[i].event, i == 2 ? 0u : registryEvent);
    ASSERT_EQ(events[i].strings.size(), 2u);
    EXPECT_EQ(events[i].strings[0], texts[i][0]);
    EXPECT_EQ(events[i].strings[1]->substr(0, texts[i][1].size()), texts[i][1]);
  }

  EXPECT_EQ(basalt::getLogObject(), basalt::getLogObject());
  CoreLog first("ignored");
  first.getModuleVerbosity("M", "");
  const auto expectUnconfigured = [](CoreLog* log) {
    EXPECT_EQ(*log->getModuleVerbosity("SUPPORT", "Synchronization"), CoreLog::VerbosityOff);
    for (int level = -1; level <= CoreLog::VerbosityAll + 1; ++level) {
      EXPECT_FALSE(log->log(registryEvent, static_cast<CoreLog::VerbosityType>(level), "SUPPORT",
                            "", 0, nullptr));
    }
    KELPString text("kept");
    Inserts inserts{"A"};
    EXPECT_FALSE(log->get(text, registryEvent, 1, inserts.get()));
    EXPECT_EQ(text.string(), "kept");
  };
  {
    CoreLog copy(first);
    CoreLog assigned;
    assigned.getModuleVerbosity("M", ""); // its own implementation goes on assignment
    assigned = copy;
    const CoreLog& same = assigned;
    assigned = same;
    for (CoreLog* log : {basalt::getLogObject(), &copy, &assigned}) {
      expectUnconfigured(log);
    }
  }
  expectUnconfigured(&first);
}

// The last configuration leaves SUPPORT at 1, the highest threshold: the gate refuses above it
// before taking the lock, which a writer may hold for long.
TEST(LogConfiguration, BareFileNamesLieInTheTemporaryDirectoryOnlyYesOverwritesAndGatesTakeNoLock) {
  LogSandbox sandbox;
  std::filesystem::create_directory(sandbox.scratch.path() / "tmp");
  const EnvironmentVariable tmp("TMPDIR", sandbox.scratch.os("tmp").c_str());
  const struct {
    std::string logFile;
    const char* overwrite;
    const char* path;
    bool kept;
  } cases[] = {{"\"bare.log\"\n", "\"Yes\"", "tmp/bare.log", false},
               {"\"bare.log\"\n", "\"yes\"", "tmp/bare.log", true},
               {regPath(sandbox.scratch.os("full.log")), "dword:1", "full.log", true},
               {regPath(sandbox.scratch.os("full.log")), "\"Yes\"", "full.log", false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path + std::string(c.overwrite));
    sandbox.scratch.write(c.path, "old line\n");
    sandbox.configure(logKey() + "\"LogFile\"=" + c.logFile + "\"Overwrite\"=" + c.overwrite +
                      "\n" + module("SUPPORT", verbosity("1")));
    {
      CoreLog log;
      EXPECT_TRUE(log.log(ofMessage, CoreLog::VerbosityCritical, "SUPPORT", "", 0, nullptr));
    }
    const auto lines = sandbox.lines(c.path);
    ASSERT_EQ(lines.size(), c.kept ? 2u : 1u);
    EXPECT_EQ(lines[0] == "old line", c.kept);
  }
  CoreLogImpl impl;
  std::future<bool> refused;
  bool decided = false;
  {
    basalt::PavaneSynchronized lock(*impl.mutex);
    refused = std::async(std::launch::async, [&] {
      return impl.writeRecord(ofMessage, CoreLog::VerbosityError, "SUPPORT", "", 0, nullptr);
    });
    decided = refused.wait_for(std::chrono::seconds(30)) == std::future_status::ready;
  }
  EXPECT_TRUE(decided);
  EXPECT_FALSE(refused.get());
}

} // namespace
