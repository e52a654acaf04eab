// Reading a message text from a resource DLL, against the POSIX message catalogs of the C
// library (catopen/catgets), which answer the same question: a number in, a string out.

#include "basalt/system/file_locator.h"
#include "basalt/system/string_resource_library.h"

#include <benchmark/benchmark.h>
#include <nl_types.h>

namespace {

basalt::FileLocator messageLibrary() {
  basalt::FileLocator place;
  place.setLocation(KELPString(BASALT_BENCH_MODULES));
  place.setFileName(KELPString("strings_201_ENU.dll"));
  return place;
}

void BM_GetString(benchmark::State& state) {
  StringResourceLibrary library;
  if (!library.load(messageLibrary())) {
    state.SkipWithError("no message library");
    return;
  }
  KELPString text;
  for (auto _ : state) {
    library.getString(0xC2010001u, text);
    benchmark::DoNotOptimize(text.data());
  }
}
BENCHMARK(BM_GetString);

void BM_Catgets(benchmark::State& state) {
  nl_catd catalog = ::catopen(BASALT_BENCH_CATALOG, 0);
  if (catalog == reinterpret_cast<nl_catd>(-1)) {
    state.SkipWithError("no catalog");
    return;
  }
  for (auto _ : state) {
    // catgets hands out its own copy; the library's getString fills a string: copy too.
    KELPString text(::catgets(catalog, 1, 1, ""));
    benchmark::DoNotOptimize(text.data());
  }
  ::catclose(catalog);
}
BENCHMARK(BM_Catgets);

void BM_LoadGetUnload(benchmark::State& state) {
  const basalt::FileLocator place = messageLibrary();
  KELPString text;
  for (auto _ : state) {
    StringResourceLibrary library;
    library.load(place);
    library.getString(1, text);
    benchmark::DoNotOptimize(text.data());
  }
}
BENCHMARK(BM_LoadGetUnload);

void BM_CatopenGetClose(benchmark::State& state) {
  for (auto _ : state) {
    nl_catd catalog = ::catopen(BASALT_BENCH_CATALOG, 0);
    KELPString text(::catgets(catalog, 1, 1, ""));
    benchmark::DoNotOptimize(text.data());
    ::catclose(catalog);
  }
}
BENCHMARK(BM_CatopenGetClose);

} // namespace

BENCHMARK_MAIN();
