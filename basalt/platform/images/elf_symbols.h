#ifndef BASALT_PLATFORM_IMAGES_ELF_SYMBOLS_H
#define BASALT_PLATFORM_IMAGES_ELF_SYMBOLS_H

// The function and data symbols of an ELF file, read from its section headers: the full
// symbol table when the file has one, else the dynamic one. Every offset is checked against
// the file; a file that doesn't hold together has no symbols.

#include <cstdint>
#include <string>
#include <vector>

namespace basalt::platform {

struct ElfSymbol {
  std::uint64_t address; // as the file has it, before the load bias
  std::uint64_t size;
  std::string name;
};

class ElfSymbolTable {
public:
  // Empty when the file can't be read or has no symbols.
  static ElfSymbolTable read(const std::string& path);

  // Whether the symbols came from the full table (.symtab) rather than the dynamic one.
  bool full() const { return fromFullTable; }
  std::size_t size() const { return symbols.size(); }
  // The symbol that holds address: the nearest one at or below it, unless that one has a
  // size and ends at or below address. Null when none.
  const ElfSymbol* find(std::uint64_t address) const;

private:
  std::vector<ElfSymbol> symbols; // by address
  bool fromFullTable = false;
};

} // namespace basalt::platform

#endif
