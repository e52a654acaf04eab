// The three costs of a configured log against spdlog in the same run: a record above every
// threshold (refused at the gate), a record refused by its module's threshold (the lock and
// two binary searches), and a record written to the log file with a flush per line.

#include "basalt/logging/core_log.h"

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <spdlog/logger.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/null_sink.h>
#include <string>

namespace {

using basalt::CoreLog;

constexpr std::uint32_t structuredException = 0xC2011F00; // "Structured exception in %1"
std::filesystem::path directory;

std::string libraryPath(const std::filesystem::path& path) {
  std::string text;
  for (const char c : path.string()) {
    text += c == '/' ? std::string("\\\\") : std::string(1, c);
  }
  return text;
}

// Twelve modules of three components each, SUPPORT at 4 and Quiet at 1, and a log file.
void configure() {
  std::string key = "[HKEY_LOCAL_MACHINE\\Software\\Corvane Holdings\\10.0\\TRELL(o)\\Log";
  std::string text = "Windows Registry Editor Version 5.00\n\n" + key + "]\n\"Location\"=\"" +
                     libraryPath(BASALT_BENCH_LOG_MODULES) + "\"\n\"LogFile\"=\"" +
                     libraryPath(directory / "basalt.log") + "\"\n\"Overwrite\"=\"Yes\"\n";
  for (const char* name : {"Alpha", "Bravo", "Charlie", "Delta", "Echo", "Foxtrot", "Golf", "Hotel",
                           "India", "Juliet", "Quiet", "SUPPORT"}) {
    const std::string module = key + "\\Modules\\" + name;
    text += module + "]\n\"Verbosity\"=dword:" + (std::string(name) == "Quiet" ? "1" : "4") + "\n";
    for (const char* component : {"Network", "Storage", "Synchronization"}) {
      text += module + "\\Components\\" + component + "]\n\"Verbosity\"=dword:3\n";
    }
  }
  std::ofstream(directory / "log.reg") << text;
  ::setenv("BASALT_REGISTRY", (directory / "log.reg").c_str(), 1);
}

CoreLog& configuredLog() {
  static CoreLog log;
  return log;
}

std::shared_ptr<spdlog::logger> switchedOffLogger() {
  auto logger =
      std::make_shared<spdlog::logger>("off", std::make_shared<spdlog::sinks::null_sink_mt>());
  logger->set_level(spdlog::level::info);
  return logger;
}

void basaltRecord(benchmark::State& state, CoreLog::VerbosityType level, const char* module,
                  const char* componentName, bool expected) {
  CoreLog& log = configuredLog();
  const KELPString moduleName(module);
  const KELPString component(componentName);
  const KELPString insert("lock 1");
  const unsigned short* inserts[] = {insert.c_str()};
  if (log.log(structuredException, level, moduleName, component, 1, inserts) != expected) {
    state.SkipWithError("the configuration was not read as expected");
    return;
  }
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        log.log(structuredException, level, moduleName, component, 1, inserts));
  }
}

void BasaltAboveEveryThreshold(benchmark::State& state) {
  basaltRecord(state, CoreLog::VerbosityDetail, "SUPPORT", "Synchronization", false);
}
BENCHMARK(BasaltAboveEveryThreshold);

void BasaltRefusedByModule(benchmark::State& state) {
  // The empty component is what BaseError::log passes; Quiet's own threshold applies.
  basaltRecord(state, CoreLog::VerbosityWarning, "Quiet", "", false);
}
BENCHMARK(BasaltRefusedByModule);

void SpdlogLevelSwitchedOff(benchmark::State& state) {
  auto logger = switchedOffLogger();
  const char* insert = "lock 1";
  for (auto _ : state) {
    logger->debug("Structured exception in {}", insert);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(SpdlogLevelSwitchedOff);

void BasaltWrittenAndFlushed(benchmark::State& state) {
  basaltRecord(state, CoreLog::VerbosityError, "SUPPORT", "Synchronization", true);
}
BENCHMARK(BasaltWrittenAndFlushed);

void SpdlogFileFlushedPerLine(benchmark::State& state) {
  auto logger = std::make_shared<spdlog::logger>(
      "SUPPORT", std::make_shared<spdlog::sinks::basic_file_sink_mt>(
                     (directory / "spdlog.log").string(), true));
  logger->set_pattern("%a %b %e %H:%M:%S.%e: %n: %v"); // the log's line
  logger->flush_on(spdlog::level::trace);
  const char* insert = "lock 1";
  for (auto _ : state) {
    logger->error("Structured exception in {}", insert);
  }
}
BENCHMARK(SpdlogFileFlushedPerLine);

} // namespace

int main(int argc, char** argv) {
  std::string pattern = (std::filesystem::temp_directory_path() / "basalt-log-bench-XXXXXX");
  if (::mkdtemp(pattern.data()) == nullptr) {
    return 1;
  }
  directory = pattern;
  configure();
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  std::filesystem::remove_all(directory);
  return 0;
}
