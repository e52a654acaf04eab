// The native conversions in every supported code page (and in some that aren't), in both
// directions, through exact, too small and single-character buffers. Units that came from bytes
// must come back from their bytes, and bytes that came from units from their units.

#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/nls/code_pages.h"
#include "fuzz_text.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace plat = basalt::platform;

namespace {

constexpr plat::UINT supportedPages[] = {
    874,   932,   936,   949,   950,   1250,  1251,  1252,  1253,  1254,  1255,  1256,  1257, 1258,
    20866, 28591, 28592, 28593, 28594, 28595, 28596, 28597, 28598, 28599, 28603, 28605, 65001};

// Units from bytes, through buffers of exactly the size asked for.
std::vector<plat::WCHAR> toUnits(plat::UINT page, plat::DWORD flags, const std::string& bytes) {
  const int count = static_cast<int>(bytes.size());
  const int needed = plat::MultiByteToWideChar(page, flags, bytes.data(), count, nullptr, 0);
  if (needed <= 0) {
    return {};
  }
  std::unique_ptr<plat::WCHAR[]> tooSmall(new plat::WCHAR[needed - 1 > 0 ? needed - 1 : 1]);
  if (needed > 1) {
    require(plat::MultiByteToWideChar(page, flags, bytes.data(), count, tooSmall.get(),
                                      needed - 1) == 0 &&
                plat::GetLastError() == plat::ERROR_INSUFFICIENT_BUFFER,
            "a short unit buffer is refused");
  }
  std::unique_ptr<plat::WCHAR[]> exact(new plat::WCHAR[needed]);
  require(plat::MultiByteToWideChar(page, flags, bytes.data(), count, exact.get(), needed) ==
              needed,
          "units fill the size asked for");
  return std::vector<plat::WCHAR>(exact.get(), exact.get() + needed);
}

// Bytes from units, through a buffer of exactly the size asked for.
std::string toBytes(plat::UINT page, const std::vector<plat::WCHAR>& units,
                    bool* defaulted = nullptr) {
  const int count = static_cast<int>(units.size());
  plat::BOOL usedDefault = plat::FALSE;
  const int needed =
      plat::WideCharToMultiByte(page, 0, units.data(), count, nullptr, 0, nullptr, &usedDefault);
  if (defaulted != nullptr) {
    *defaulted = usedDefault != plat::FALSE;
  }
  if (needed <= 0) {
    return {};
  }
  std::unique_ptr<char[]> exact(new char[needed]);
  require(plat::WideCharToMultiByte(page, 0, units.data(), count, exact.get(), needed, nullptr,
                                    nullptr) == needed,
          "bytes fill the size asked for");
  return std::string(exact.get(), static_cast<std::size_t>(needed));
}

// The string core's shape of call: one unit into a 3-byte area, one character into one unit.
void convertOneByOne(plat::UINT page, const std::vector<plat::WCHAR>& units) {
  for (const plat::WCHAR unit : units) {
    std::unique_ptr<char[]> area(new char[3]);
    const int written =
        plat::WideCharToMultiByte(page, 0, &unit, 1, area.get(), 3, nullptr, nullptr);
    require(written >= 0 && written <= 3, "one unit gives at most 3 bytes");
    if (written > 0) {
      std::unique_ptr<plat::WCHAR> one(new plat::WCHAR);
      plat::MultiByteToWideChar(page, plat::MB_PRECOMPOSED | plat::MB_ERR_INVALID_CHARS, area.get(),
                                written, one.get(), 1);
    }
  }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  const auto choice = input.ConsumeIntegral<std::uint8_t>();
  const plat::UINT page = choice < sizeof(supportedPages) / sizeof(supportedPages[0])
                              ? supportedPages[choice]
                              : input.ConsumeIntegral<std::uint16_t>();
  const bool strict = input.ConsumeBool();
  const plat::DWORD flags = strict ? plat::MB_PRECOMPOSED | plat::MB_ERR_INVALID_CHARS : 0;
  const bool bytesFirst = input.ConsumeBool();

  if (bytesFirst) {
    const std::string bytes = input.ConsumeRemainingBytesAsString();
    const std::vector<plat::WCHAR> units = toUnits(page, flags, bytes);
    bool defaulted = false;
    const std::string again = toBytes(page, units, &defaulted);
    if (!defaulted && !again.empty()) {
      require(toUnits(page, flags, again) == units, "units come back through bytes");
    }
    convertOneByOne(page, units);
  } else {
    const std::basic_string<unsigned short> text = consumeUnits(input, 256);
    const std::vector<plat::WCHAR> units(text.begin(), text.end());
    const std::string bytes = toBytes(page, units);
    // A unit may have a best-fit form (U+00AC as the full-width sign of 932), so the bytes, not
    // the units, are what must come back.
    if (!bytes.empty()) {
      require(toBytes(page, toUnits(page, plat::MB_ERR_INVALID_CHARS, bytes)) == bytes,
              "bytes come back through units");
    }
    convertOneByOne(page, units);
  }
  return 0;
}
