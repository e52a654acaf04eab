// Feeds arbitrary bytes to the .reg reader and applies what it reads to a tree.

#include "basalt/platform/reg_file_parser.h"
#include "basalt/platform/registry_tree.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace plat = basalt::platform;

namespace {

// Single-byte, double-byte and UTF-8 pages, chosen by the input's length.
constexpr plat::UINT codePages[] = {1252, 932, 65001, 1251};

void check(bool condition) {
  if (!condition) {
    __builtin_trap();
  }
}

void walk(const plat::RegKey& key) {
  for (std::size_t i = 0; i < key.subKeys.size(); ++i) {
    const plat::RegKey& subKey = *key.subKeys[i];
    check(!subKey.name.empty() && subKey.name.size() <= plat::maxKeyNameLength);
    check(i == 0 || key.subKeys[i - 1]->foldedName < subKey.foldedName);
    check(key.findSubKey(subKey.foldedName) == &subKey);
    walk(subKey);
  }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  const plat::RegFileContents contents = plat::parseRegFile(bytes, codePages[size % 4]);
  for (const plat::RegFileProblem& problem : contents.problems) {
    check(!problem.what.empty() && problem.line <= size + 1);
  }
  plat::RegistryTree tree;
  tree.apply(contents.operations, 0);
  tree.apply(contents.operations, 1);
  for (int slot = 0; slot < plat::hiveSlots; ++slot) {
    if (const plat::RegKey* root = tree.hive(slot)) {
      walk(*root);
    }
  }
  return 0;
}
