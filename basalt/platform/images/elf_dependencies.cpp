#include "basalt/platform/images/elf_dependencies.h"

#include <cstdint>
#include <cstring>
#include <elf.h>
#include <link.h>

namespace basalt::platform {
namespace {

using Header = ElfW(Ehdr);
using ProgramHeader = ElfW(Phdr);
using Dynamic = ElfW(Dyn);

bool fits(std::uint64_t offset, std::uint64_t length, std::uint64_t size) {
  return offset <= size && length <= size - offset;
}

// Copies a structure out of the bytes, which may be unaligned.
template <class T>
bool readAt(const unsigned char* bytes, std::size_t size, std::uint64_t at, T& out) {
  if (!fits(at, sizeof(T), size)) {
    return false;
  }
  std::memcpy(&out, bytes + at, sizeof(T));
  return true;
}

} // namespace

std::vector<std::string> elfNeededLibraries(const unsigned char* bytes, std::size_t size) {
  Header header{};
  if (bytes == nullptr || !readAt(bytes, size, 0, header) ||
      std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 ||
      header.e_ident[EI_CLASS] != (sizeof(void*) == 8 ? ELFCLASS64 : ELFCLASS32) ||
      header.e_phentsize != sizeof(ProgramHeader) ||
      !fits(header.e_phoff, std::uint64_t{header.e_phnum} * sizeof(ProgramHeader), size)) {
    return {};
  }
  std::vector<ProgramHeader> loads;
  ProgramHeader dynamic{};
  bool hasDynamic = false;
  for (unsigned i = 0; i < header.e_phnum; ++i) {
    ProgramHeader segment{};
    readAt(bytes, size, header.e_phoff + std::uint64_t{i} * sizeof(ProgramHeader), segment);
    if (segment.p_type == PT_LOAD) {
      loads.push_back(segment);
    } else if (segment.p_type == PT_DYNAMIC && !hasDynamic) {
      dynamic = segment;
      hasDynamic = true;
    }
  }
  if (!hasDynamic || !fits(dynamic.p_offset, dynamic.p_filesz, size)) {
    return {};
  }

  std::vector<std::uint64_t> needed;
  std::uint64_t tableAddress = 0;
  std::uint64_t tableSize = 0;
  for (std::uint64_t i = 0; i < dynamic.p_filesz / sizeof(Dynamic); ++i) {
    Dynamic entry{};
    readAt(bytes, size, dynamic.p_offset + i * sizeof(Dynamic), entry);
    if (entry.d_tag == DT_NULL) {
      break;
    }
    if (entry.d_tag == DT_NEEDED) {
      needed.push_back(entry.d_un.d_val);
    } else if (entry.d_tag == DT_STRTAB) {
      tableAddress = entry.d_un.d_ptr;
    } else if (entry.d_tag == DT_STRSZ) {
      tableSize = entry.d_un.d_val;
    }
  }

  // The string table is named by its address once loaded: find the file bytes behind it.
  std::uint64_t tableOffset = 0;
  bool found = false;
  for (const ProgramHeader& load : loads) {
    if (tableAddress >= load.p_vaddr && tableAddress - load.p_vaddr < load.p_filesz &&
        tableSize <= load.p_filesz - (tableAddress - load.p_vaddr)) {
      tableOffset = load.p_offset + (tableAddress - load.p_vaddr);
      found = fits(tableOffset, tableSize, size);
      break;
    }
  }
  if (!found) {
    return {};
  }
  const char* table = reinterpret_cast<const char*>(bytes + tableOffset);
  std::vector<std::string> names;
  for (const std::uint64_t at : needed) {
    const void* end = at < tableSize ? std::memchr(table + at, '\0', tableSize - at) : nullptr;
    if (end == nullptr) {
      return {};
    }
    names.emplace_back(table + at, static_cast<const char*>(end));
  }
  return names;
}

} // namespace basalt::platform
