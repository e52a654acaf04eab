// Feeds arbitrary bytes to the reader of an ELF object's needed libraries.

#include "basalt/platform/images/elf_dependencies.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::size_t total = 0;
  for (const std::string& name : basalt::platform::elfNeededLibraries(data, size)) {
    total += name.size();
  }
  return total == SIZE_MAX ? 1 : 0;
}
