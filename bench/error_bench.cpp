// The road of an error: raise it with two inserts, throw it by value, catch it through the
// interface and ask for its text. The reference is the usual C++ idiom of words made at the
// raising site: std::runtime_error with a message formatted by fmt.

#include <basalt/basalt.h>
#include <benchmark/benchmark.h>
#include <cstring>
#include <fmt/format.h>
#include <stdexcept>
#include <string>

namespace {

void BasaltRaiseThrowCatchGetText(benchmark::State& state) {
  basalt::CoreLog* log = basalt::getLogObject();
  const KELPString module("Thread");
  const KELPString fileName("C:\\data\\cube.dat");
  KELPString warmUp;
  log->get(warmUp, 0xC2010042, 0, nullptr); // the log's first use is paid outside the loop
  for (auto _ : state) {
    try {
      BaseError error(0xC2010042, module, TRELL_o::AnyError::SeverityError,
                      TRELL_o::AnyError::CompletedDefault);
      error.addInsert(fileName.c_str());
      error.addNumInsert(17);
      throw error;
    } catch (TRELL_o::AnyError& error) {
      benchmark::DoNotOptimize(error.getText(log).size());
    }
  }
}
BENCHMARK(BasaltRaiseThrowCatchGetText);

void RuntimeErrorWithFmtText(benchmark::State& state) {
  const std::string fileName("C:\\data\\cube.dat");
  for (auto _ : state) {
    try {
      throw std::runtime_error(fmt::format("Cannot open {} (error {})", fileName, 17));
    } catch (const std::exception& error) {
      benchmark::DoNotOptimize(std::strlen(error.what()));
    }
  }
}
BENCHMARK(RuntimeErrorWithFmtText);

} // namespace

BENCHMARK_MAIN();
