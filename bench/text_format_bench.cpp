// The format engine against the C library's wide printf, and the integer writer of the
// converters against std::to_chars, on the same values.

#include "basalt/text/kelp_string.h"
#include "basalt/text/string_converters.h"

#include <benchmark/benchmark.h>
#include <charconv>
#include <cstdint>
#include <cwchar>

namespace {

// Counts of from one to seven digits, as a log or an error message would print them.
std::int32_t nextValue(std::int32_t& seed) {
  seed = static_cast<std::int32_t>((static_cast<std::uint32_t>(seed) * 1103515245U + 12345U) &
                                   0x7FFFFFFF);
  return seed % 10000000;
}

void BM_BuildItems(benchmark::State& state) {
  KELPString text;
  std::int32_t seed = 1;
  for ([[maybe_unused]] auto _ : state) {
    benchmark::DoNotOptimize(text.build("%d items", nextValue(seed)));
    benchmark::DoNotOptimize(text.data());
  }
}
BENCHMARK(BM_BuildItems);

void BM_SwprintfItems(benchmark::State& state) {
  wchar_t buffer[64];
  std::int32_t seed = 1;
  for ([[maybe_unused]] auto _ : state) {
    benchmark::DoNotOptimize(std::swprintf(buffer, 64, L"%d items", nextValue(seed)));
    benchmark::DoNotOptimize(buffer);
  }
}
BENCHMARK(BM_SwprintfItems);

void BM_ConvertIntegerToString(benchmark::State& state) {
  KELPString text;
  std::int32_t seed = 1;
  for ([[maybe_unused]] auto _ : state) {
    benchmark::DoNotOptimize(StringConverters::convertIntegerToString(nextValue(seed), text, 10));
    benchmark::DoNotOptimize(text.data());
  }
}
BENCHMARK(BM_ConvertIntegerToString);

void BM_ToChars(benchmark::State& state) {
  char buffer[16];
  std::int32_t seed = 1;
  for ([[maybe_unused]] auto _ : state) {
    benchmark::DoNotOptimize(std::to_chars(buffer, buffer + sizeof(buffer), nextValue(seed)));
    benchmark::DoNotOptimize(buffer);
  }
}
BENCHMARK(BM_ToChars);

} // namespace
