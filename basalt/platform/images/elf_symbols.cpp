#include "basalt/platform/images/elf_symbols.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <elf.h>
#include <fcntl.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

namespace basalt::platform {
namespace {

using Header = ElfW(Ehdr);
using SectionHeader = ElfW(Shdr);
using Symbol = ElfW(Sym);

// Symbol tables beyond this are taken for damage, not read.
constexpr std::uint64_t largestTable = std::uint64_t{1} << 30;

class File {
public:
  explicit File(const std::string& path)
      : fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
    struct stat status {};
    if (fd >= 0 && ::fstat(fd, &status) == 0 && S_ISREG(status.st_mode)) {
      size = static_cast<std::uint64_t>(status.st_size);
    }
  }
  ~File() {
    if (fd >= 0) {
      ::close(fd);
    }
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  bool read(std::uint64_t offset, void* buffer, std::uint64_t length) const {
    if (offset > size || length > size - offset) {
      return false;
    }
    auto* out = static_cast<unsigned char*>(buffer);
    std::uint64_t done = 0;
    while (done < length) {
      const ssize_t got = ::pread(fd, out + done, length - done, static_cast<off_t>(offset + done));
      if (got < 0 && errno == EINTR) {
        continue;
      }
      if (got <= 0) {
        return false;
      }
      done += static_cast<std::uint64_t>(got);
    }
    return true;
  }

  std::uint64_t length() const { return size; }

private:
  int fd;
  std::uint64_t size = 0;
};

bool readSection(const File& file, const SectionHeader& section, std::vector<char>& bytes) {
  if (section.sh_type == SHT_NOBITS || section.sh_size > largestTable) {
    return false;
  }
  bytes.resize(section.sh_size);
  return file.read(section.sh_offset, bytes.data(), section.sh_size);
}

} // namespace

ElfSymbolTable ElfSymbolTable::read(const std::string& path) {
  ElfSymbolTable table;
  const File file(path);
  Header header{};
  if (!file.read(0, &header, sizeof header) || std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 ||
      header.e_ident[EI_CLASS] != (sizeof(void*) == 8 ? ELFCLASS64 : ELFCLASS32) ||
      header.e_shentsize != sizeof(SectionHeader) || header.e_shnum == 0) {
    return table;
  }
  std::vector<SectionHeader> sections(header.e_shnum);
  if (!file.read(header.e_shoff, sections.data(), sections.size() * sizeof(SectionHeader))) {
    return table;
  }
  const auto full = std::find_if(sections.begin(), sections.end(),
                                 [](const SectionHeader& s) { return s.sh_type == SHT_SYMTAB; });
  const auto dynamic = std::find_if(sections.begin(), sections.end(),
                                    [](const SectionHeader& s) { return s.sh_type == SHT_DYNSYM; });
  const auto chosen = full != sections.end() ? full : dynamic;
  if (chosen == sections.end() || chosen->sh_link >= sections.size()) {
    return table;
  }
  std::vector<char> symbolBytes;
  std::vector<char> names;
  if (!readSection(file, *chosen, symbolBytes) ||
      !readSection(file, sections[chosen->sh_link], names) || names.empty()) {
    return table;
  }
  names.back() = '\0';
  const std::size_t count = symbolBytes.size() / sizeof(Symbol);
  for (std::size_t index = 0; index < count; ++index) {
    Symbol symbol{};
    std::memcpy(&symbol, symbolBytes.data() + index * sizeof(Symbol), sizeof symbol);
    const unsigned type = ELF64_ST_TYPE(symbol.st_info);
    if ((type != STT_FUNC && type != STT_OBJECT) || symbol.st_shndx == SHN_UNDEF ||
        symbol.st_value == 0 || symbol.st_name >= names.size()) {
      continue;
    }
    table.symbols.push_back({symbol.st_value, symbol.st_size, names.data() + symbol.st_name});
  }
  // By address; of symbols at one address the sized one first, so that find prefers it.
  std::sort(table.symbols.begin(), table.symbols.end(), [](const ElfSymbol& a, const ElfSymbol& b) {
    return a.address != b.address ? a.address < b.address : a.size > b.size;
  });
  table.fromFullTable = full != sections.end();
  return table;
}

const ElfSymbol* ElfSymbolTable::find(std::uint64_t address) const {
  auto after = std::upper_bound(
      symbols.begin(), symbols.end(), address,
      [](std::uint64_t value, const ElfSymbol& symbol) { return value < symbol.address; });
  if (after == symbols.begin()) {
    return nullptr;
  }
  const std::uint64_t start = std::prev(after)->address;
  // Of the symbols at that address, the first is the sized one.
  const auto first = std::lower_bound(
      symbols.begin(), after, start,
      [](const ElfSymbol& symbol, std::uint64_t value) { return symbol.address < value; });
  if (first->size != 0 && address - first->address >= first->size) {
    return nullptr;
  }
  return &*first;
}

} // namespace basalt::platform
