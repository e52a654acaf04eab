// 7-bit native text into 16-bit units and back: KELPString against iconv and the C
// library's multibyte conversions, each producing owned strings as KELPString does.

#include "basalt/text/kelp_string.h"

#include <benchmark/benchmark.h>
#include <clocale>
#include <cstdlib>
#include <iconv.h>
#include <string>

namespace {

std::string sevenBitText(std::size_t length) {
  std::string text;
  for (std::size_t i = 0; i < length; ++i) {
    text.push_back(static_cast<char>(' ' + i % 95));
  }
  return text;
}

void KELPStringRoundTrip(benchmark::State& state) {
  const std::string text = sevenBitText(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    const KELPString wide(text);
    std::string back = wide.string();
    benchmark::DoNotOptimize(back);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(KELPStringRoundTrip)->Arg(16)->Arg(256)->Arg(4096);

// One conversion through an open converter into a string of the target's unit type.
template <class Target>
Target convert(iconv_t converter, const char* bytes, std::size_t byteCount,
               std::size_t unitsPerByte) {
  Target out(byteCount * unitsPerByte, 0);
  char* in = const_cast<char*>(bytes);
  std::size_t inLeft = byteCount;
  char* outPointer = reinterpret_cast<char*>(out.data());
  std::size_t outLeft = out.size() * sizeof(typename Target::value_type);
  iconv(converter, &in, &inLeft, &outPointer, &outLeft);
  out.resize(out.size() - outLeft / sizeof(typename Target::value_type));
  return out;
}

void IconvRoundTrip(benchmark::State& state) {
  const std::string text = sevenBitText(static_cast<std::size_t>(state.range(0)));
  iconv_t toWide = iconv_open("UTF-16LE", "UTF-8");
  iconv_t toNarrow = iconv_open("UTF-8", "UTF-16LE");
  for (auto _ : state) {
    const std::u16string wide = convert<std::u16string>(toWide, text.data(), text.size(), 1);
    std::string back = convert<std::string>(toNarrow, reinterpret_cast<const char*>(wide.data()),
                                            wide.size() * 2, 2);
    benchmark::DoNotOptimize(back);
  }
  iconv_close(toWide);
  iconv_close(toNarrow);
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(IconvRoundTrip)->Arg(16)->Arg(256)->Arg(4096);

void MbstowcsRoundTrip(benchmark::State& state) {
  std::setlocale(LC_CTYPE, "C.UTF-8");
  const std::string text = sevenBitText(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    std::wstring wide(text.size(), L'\0');
    wide.resize(std::mbstowcs(wide.data(), text.c_str(), wide.size()));
    std::string back(wide.size() * MB_CUR_MAX, '\0');
    back.resize(std::wcstombs(back.data(), wide.c_str(), back.size()));
    benchmark::DoNotOptimize(back);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(MbstowcsRoundTrip)->Arg(16)->Arg(256)->Arg(4096);

} // namespace

BENCHMARK_MAIN();
