#include "basalt/platform/images/pe_image.h"

#include "basalt/platform/base/thread_state.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace basalt::platform {
namespace {

// Offsets and sizes of the on-disk structures, all little-endian.
constexpr std::size_t dosHeaderSize = 64;
constexpr std::size_t peOffsetField = 0x3C;
constexpr std::size_t fileHeaderSize = 20;
constexpr std::size_t sectionHeaderSize = 40;
constexpr DWORD maxSections = 96; // the Windows loader's own limit
constexpr WORD pe32Magic = 0x10B;
constexpr WORD pe32PlusMagic = 0x20B;
constexpr std::size_t resourceDirectorySize = 16;
constexpr std::size_t resourceEntrySize = 8;
constexpr std::size_t resourceDataEntrySize = 16;
constexpr DWORD highBit = 0x80000000u;

WORD readWord(const unsigned char* at) {
  return static_cast<WORD>(at[0] | (at[1] << 8));
}

DWORD readDword(const unsigned char* at) {
  return static_cast<DWORD>(at[0]) | (static_cast<DWORD>(at[1]) << 8) |
         (static_cast<DWORD>(at[2]) << 16) | (static_cast<DWORD>(at[3]) << 24);
}

// Whether [offset, offset + length) lies within size bytes, without overflow.
bool fits(std::uint64_t offset, std::uint64_t length, std::uint64_t size) {
  return offset <= size && length <= size - offset;
}

// The resource section as a tree of directories whose offsets are relative to its start.
// Every offset is checked before it is followed; the walk has a fixed depth, so a directory
// that points back at itself can't make it loop.
class ResourceTree {
public:
  ResourceTree(const unsigned char* base, std::size_t size) : base(base), size(size) {}

  enum class Found { yes, no, corrupt };

  // The entry with that numeric identifier in the directory at offset.
  Found findId(DWORD directory, WORD id, DWORD& target) const {
    DWORD first = 0;
    DWORD count = 0;
    if (!entries(directory, first, count)) {
      return Found::corrupt;
    }
    for (DWORD i = 0; i < count; ++i) {
      const unsigned char* entry = base + first + i * resourceEntrySize;
      if (readDword(entry) == id) {
        target = readDword(entry + 4);
        return Found::yes;
      }
    }
    return Found::no;
  }

  Found firstEntry(DWORD directory, DWORD& target) const {
    DWORD first = 0;
    DWORD count = 0;
    if (!entries(directory, first, count)) {
      return Found::corrupt;
    }
    if (count == 0) {
      return Found::no;
    }
    target = readDword(base + first + 4);
    return Found::yes;
  }

  // The RVA and size that the data entry at offset names.
  bool dataEntry(DWORD offset, DWORD& rva, DWORD& length) const {
    if (!fits(offset, resourceDataEntrySize, size)) {
      return false;
    }
    rva = readDword(base + offset);
    length = readDword(base + offset + 4);
    return true;
  }

private:
  bool entries(DWORD directory, DWORD& first, DWORD& count) const {
    if (!fits(directory, resourceDirectorySize, size)) {
      return false;
    }
    count = static_cast<DWORD>(readWord(base + directory + 12)) + readWord(base + directory + 14);
    first = directory + resourceDirectorySize;
    return fits(first, static_cast<std::uint64_t>(count) * resourceEntrySize, size);
  }

  const unsigned char* base;
  std::size_t size;
};

} // namespace

std::optional<PeImage> PeImage::parse(const unsigned char* bytes, std::size_t size) {
  if (bytes == nullptr || size < dosHeaderSize || bytes[0] != 'M' || bytes[1] != 'Z') {
    return std::nullopt;
  }
  const std::uint64_t peOffset = readDword(bytes + peOffsetField);
  if (!fits(peOffset, 4 + fileHeaderSize, size) ||
      std::memcmp(bytes + peOffset, "PE\0\0", 4) != 0) {
    return std::nullopt;
  }
  const unsigned char* fileHeader = bytes + peOffset + 4;
  PeImage image(bytes);
  image.machineType = readWord(fileHeader);
  const DWORD sectionCount = readWord(fileHeader + 2);
  const DWORD optionalSize = readWord(fileHeader + 16);

  const std::uint64_t optionalOffset = peOffset + 4 + fileHeaderSize;
  if (!fits(optionalOffset, optionalSize, size) || optionalSize < 2) {
    return std::nullopt;
  }
  const unsigned char* optional = bytes + optionalOffset;
  const WORD magic = readWord(optional);
  if (magic != pe32Magic && magic != pe32PlusMagic) {
    return std::nullopt;
  }
  image.pe32Plus = magic == pe32PlusMagic;
  const DWORD countField = image.pe32Plus ? 108 : 92;
  const DWORD directoriesOffset = countField + 4;
  if (optionalSize < directoriesOffset) {
    return std::nullopt;
  }
  const DWORD declared = readDword(optional + countField);
  if (static_cast<std::uint64_t>(declared) * 8 > optionalSize - directoriesOffset) {
    return std::nullopt;
  }
  image.directoryCount = std::min<DWORD>(declared, 16);
  for (DWORD i = 0; i < image.directoryCount; ++i) {
    image.directories[i][0] = readDword(optional + directoriesOffset + i * 8);
    image.directories[i][1] = readDword(optional + directoriesOffset + i * 8 + 4);
  }

  const std::uint64_t tableOffset = optionalOffset + optionalSize;
  if (sectionCount == 0 || sectionCount > maxSections ||
      !fits(tableOffset, static_cast<std::uint64_t>(sectionCount) * sectionHeaderSize, size)) {
    return std::nullopt;
  }
  image.sections.reserve(sectionCount);
  for (DWORD i = 0; i < sectionCount; ++i) {
    const unsigned char* header = bytes + tableOffset + i * sectionHeaderSize;
    Section section{readDword(header + 12), readDword(header + 8), readDword(header + 20),
                    readDword(header + 16)};
    if (!fits(section.rawOffset, section.rawSize, size) ||
        !fits(section.virtualAddress, std::max(section.virtualSize, section.rawSize),
              std::uint64_t{1} << 32)) {
      return std::nullopt;
    }
    image.sections.push_back(section);
  }
  return image;
}

const PeImage::Section* PeImage::sectionOf(DWORD rva) const {
  for (const Section& section : sections) {
    if (rva >= section.virtualAddress && rva - section.virtualAddress < mappedSize(section)) {
      return &section;
    }
  }
  return nullptr;
}

DWORD PeImage::mappedSize(const Section& section) {
  // Without a virtual size (old linkers) the file data is the whole section; with one, any
  // file data past it is padding the loader wouldn't map.
  return section.virtualSize == 0 ? section.rawSize
                                  : std::min(section.virtualSize, section.rawSize);
}

DWORD PeImage::bytesAfterRva(DWORD rva) const {
  const Section* section = sectionOf(rva);
  return section == nullptr ? 0 : mappedSize(*section) - (rva - section->virtualAddress);
}

const unsigned char* PeImage::atRva(DWORD rva, DWORD length) const {
  const Section* section = sectionOf(rva);
  if (section == nullptr || length > mappedSize(*section) - (rva - section->virtualAddress)) {
    return nullptr;
  }
  return bytes + section->rawOffset + (rva - section->virtualAddress);
}

DWORD PeImage::directoryRva(unsigned index) const {
  return index < directoryCount ? directories[index][0] : 0;
}

DWORD PeImage::directorySize(unsigned index) const {
  return index < directoryCount ? directories[index][1] : 0;
}

DWORD PeImage::findResource(WORD type, WORD name, const LANGID* languages,
                            std::size_t languageCount, const unsigned char*& data,
                            DWORD& length) const {
  const DWORD rootRva = directoryRva(IMAGE_DIRECTORY_ENTRY_RESOURCE);
  // The directory's declared size is often loose, so the tree may use its whole section.
  const DWORD available = rootRva == 0 ? 0 : bytesAfterRva(rootRva);
  if (available < resourceDirectorySize) {
    return ERROR_RESOURCE_DATA_NOT_FOUND;
  }
  const ResourceTree tree(atRva(rootRva, available), available);
  using Found = ResourceTree::Found;

  DWORD typeTarget = 0;
  Found found = tree.findId(0, type, typeTarget);
  if (found != Found::yes) {
    return found == Found::no ? ERROR_RESOURCE_TYPE_NOT_FOUND : ERROR_RESOURCE_DATA_NOT_FOUND;
  }
  DWORD nameTarget = 0;
  if ((typeTarget & highBit) == 0) {
    return ERROR_RESOURCE_DATA_NOT_FOUND;
  }
  found = tree.findId(typeTarget & ~highBit, name, nameTarget);
  if (found != Found::yes) {
    return found == Found::no ? ERROR_RESOURCE_NAME_NOT_FOUND : ERROR_RESOURCE_DATA_NOT_FOUND;
  }
  if ((nameTarget & highBit) == 0) {
    return ERROR_RESOURCE_DATA_NOT_FOUND;
  }
  const DWORD languageDirectory = nameTarget & ~highBit;
  DWORD languageTarget = 0;
  found = Found::no;
  for (std::size_t i = 0; i < languageCount && found == Found::no; ++i) {
    found = tree.findId(languageDirectory, languages[i], languageTarget);
  }
  if (found == Found::no) {
    found = tree.firstEntry(languageDirectory, languageTarget);
  }
  if (found != Found::yes) {
    return found == Found::no ? ERROR_RESOURCE_NAME_NOT_FOUND : ERROR_RESOURCE_DATA_NOT_FOUND;
  }
  DWORD dataRva = 0;
  DWORD dataSize = 0;
  if ((languageTarget & highBit) != 0 || !tree.dataEntry(languageTarget, dataRva, dataSize)) {
    return ERROR_RESOURCE_DATA_NOT_FOUND;
  }
  const unsigned char* at = atRva(dataRva, dataSize);
  if (at == nullptr) {
    return ERROR_RESOURCE_DATA_NOT_FOUND;
  }
  data = at;
  length = dataSize;
  return ERROR_SUCCESS;
}

} // namespace basalt::platform
