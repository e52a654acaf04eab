// A record that the log's filter refuses, against spdlog's call for a level that is switched
// off: the cost every disabled trace call pays.

#include "basalt/logging/core_log.h"

#include <benchmark/benchmark.h>
#include <memory>
#include <spdlog/logger.h>
#include <spdlog/sinks/null_sink.h>

namespace {

using basalt::CoreLog;

void BasaltRefusedAtGate(benchmark::State& state) {
  CoreLog* log = basalt::getLogObject();
  const KELPString module("SUPPORT");
  const KELPString component("Synchronization");
  const KELPString insert("lock 1");
  const unsigned short* inserts[] = {insert.c_str()};
  log->getModuleVerbosity(module, component); // the first use is paid outside the loop
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        log->log(0x420170A7, CoreLog::VerbosityDetail, module, component, 1, inserts));
  }
}
BENCHMARK(BasaltRefusedAtGate);

void SpdlogLevelSwitchedOff(benchmark::State& state) {
  auto logger =
      std::make_shared<spdlog::logger>("bench", std::make_shared<spdlog::sinks::null_sink_mt>());
  logger->set_level(spdlog::level::info);
  const char* insert = "lock 1";
  for (auto _ : state) {
    logger->debug("Synchronization: {}", insert);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(SpdlogLevelSwitchedOff);

} // namespace

BENCHMARK_MAIN();
