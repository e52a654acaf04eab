// KELPString's case tables and case-blind comparison against ICU's simple case mapping and
// case-folded comparison, in the same run.

#include "basalt/text/kelp_string.h"

#include <benchmark/benchmark.h>
#include <unicode/uchar.h>
#include <unicode/ustring.h>
#include <vector>

namespace {

template <typename Map> void mapAllUnits(benchmark::State& state, Map map) {
  for (auto _ : state) {
    unsigned int sum = 0;
    for (unsigned int c = 0; c <= 0xFFFF; ++c) {
      sum += map(c);
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * 0x10000);
}

void BM_KelpChrToLower(benchmark::State& state) {
  mapAllUnits(
      state, [](unsigned int c) { return KELPString::chrToLower(static_cast<unsigned short>(c)); });
}
void BM_IcuToLower(benchmark::State& state) {
  mapAllUnits(state, [](unsigned int c) { return static_cast<unsigned int>(u_tolower(c)); });
}
void BM_KelpChrToUpper(benchmark::State& state) {
  mapAllUnits(
      state, [](unsigned int c) { return KELPString::chrToUpper(static_cast<unsigned short>(c)); });
}
void BM_IcuToUpper(benchmark::State& state) {
  mapAllUnits(state, [](unsigned int c) { return static_cast<unsigned int>(u_toupper(c)); });
}

// Two 64-unit texts that are equal without regard to case: the same units when sameCase,
// else one in lower and one in upper case (Latin, Greek and Cyrillic letters).
std::vector<unsigned short> text64(bool upper) {
  const unsigned short letters[] = {'q', 'u', 'i', 'c', 'k',    0x03B1, 0x03B2, 0x0436,
                                    ' ', 'f', 'o', 'x', 0x00E9, 0x0434, 'z',    '.'};
  std::vector<unsigned short> text;
  for (int i = 0; i < 64; ++i) {
    const unsigned short unit = letters[i % 16];
    text.push_back(upper ? KELPString::chrToUpper(unit) : unit);
  }
  text.push_back(0);
  return text;
}

void BM_KelpCompareCaseBlind(benchmark::State& state) {
  const auto first = text64(false);
  const auto second = text64(state.range(0) == 0);
  for (auto _ : state) {
    benchmark::DoNotOptimize(KELPString::compare(first.data(), second.data(), true));
  }
}
void BM_IcuStrCaseCompare(benchmark::State& state) {
  const auto first = text64(false);
  const auto second = text64(state.range(0) == 0);
  const auto* a = reinterpret_cast<const UChar*>(first.data());
  const auto* b = reinterpret_cast<const UChar*>(second.data());
  for (auto _ : state) {
    benchmark::DoNotOptimize(u_strcasecmp(a, b, U_FOLD_CASE_DEFAULT));
  }
}

} // namespace

BENCHMARK(BM_KelpChrToLower);
BENCHMARK(BM_IcuToLower);
BENCHMARK(BM_KelpChrToUpper);
BENCHMARK(BM_IcuToUpper);
// Argument 1: the same units; 0: the same letters in the other case.
BENCHMARK(BM_KelpCompareCaseBlind)->Arg(1)->Arg(0);
BENCHMARK(BM_IcuStrCaseCompare)->Arg(1)->Arg(0);

BENCHMARK_MAIN();
