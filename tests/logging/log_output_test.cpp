#include "basalt/logging/core_log.h"
#include "basalt/logging/core_log_impl.h"
#include "log_sandbox.h"

#include <ctime>
#include <filesystem>
#include <gtest/gtest.h>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using basalt::CoreLog;
using basalt::CoreLogImpl;
using basalt::test::logKey;
using basalt::test::LogSandbox;
using basalt::test::regText;

constexpr std::uint32_t ofMessage = 0xC2010001;     // "%1 of %2, 100%% done"
constexpr std::uint32_t recordMessage = 0x42010002; // "thread %1 record %2"
constexpr std::uint32_t textlessMessage = 0xC2017003;
constexpr char notice[] = "No message obtained. Check the Event log for errors";

std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> result;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    result.push_back(line);
  }
  return result;
}

// Inserts as the log takes them, kept alive with their texts; null stays null.
class Inserts {
public:
  Inserts(std::initializer_list<const char*> texts) {
    strings.reserve(texts.size());
    for (const char* text : texts) {
      strings.emplace_back(text);
      pointers.push_back(text == nullptr ? nullptr : strings.back().c_str());
    }
  }
  int count() const { return static_cast<int>(pointers.size()); }
  const unsigned short** get() { return pointers.data(); }

private:
  std::vector<KELPString> strings;
  std::vector<const unsigned short*> pointers;
};

class LogOutput : public ::testing::Test {
protected:
  // SUPPORT at 10 (everything) with Quiet at 2; the libraries in sub of the test's messages,
  // or in a directory of the scratch directory when sub starts with '/'.
  void configure(const std::string& logFileValue, const std::string& location = "neutral") {
    const std::string locationPath = location[0] == '/'
                                         ? sandbox.scratch.os(location.substr(1))
                                         : std::string(basalt::test::messagesDir) + "/" + location;
    sandbox.configure(logKey() + "\"Location\"=" + regText(locationPath) + "\n" + logFileValue +
                      logKey("Modules\\SUPPORT") + "\"Verbosity\"=dword:a\n" +
                      logKey("Modules\\SUPPORT\\Components\\Quiet") + "\"Verbosity\"=dword:2\n");
  }

  void useLogFile(const std::string& osPath) { configure("\"LogFile\"=" + regText(osPath) + "\n"); }

  LogSandbox sandbox;
};

// The local time of seconds as the line shows it: "Www Mmm dd hh:mm:ss".
std::string lineTime(std::time_t seconds) {
  std::tm local{};
  ::localtime_r(&seconds, &local);
  char text[32];
  std::strftime(text, sizeof text, "%a %b %e %H:%M:%S", &local);
  return text;
}

TEST_F(LogOutput, LineIsLocalTimeMillisecondsModuleAndText) {
  useLogFile(sandbox.scratch.os("out.log"));
  const std::time_t before = std::time(nullptr);
  {
    CoreLog log;
    Inserts inserts{"A", "B"};
    EXPECT_TRUE(log.log(ofMessage, CoreLog::VerbosityCritical, "SUPPORT", "", 2, inserts.get()));
    // The component filters but doesn't show; level 6 is written to a file.
    EXPECT_TRUE(log.log(ofMessage, CoreLog::VerbosityAll, "SUPPORT", "Any", 2, inserts.get()));
    EXPECT_FALSE(
        log.log(ofMessage, CoreLog::VerbosityWarning, "SUPPORT", "Quiet", 2, inserts.get()));
    Inserts withNull{nullptr, "B"};
    EXPECT_TRUE(log.log(ofMessage, CoreLog::VerbosityError, "SUPPORT", "Quiet", 2, withNull.get()));
    EXPECT_TRUE(log.log(textlessMessage, CoreLog::VerbosityError, "SUPPORT", "", 0, nullptr));
    EXPECT_TRUE(log.log(0x07770001, CoreLog::VerbosityError, "SUPPORT", "", 0, nullptr));
    EXPECT_FALSE(log.log(ofMessage, CoreLog::VerbosityError, "SUPPORT", "", -1, inserts.get()));
    EXPECT_FALSE(log.log(ofMessage, CoreLog::VerbosityError, "SUPPORT", "", 1, nullptr));
  }
  const std::time_t after = std::time(nullptr);

  const auto written = lines(sandbox.scratch.read("out.log"));
  const std::vector<std::string> texts = {"A of B, 100% done", "A of B, 100% done",
                                          " of B, 100% done", notice, notice};
  ASSERT_EQ(written.size(), texts.size());
  const std::regex form(R"(((?:Sun|Mon|Tue|Wed|Thu|Fri|Sat) (?:Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|)"
                        R"(Sep|Oct|Nov|Dec) [ 1-3][0-9] [0-2][0-9]:[0-5][0-9]:[0-6][0-9])\.)"
                        R"([0-9]{3}: SUPPORT: (.*))");
  for (std::size_t i = 0; i < written.size(); ++i) {
    SCOPED_TRACE(written[i]);
    std::smatch match;
    ASSERT_TRUE(std::regex_match(written[i], match, form));
    EXPECT_EQ(match[2], texts[i]);
    bool inTime = false;
    for (std::time_t second = before; second <= after; ++second) {
      inTime = inTime || match[1] == lineTime(second);
    }
    EXPECT_TRUE(inTime);
  }
  // The facility nobody ships cost one event; nothing else was reported.
  const auto events = sandbox.registry.events();
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].type, "error");
}

// No file could be opened (its directory is missing): records become events with their raw
// inserts, and no text is looked up for them.
TEST_F(LogOutput, WithoutAFileRecordsAreEventsTypedByLevel) {
  useLogFile(sandbox.scratch.os("missing/directory/x.log"));
  CoreLogImpl impl;
  EXPECT_EQ(impl.logFile, nullptr);
  EXPECT_TRUE(impl.useEventLog);
  Inserts inserts{"first", nullptr};
  for (int level = 1; level <= 6; ++level) {
    EXPECT_EQ(impl.writeRecord(textlessMessage, static_cast<CoreLog::VerbosityType>(level),
                               "SUPPORT", "", 2, inserts.get()),
              level <= 5);
  }
  EXPECT_TRUE(impl.writeRecord(basalt::test::registryEvent, CoreLog::VerbosityInformation,
                               "SUPPORT", "", 0, nullptr));
  EXPECT_TRUE(impl.libraries.empty());

  const auto events = sandbox.registry.events();
  ASSERT_EQ(events.size(), 6u); // the file's failure is silent
  const char* const types[] = {"error", "error", "warning", "information", "information"};
  for (int i = 0; i < 5; ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(events[i].source, "Corvane OLAP Client");
    EXPECT_EQ(events[i].type, types[i]);
    EXPECT_EQ(events[i].category, 7u);
    EXPECT_EQ(events[i].event, textlessMessage);
    ASSERT_EQ(events[i].strings.size(), 2u);
    EXPECT_EQ(events[i].strings[0], "first");
    EXPECT_EQ(events[i].strings[1], std::nullopt);
  }
  EXPECT_EQ(events[5].category, 1u);
  EXPECT_TRUE(events[5].strings.empty());
}

TEST_F(LogOutput, DeviceThatFailsEveryWriteLosesLinesButNotTheProcess) {
  useLogFile("/dev/full");
  CoreLogImpl impl;
  ASSERT_NE(impl.logFile, nullptr);
  Inserts inserts{"A", "B"};
  for (int i = 0; i < 2000; ++i) {
    ASSERT_TRUE(
        impl.writeRecord(ofMessage, CoreLog::VerbosityError, "SUPPORT", "", 2, inserts.get()));
  }
  KELPString text;
  EXPECT_TRUE(impl.get(text, ofMessage, 2, inserts.get()));
  EXPECT_TRUE(sandbox.registry.events().empty()); // no fallback to the event log
}

TEST_F(LogOutput, DamagedLibraryGivesTheNotice) {
  std::filesystem::create_directory(sandbox.scratch.path() / "damaged");
  std::ifstream in(std::string(basalt::test::messagesDir) + "/neutral/strings_201_xx.dll",
                   std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  sandbox.scratch.write("damaged/strings_201_xx.dll", bytes.substr(0, bytes.size() / 2));
  configure("\"LogFile\"=" + regText(sandbox.scratch.os("out.log")) + "\n", "/damaged");
  {
    CoreLog log;
    Inserts inserts{"A", "B"};
    EXPECT_TRUE(log.log(ofMessage, CoreLog::VerbosityError, "SUPPORT", "", 2, inserts.get()));
    KELPString text("kept");
    EXPECT_FALSE(log.get(text, ofMessage, 2, inserts.get()));
    EXPECT_EQ(basalt::test::narrow(text), "kept");
  }
  const auto written = lines(sandbox.scratch.read("out.log"));
  ASSERT_EQ(written.size(), 1u);
  EXPECT_EQ(written[0].substr(written[0].find(": SUPPORT: ")), std::string(": SUPPORT: ") + notice);
}

// Eight threads write into one file: every line whole, none lost, each thread's in its order.
TEST_F(LogOutput, ConcurrentRecordsStayWholeAndInOrder) {
  constexpr int threadCount = 8;
  constexpr int recordCount = 20000;
  useLogFile(sandbox.scratch.os("threads.log"));
  {
    CoreLog log;
    std::vector<std::thread> threads;
    for (int t = 0; t < threadCount; ++t) {
      threads.emplace_back([&log, t] {
        const std::string thread = std::to_string(t);
        for (int r = 0; r < recordCount; ++r) {
          const std::string record = std::to_string(r);
          Inserts inserts{thread.c_str(), record.c_str()};
          if (!log.log(recordMessage, CoreLog::VerbosityWarning, "SUPPORT", "Worker", 2,
                       inserts.get())) {
            ADD_FAILURE() << "refused " << t << " " << r;
            return;
          }
        }
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
  }
  const auto written = lines(sandbox.scratch.read("threads.log"));
  ASSERT_EQ(written.size(), static_cast<std::size_t>(threadCount * recordCount));
  const std::regex form(R"([A-Z][a-z]{2} [A-Z][a-z]{2} [ 1-3][0-9] [0-9]{2}:[0-9]{2}:[0-9]{2})"
                        R"(\.[0-9]{3}: SUPPORT: thread ([0-7]) record ([0-9]+))");
  std::vector<int> next(threadCount, 0);
  for (const std::string& line : written) {
    std::smatch match;
    ASSERT_TRUE(std::regex_match(line, match, form)) << line;
    const int thread = std::stoi(match[1]);
    ASSERT_EQ(std::stoi(match[2]), next[thread]) << line;
    ++next[thread];
  }
}

} // namespace
