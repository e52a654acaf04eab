// Feeds arbitrary bytes to the PE reader as a whole file and reads strings from every table
// it accepts, so that each offset the reader follows is one the fuzzer can bend.

#include "basalt/platform/images/pe_image.h"
#include "basalt/platform/images/string_resources.h"

#include <cstddef>
#include <cstdint>

namespace plat = basalt::platform;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto image = plat::PeImage::parse(data, size);
  if (!image) {
    return 0;
  }
  // Identifiers in the first blocks, in a far one, and those the libraries use.
  static constexpr plat::UINT ids[] = {0,  1,   2,   15,     16,         17,
                                       33, 100, 101, 0x1F00, 0xC2011F03, 0xFFFF};
  static constexpr plat::LANGID languages[] = {0x0000, 0x0407, 0x0409, 0x0411};
  unsigned sum = 0;
  for (const plat::UINT id : ids) {
    for (const plat::LANGID language : languages) {
      const plat::WCHAR* text = nullptr;
      std::size_t length = 0;
      if (plat::findStringResource(*image, id, language, text, length) == 0) {
        for (std::size_t i = 0; i < length; ++i) {
          sum += text[i];
        }
      }
    }
  }
  const plat::DWORD root = image->directoryRva(plat::IMAGE_DIRECTORY_ENTRY_RESOURCE);
  if (const unsigned char* at = image->atRva(root, image->bytesAfterRva(root))) {
    sum += at[0];
  }
  return sum == 0xFFFFFFFFu ? 1 : 0;
}
