#ifndef BASALT_TESTS_FUZZ_FUZZ_TEXT_H
#define BASALT_TESTS_FUZZ_FUZZ_TEXT_H

#include <cstdio>
#include <cstdlib>
#include <fuzzer/FuzzedDataProvider.h>
#include <string>

// A property that every input must keep; a broken one stops the run with its input saved.
inline void require(bool holds, const char* what) {
  if (!holds) {
    std::fprintf(stderr, "property broken: %s\n", what);
    std::abort();
  }
}

// Units that are mostly 7-bit, so that digits, signs and separators come up often, with a
// marker byte for any 16-bit unit.
inline std::basic_string<unsigned short> consumeUnits(FuzzedDataProvider& input, std::size_t most) {
  std::basic_string<unsigned short> units;
  while (units.size() < most && input.remaining_bytes() > 0) {
    const auto byte = input.ConsumeIntegral<unsigned char>();
    units.push_back(byte == 0xFF ? input.ConsumeIntegral<unsigned short>() : byte);
  }
  return units;
}

#endif
