#ifndef BASALT_PLATFORM_IMAGES_PE_IMAGE_H
#define BASALT_PLATFORM_IMAGES_PE_IMAGE_H

// A read-only view of a Windows PE image (PE32 or PE32+) held as file bytes. Nothing of the
// image is trusted: parse() checks the headers and the section table, and every later read
// checks its own offsets against the bytes that are there. No code of the image ever runs.

#include "basalt/platform/base/win_types.h"

#include <cstddef>
#include <optional>
#include <vector>

namespace basalt::platform {

using LANGID = WORD;

constexpr WORD RT_STRING = 6;
constexpr unsigned IMAGE_DIRECTORY_ENTRY_RESOURCE = 2;

class PeImage {
public:
  struct Section {
    DWORD virtualAddress;
    DWORD virtualSize;
    DWORD rawOffset;
    DWORD rawSize;
  };

  // The image in bytes[0..size), or nothing when it isn't a well-formed PE file. The bytes
  // must outlive the view.
  static std::optional<PeImage> parse(const unsigned char* bytes, std::size_t size);

  bool is64Bit() const { return pe32Plus; }
  WORD machine() const { return machineType; }

  // Where the data at [rva, rva + length) lies in the file, when all of it lies in the file
  // data of one section; null otherwise.
  const unsigned char* atRva(DWORD rva, DWORD length) const;

  // How many bytes of file data follow rva in its section; 0 when rva is in none.
  DWORD bytesAfterRva(DWORD rva) const;

  // The RVA and size of a data directory entry; both 0 when the image has none.
  DWORD directoryRva(unsigned index) const;
  DWORD directorySize(unsigned index) const;

  // The data of resource type/name by numeric identifiers. Languages are tried in the order
  // given, then the first language the name has. Returns 0 and sets data/size, or
  // ERROR_RESOURCE_DATA_NOT_FOUND (no resource section, or one that doesn't hold together),
  // ERROR_RESOURCE_TYPE_NOT_FOUND or ERROR_RESOURCE_NAME_NOT_FOUND.
  DWORD findResource(WORD type, WORD name, const LANGID* languages, std::size_t languageCount,
                     const unsigned char*& data, DWORD& size) const;

private:
  explicit PeImage(const unsigned char* bytes) : bytes(bytes) {}

  // The section whose file data holds rva, if any.
  const Section* sectionOf(DWORD rva) const;
  static DWORD mappedSize(const Section& section);

  const unsigned char* bytes;
  bool pe32Plus = false;
  WORD machineType = 0;
  DWORD directoryCount = 0;
  DWORD directories[16][2] = {};
  std::vector<Section> sections;
};

} // namespace basalt::platform

#endif
