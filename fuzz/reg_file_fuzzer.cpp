// Feeds arbitrary bytes to the .reg reader and applies what it reads to a tree; then writes
// the tree out as basalt-admin does and checks that the reader gives the same tree back.

#include "basalt/platform/registry/reg_file_parser.h"
#include "basalt/platform/registry/registry_tree.h"
#include "tools/basalt-admin/reg_text.h"

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

bool hasLoneSurrogate(const plat::WString& text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] >= 0xD800 && text[i] <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
        text[i + 1] <= 0xDFFF) {
      ++i;
    } else if (text[i] >= 0xD800 && text[i] <= 0xDFFF) {
      return true;
    }
  }
  return false;
}

// UTF-8 can't carry a lone surrogate, so a name with one can't come back as it was.
bool writable(const plat::RegKey& key) {
  for (const auto& entry : key.values) {
    if (hasLoneSurrogate(entry.second.name)) {
      return false;
    }
  }
  for (const auto& subKey : key.subKeys) {
    if (hasLoneSurrogate(subKey->name) || !writable(*subKey)) {
      return false;
    }
  }
  return true;
}

void checkSame(const plat::RegKey& original, const plat::RegKey& copy) {
  check(original.values.size() == copy.values.size());
  for (auto at = original.values.begin(), other = copy.values.begin(); at != original.values.end();
       ++at, ++other) {
    check(at->second.name == other->second.name && at->second.type == other->second.type &&
          at->second.data == other->second.data);
  }
  check(original.subKeys.size() == copy.subKeys.size());
  for (std::size_t i = 0; i < original.subKeys.size(); ++i) {
    check(original.subKeys[i]->name == copy.subKeys[i]->name);
    checkSame(*original.subKeys[i], *copy.subKeys[i]);
  }
}

constexpr const char* hiveNames[plat::hiveSlots] = {
    "HKEY_CLASSES_ROOT",  "HKEY_CURRENT_USER", "HKEY_LOCAL_MACHINE", "HKEY_USERS", nullptr,
    "HKEY_CURRENT_CONFIG"};

void checkRoundTrip(const plat::RegistryTree& tree) {
  std::string text = std::string(basalt::admin::regFileHeader) + "\n\n";
  for (int slot = 0; slot < plat::hiveSlots; ++slot) {
    const plat::RegKey* root = tree.hive(slot);
    if (root != nullptr && !writable(*root)) {
      return;
    }
    if (root != nullptr) {
      basalt::admin::appendKeyTree(text, hiveNames[slot], *root);
    }
  }
  const plat::RegFileContents written = plat::parseRegFile(text, 1252);
  check(written.problems.empty());
  plat::RegistryTree copy;
  copy.apply(written.operations);
  for (int slot = 0; slot < plat::hiveSlots; ++slot) {
    if (const plat::RegKey* root = tree.hive(slot)) {
      checkSame(*root, *copy.hive(slot));
    }
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
  // Twice: the second pass finds every key and value there already.
  tree.apply(contents.operations);
  tree.apply(contents.operations);
  for (int slot = 0; slot < plat::hiveSlots; ++slot) {
    if (const plat::RegKey* root = tree.hive(slot)) {
      walk(*root);
    }
  }
  checkRoundTrip(tree);
  return 0;
}
