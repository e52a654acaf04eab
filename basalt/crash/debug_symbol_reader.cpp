#include "basalt/crash/debug_symbol_reader.h"

#include "basalt/platform/runtime/environment.h"

#include <algorithm>
#include <cstring>

namespace basalt::crash {

namespace plat = basalt::platform;

namespace {

// The record kinds and field positions that differ between "NB11" data and older data.
struct CvRecordLayout {
  std::uint16_t localData;
  std::uint16_t globalData;
  std::uint16_t localProc;
  std::uint16_t globalProc;
  std::uint16_t framePointerRelative;
  unsigned typeIndexWidth; // of S_BPREL32, in bytes
  unsigned procCodeOffset;
  unsigned dataOffset;
  unsigned dataSegment;
  unsigned dataName;
  unsigned localName;
};

constexpr CvRecordLayout nb11Layout{0x1007, 0x1008, 0x100A, 0x100B, 0x1006, 4, 32, 8, 12, 14, 12};
constexpr CvRecordLayout olderLayout{0x201, 0x202, 0x204, 0x205, 0x200, 2, 28, 4, 8, 12, 10};

// Process-wide: each successful open sets it, and it stays between modules.
CvRecordLayout cvRecordLayout = nb11Layout;

constexpr std::uint16_t S_END = 6;
constexpr std::uint16_t S_PROCREF = 0x400;
constexpr std::uint16_t S_DATAREF = 0x401;

constexpr std::uint16_t sstModule = 0x120;
constexpr std::uint16_t sstAlignSym = 0x125;
constexpr std::uint16_t sstSrcModule = 0x127;
constexpr std::uint16_t sstGlobalSym = 0x129;
constexpr std::uint16_t sstStaticSym = 0x134;

constexpr std::uint32_t globalType = 0xFFFFFFFF;
constexpr std::uint16_t IMAGE_FILE_DEBUG_STRIPPED = 0x200;
constexpr unsigned IMAGE_DIRECTORY_ENTRY_DEBUG = 6;
constexpr std::uint32_t IMAGE_DEBUG_TYPE_CODEVIEW = 2;
constexpr std::uint64_t sectionHeaderSize = 40;
constexpr std::uint64_t debugEntrySize = 28;

// Pointer modes 1 to 6 (near to near 64-bit) of a primitive type index.
bool isPointerMode(std::uint32_t mode) {
  return mode >= 1 && mode <= 6;
}

} // namespace

template <class T> bool DebugSymbolReader::read(std::uint64_t at, T& value) const {
  if (!mapped || at > image->SizeOfImage || image->SizeOfImage - at < sizeof(T)) {
    return false;
  }
  std::memcpy(&value, image->MappedAddress + at, sizeof(T));
  return true;
}

DebugSymbolReader::DebugSymbolReader(plat::FILE* stream, MapAndLoadFunction mapAndLoad,
                                     UnMapAndLoadFunction unMapAndLoad)
    : stream(stream), mapAndLoad(mapAndLoad), unMapAndLoad(unMapAndLoad) {}

DebugSymbolReader::~DebugSymbolReader() {
  reset();
}

void DebugSymbolReader::close() {
  if (mapped && unMapAndLoad != nullptr) {
    unMapAndLoad(image.get());
  }
  mapped = false;
}

void DebugSymbolReader::reset() {
  close();
  image.reset();
  cvBase = 0;
  dirEntrySize = 0;
  firstDirEntry = 0;
  dirEntryCount = 0;
  moduleCount = 0;
  globalTable = 0;
  staticTable = 0;
  ntHeaders = 0;
  textBegin = 0;
  textFinish = 0;
  textIndex = 0;
  isReady = false;
}

int DebugSymbolReader::open(const plat::IMAGEHLP_MODULE* module) {
  reset();
  image = std::make_unique<plat::LOADED_IMAGE>();
  const char* dot = std::strrchr(module->ImageName, '.');
  const plat::BOOL dotDll = dot != nullptr && std::strncmp(dot, ".dll", 4) == 0;
  char name[sizeof module->ModuleName + 1] = {};
  std::memcpy(name, module->ModuleName, sizeof module->ModuleName);
  mapped = mapAndLoad(name, nullptr, image.get(), dotDll, plat::TRUE) != 0 ||
           mapAndLoad(name, plat::getenv("path"), image.get(), dotDll, plat::TRUE) != 0;
  if (!mapped || image->FileHeader == nullptr) {
    return 0;
  }
  ntHeaders = static_cast<std::uint64_t>(image->FileHeader - image->MappedAddress);
  std::uint16_t characteristics = 0;
  std::uint16_t magic = 0;
  if (!read(ntHeaders + 22, characteristics) || !read(ntHeaders + 24, magic) ||
      (characteristics & IMAGE_FILE_DEBUG_STRIPPED) != 0) {
    return 0;
  }
  // The data directories of PE32 and PE32+ stand at different places.
  const std::uint64_t optional = ntHeaders + 24;
  const std::uint64_t countAt = optional + (magic == 0x20B ? 108 : 92);
  std::uint32_t directoryCount = 0;
  std::uint32_t debugRva = 0;
  std::uint32_t debugSize = 0;
  const std::uint64_t debugDirectory = countAt + 4 + 8 * IMAGE_DIRECTORY_ENTRY_DEBUG;
  if (!read(countAt, directoryCount) || directoryCount <= 6 || !read(debugDirectory, debugRva) ||
      !read(debugDirectory + 4, debugSize)) {
    return 0;
  }
  const std::uint64_t firstSection =
      static_cast<std::uint64_t>(image->Sections - image->MappedAddress);
  if (findTextSection(firstSection) == 0) {
    return 0;
  }
  std::uint32_t textAddress = 0;
  std::uint32_t textSize = 0;
  const std::uint64_t text = firstSection + sectionHeaderSize * textIndex;
  if (!read(text + 12, textAddress) || !read(text + 8, textSize)) {
    return 0;
  }
  textBegin = module->BaseOfImage + textAddress;
  textFinish = textBegin + textSize;

  // The section whose file data holds the debug directory.
  std::uint64_t directory = 0;
  for (plat::ULONG index = 0; index < image->NumberOfSections && directory == 0; ++index) {
    const std::uint64_t section = firstSection + sectionHeaderSize * index;
    std::uint32_t address = 0;
    std::uint32_t rawSize = 0;
    std::uint32_t rawData = 0;
    if (read(section + 12, address) && read(section + 16, rawSize) && read(section + 20, rawData) &&
        address <= debugRva && debugRva - address < rawSize) {
      directory = std::uint64_t{rawData} + (debugRva - address);
    }
  }
  if (directory == 0) {
    return 0;
  }
  for (std::uint32_t entry = 0; entry < debugSize / debugEntrySize && cvBase == 0; ++entry) {
    std::uint32_t type = 0;
    std::uint32_t rawData = 0;
    if (!read(directory + debugEntrySize * entry + 12, type) ||
        !read(directory + debugEntrySize * entry + 24, rawData)) {
      return 0;
    }
    cvBase = type == IMAGE_DEBUG_TYPE_CODEVIEW ? rawData : 0;
  }
  char signature[4] = {};
  if (cvBase == 0 || !read(cvBase, signature) || std::memcmp(signature, "NB10", 4) == 0) {
    return 0;
  }
  cvRecordLayout = std::memcmp(signature, "NB11", 4) == 0 ? nb11Layout : olderLayout;
  isReady = true;
  return 1;
}

int DebugSymbolReader::findTextSection(std::uint64_t firstSection) {
  for (plat::ULONG index = 0; index < image->NumberOfSections; ++index) {
    char name[8] = {};
    if (!read(firstSection + sectionHeaderSize * index, name)) {
      return 0;
    }
    if (std::memcmp(name, ".text\0\0\0", sizeof name) == 0) {
      textIndex = index;
      return 1;
    }
  }
  return 0;
}

std::uint32_t DebugSymbolReader::scanDirectory() {
  std::uint32_t position = 0;
  if (cvBase == 0 || !read(cvBase + 4, position) || position == 0) {
    return 0;
  }
  const std::uint64_t header = cvBase + position;
  std::uint16_t headerSize = 0;
  if (!read(header, headerSize) || !read(header + 2, dirEntrySize) ||
      !read(header + 4, dirEntryCount) || dirEntrySize < 8) {
    return 0;
  }
  firstDirEntry = header + headerSize;
  moduleCount = 0;
  for (std::uint32_t entry = 0; entry < dirEntryCount; ++entry) {
    std::uint16_t kind = 0;
    std::uint16_t index = 0;
    const std::uint64_t at = firstDirEntry + std::uint64_t{dirEntrySize} * entry;
    if (!read(at, kind) || !read(at + 2, index)) {
      return moduleCount = 0;
    }
    if (kind == sstModule) {
      moduleCount = std::max<std::uint32_t>(moduleCount, index);
    }
  }
  return moduleCount;
}

void DebugSymbolReader::fillModuleTable(ModuleTable& table) {
  for (std::uint32_t entry = 0; entry < dirEntryCount; ++entry) {
    const std::uint64_t at = firstDirEntry + std::uint64_t{dirEntrySize} * entry;
    std::uint16_t kind = 0;
    std::uint16_t index = 0;
    std::uint32_t position = 0;
    if (!read(at, kind) || !read(at + 2, index) || !read(at + 4, position)) {
      return;
    }
    const std::uint64_t subsection = cvBase + position;
    if (kind == sstGlobalSym) {
      globalTable = subsection;
    } else if (kind == sstStaticSym) {
      staticTable = subsection;
    } else if (index == 0 || index > table.size()) {
      continue;
    } else if (kind == sstModule) {
      table[index - 1] = {subsection, 0, 0};
    } else if (kind == sstAlignSym) {
      table[index - 1].alignSym = subsection;
    } else if (kind == sstSrcModule) {
      table[index - 1].srcModule = subsection;
    }
  }
}

int DebugSymbolReader::printGlobals(std::uint64_t table, const ModuleTable& moduleTable) {
  std::uint32_t symbolBytes = 0;
  if (table == 0 || !read(table + 4, symbolBytes) || symbolBytes == 0) {
    return 1;
  }
  const std::uint64_t end = recordsOf(table) + symbolBytes;
  for (std::uint64_t record = recordsOf(table); record < end;) {
    std::uint16_t length = 0;
    std::uint16_t kind = 0;
    if (!read(record, length) || !read(record + 2, kind)) {
      return 1;
    }
    std::uint32_t position = 0;
    std::uint16_t index = 0;
    if (kind == S_DATAREF && read(record + 8, position) && read(record + 12, index) && index != 0 &&
        index <= moduleTable.size() && moduleTable[index - 1].alignSym != 0) {
      const std::uint64_t data = moduleTable[index - 1].alignSym + position;
      std::uint16_t dataKind = 0;
      std::uint32_t offset = 0;
      std::uint16_t segment = 0;
      if (read(data + 2, dataKind) &&
          (dataKind == cvRecordLayout.globalData || dataKind == cvRecordLayout.localData) &&
          read(data + cvRecordLayout.dataOffset, offset) &&
          read(data + cvRecordLayout.dataSegment, segment)) {
        printVariable(data + cvRecordLayout.dataName, globalType,
                      symbolAddress(ntHeaders, segment, offset));
      }
    }
    record += 2 + std::uint64_t{length};
  }
  return 1;
}

std::uint64_t DebugSymbolReader::symbolAddress(std::uint64_t headers, std::uint16_t segment,
                                               std::uint32_t offset) const {
  std::uint16_t sections = 0;
  std::uint16_t optionalSize = 0;
  if (!read(headers + 6, sections) || !read(headers + 20, optionalSize) || segment == 0 ||
      segment > sections) {
    return 0;
  }
  const std::uint64_t section = headers + 24 + optionalSize + sectionHeaderSize * (segment - 1);
  std::uint32_t virtualSize = 0;
  std::uint32_t rawSize = 0;
  std::uint32_t rawData = 0;
  // The value the image stores: none for what lies past the section's file data.
  if (!read(section + 8, virtualSize) || !read(section + 16, rawSize) ||
      !read(section + 20, rawData) || offset >= virtualSize || offset >= rawSize) {
    return 0;
  }
  return std::uint64_t{rawData} + offset;
}

int DebugSymbolReader::findProcedureRef(std::uint32_t segment, std::uint64_t table,
                                        std::uint32_t offset, std::uint32_t& position,
                                        std::uint16_t& moduleIndex) const {
  std::uint32_t symbolBytes = 0;
  std::uint32_t hashBytes = 0;
  if (!read(table + 4, symbolBytes) || !read(table + 8, hashBytes)) {
    return 0;
  }
  const std::uint64_t addresses = recordsOf(table) + symbolBytes + hashBytes;
  std::uint16_t segments = 0;
  std::uint32_t segmentPosition = 0;
  std::uint32_t pairs = 0;
  if (!read(addresses, segments) || segment >= segments ||
      !read(addresses + 4 + 4 * std::uint64_t{segment}, segmentPosition) ||
      !read(addresses + 4 + 4 * std::uint64_t{segments} + 4 * std::uint64_t{segment}, pairs) ||
      pairs == 0) {
    return 0;
  }
  const std::uint64_t first = addresses + 4 + 8 * std::uint64_t{segments} + segmentPosition;
  // The last pair at or below offset.
  std::uint32_t low = 0;
  std::uint32_t high = pairs;
  bool hit = false;
  while (low < high) {
    if (low + 1 == high) {
      high = low;
    }
    const std::uint32_t middle = low + (high - low) / 2;
    std::uint32_t codeOffset = 0;
    if (!read(first + 8 * std::uint64_t{middle} + 4, codeOffset)) {
      return 0;
    }
    if (codeOffset <= offset) {
      low = middle;
      hit = true;
    } else {
      high = middle;
    }
  }
  std::uint32_t recordPosition = 0;
  const std::uint64_t reference = recordsOf(table);
  std::uint16_t kind = 0;
  if (!hit || !read(first + 8 * std::uint64_t{low}, recordPosition) ||
      !read(reference + recordPosition + 2, kind) || kind != S_PROCREF ||
      !read(reference + recordPosition + 8, position) ||
      !read(reference + recordPosition + 12, moduleIndex)) {
    return 0;
  }
  return 1;
}

bool DebugSymbolReader::procedureHolds(std::uint32_t offset, std::uint64_t record) const {
  std::uint16_t kind = 0;
  std::uint32_t length = 0;
  std::uint32_t codeOffset = 0;
  return record != 0 && read(record + 2, kind) &&
         (kind == cvRecordLayout.globalProc || kind == cvRecordLayout.localProc) &&
         read(record + 16, length) && read(record + cvRecordLayout.procCodeOffset, codeOffset) &&
         offset >= codeOffset && offset - codeOffset < length;
}

bool DebugSymbolReader::inDebugRange(std::uint64_t record, std::uint64_t displacement) const {
  std::uint32_t start = 0;
  std::uint32_t end = 0;
  return read(record + 20, start) && read(record + 24, end) && displacement >= start &&
         displacement <= end;
}

void DebugSymbolReader::printLocals(std::uint64_t framePointer, std::uint64_t record) {
  for (;;) {
    std::uint16_t length = 0;
    std::uint16_t kind = 0;
    if (!read(record, length) || !read(record + 2, kind) || kind == S_END) {
      return;
    }
    std::int32_t frameOffset = 0;
    if (kind == cvRecordLayout.framePointerRelative && read(record + 4, frameOffset) &&
        frameOffset != 0) {
      std::uint32_t type = 0;
      std::uint16_t narrowType = 0;
      const bool typed = cvRecordLayout.typeIndexWidth == 4 ? read(record + 8, type)
                                                            : read(record + 8, narrowType);
      if (typed) {
        printVariable(record + cvRecordLayout.localName,
                      cvRecordLayout.typeIndexWidth == 4 ? type : narrowType,
                      framePointer + static_cast<std::uint64_t>(std::int64_t{frameOffset}));
      }
    }
    record += 2 + std::uint64_t{length};
  }
}

void DebugSymbolReader::printVariable(std::uint64_t countedName, std::uint32_t type,
                                      std::uint64_t address) {
  std::int8_t length = 0;
  char name[512] = {};
  if (!read(countedName, length) || length < 0) {
    return;
  }
  for (std::int8_t at = 0; at < length; ++at) {
    if (!read(countedName + 1 + static_cast<std::uint64_t>(at), name[at])) {
      return;
    }
  }
  VariableValue value;
  value.size = 4;
  if (type == globalType) {
    if (!claimGlobal(name)) {
      return;
    }
    std::uint32_t stored = 0;
    value.read = address != 0 && read(address, stored);
    std::memcpy(value.bytes, &stored, sizeof stored);
    writeVariableLine(stream, TypeClass::Global, name, value, 8);
    return;
  }
  const TypeClass typeClass = type > 0xFFF ? TypeClass::Hex : classifyType(type);
  value.size = typeClass == TypeClass::Char ? 1 : typeClass == TypeClass::Double ? 8 : 4;
  value.read =
      plat::ReadProcessMemory(plat::GetCurrentProcess(), reinterpret_cast<const void*>(address),
                              value.bytes, value.size, nullptr) != 0;
  writeVariableLine(stream, typeClass, name, value, 8);
}

TypeClass DebugSymbolReader::classifyType(std::uint32_t type) {
  const std::uint32_t base = type & 0xFF;
  const std::uint32_t mode = (type >> 8) & 0xF;
  if (type > 0xFFF || (mode != 0 && !isPointerMode(mode))) {
    return TypeClass::Plain;
  }
  const bool pointer = mode != 0;
  switch (base) {
  case 0x70: // T_RCHAR
    return pointer ? TypeClass::CharPointer : TypeClass::Char;
  case 0x40: // T_REAL32
    return pointer ? TypeClass::FloatPointer : TypeClass::Float;
  case 0x41: // T_REAL64
    return pointer ? TypeClass::DoublePointer : TypeClass::Double;
  case 0x11: // T_SHORT
  case 0x21: // T_USHORT
  case 0x72: // T_INT2
  case 0x73: // T_UINT2
  case 0x74: // T_INT4
  case 0x75: // T_UINT4
    return pointer ? TypeClass::IntPointer : TypeClass::Int;
  default:
    return TypeClass::Plain;
  }
}

} // namespace basalt::crash
