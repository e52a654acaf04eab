// The GUID reader on any text, over a GUID that holds anything; whatever it reads must write
// out and read back to the same GUID.

#include "basalt/text/string_converters.h"
#include "fuzz_text.h"

#include <cstdint>
#include <cstring>

namespace plat = basalt::platform;
using namespace StringConverters;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  plat::GUID guid;
  std::memset(&guid, 0xA5, sizeof(guid));
  const auto seed = input.ConsumeBytes<std::uint8_t>(sizeof(guid));
  if (!seed.empty()) {
    std::memcpy(&guid, seed.data(), seed.size());
  }
  const KELPString text(consumeUnits(input, 128));

  require(convertStringToGUID(text, guid), "the reader is always true");
  KELPString written;
  require(convertGUIDToString(guid, written), "the writer is always true");
  plat::GUID back;
  std::memset(&back, 0x5A, sizeof(back));
  require(convertStringToGUID(written, back), "the reader is always true");
  require(back.Data1 == guid.Data1 && back.Data2 == guid.Data2 && back.Data3 == guid.Data3 &&
              std::memcmp(back.Data4, guid.Data4, sizeof(guid.Data4)) == 0,
          "GUID round trip");
  return 0;
}
