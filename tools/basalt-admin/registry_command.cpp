#include "basalt/platform/base/utf8.h"
#include "basalt/platform/registry/reg_file_parser.h"
#include "basalt/platform/registry/registry_store.h"
#include "tools/basalt-admin/commands.h"
#include "tools/basalt-admin/reg_text.h"

#include <cstdio>
#include <iterator>

namespace basalt::admin {
namespace {

namespace plat = basalt::platform;

// A key as the user names it: a hive, long or short, then key names, each separated by one
// backslash, perhaps with one at the end.
struct KeyName {
  const plat::HiveName* hive = nullptr;
  std::vector<plat::WString> path;
};

bool parseKeyName(const std::string& text, KeyName& key) {
  std::vector<std::string> parts;
  for (std::size_t start = 0;;) {
    const std::size_t end = text.find('\\', start);
    parts.push_back(text.substr(start, end == std::string::npos ? end : end - start));
    if (end == std::string::npos) {
      break;
    }
    start = end + 1;
  }
  if (parts.size() > 1 && parts.back().empty()) {
    parts.pop_back();
  }
  plat::WString hiveName;
  if (platform::utf8::decodeAll(parts[0], hiveName)) {
    key.hive = plat::findHive(hiveName);
  }
  if (key.hive == nullptr) {
    complain("\"" + parts[0] + "\" is no root key; use HKEY_LOCAL_MACHINE (HKLM), " +
             "HKEY_CURRENT_USER (HKCU), HKEY_CLASSES_ROOT (HKCR), HKEY_USERS (HKU) or " +
             "HKEY_CURRENT_CONFIG (HKCC)");
    return false;
  }
  for (std::size_t i = 1; i < parts.size(); ++i) {
    plat::WString name;
    if (parts[i].empty() || !platform::utf8::decodeAll(parts[i], name)) {
      complain("\"" + text + "\" is no key name: " +
               (parts[i].empty() ? "it has an empty name between two backslashes"
                                 : "it isn't valid UTF-8"));
      return false;
    }
    key.path.push_back(name);
  }
  return true;
}

// The key and its full name as the registry spells it.
const plat::RegKey* findKey(const plat::RegistryTree& tree, const KeyName& name,
                            std::string& fullName) {
  const plat::RegKey* key = tree.hive(name.hive->slot);
  fullName = name.hive->longName;
  for (const plat::WString& part : name.path) {
    key = key == nullptr ? nullptr : key->findSubKey(plat::foldName(part));
    if (key == nullptr) {
      return nullptr;
    }
    fullName += '\\' + platform::utf8::encode(key->name);
  }
  return key;
}

bool unreadable(const plat::RegistrySource& source) {
  return !source.problems.empty() && source.problems.front().line == 0;
}

void listProblems(const std::vector<plat::RegistrySource>& sources) {
  for (const plat::RegistrySource& source : sources) {
    for (const plat::RegFileProblem& problem : source.problems) {
      if (problem.line == 0) {
        std::fprintf(stderr, "%s: %s\n", source.path.c_str(), problem.what.c_str());
      } else {
        std::fprintf(stderr, "%s:%u: %s\n", source.path.c_str(), problem.line,
                     problem.what.c_str());
      }
    }
  }
}

// The listing's head: which files it was merged from, and which were named but gave nothing.
std::string sourcesComment(const std::vector<plat::RegistrySource>& sources) {
  std::string merged;
  std::string unread;
  for (const plat::RegistrySource& source : sources) {
    (unreadable(source) ? unread : merged) += ";   " + source.path + "\n";
  }
  std::string out;
  out += merged.empty()
             ? "; No registry file was read.\n"
             : "; Merged from these files, later ones overriding earlier ones:\n" + merged;
  if (!unread.empty()) {
    out += "; These could not be read (see standard error):\n" + unread;
  }
  return out + "\n";
}

int showRegistry(const CommandLine& line) {
  const bool check = line.has("--check");
  if (line.operands.size() > (check ? 0 : 1)) {
    complain(check ? "registry --check takes no key"
                   : "registry takes at most one key; quote a key name that has blanks in it");
    return exitUsage;
  }
  KeyName wanted;
  if (!line.operands.empty() && !parseKeyName(line.operands[0], wanted)) {
    return exitUsage;
  }

  const plat::RegistryInspection inspection = plat::inspectRegistry();
  listProblems(inspection.sources);
  if (check) {
    for (const plat::RegistrySource& source : inspection.sources) {
      if (!source.problems.empty()) {
        return exitNotFound;
      }
    }
    return exitSuccess;
  }

  std::string out = regFileHeader;
  out += "\n\n" + sourcesComment(inspection.sources);
  if (wanted.hive != nullptr) {
    std::string fullName;
    const plat::RegKey* key = findKey(*inspection.tree, wanted, fullName);
    if (key == nullptr) {
      complain("the registry has no key \"" + line.operands[0] + "\"");
      return exitNotFound;
    }
    appendKeyTree(out, fullName, *key);
  } else {
    for (const plat::HiveName& hive : plat::hiveNames) {
      const plat::RegKey* root = inspection.tree->hive(hive.slot);
      if (root != nullptr && !(root->values.empty() && root->subKeys.empty())) {
        appendKeyTree(out, hive.longName, *root);
      }
    }
  }
  return emit(out) ? exitSuccess : exitUsage;
}

constexpr OptionSpec registryOptions[] = {{"--check", false}};

} // namespace

const Command registryCommand = {
    "registry",
    "registry [--check] [KEY]",
    R"(    Prints the registry as one .reg file ("Windows Registry Editor Version 5.00",
    UTF-8): the files that BASALT_REGISTRY lists (.reg files and directories of
    them, separated by ':'), or without it /etc/basalt/registry.reg and then
    /etc/basalt/registry.d/*.reg, merged in that order. Keys are listed as the
    registry enumerates them, case-blind alphabetically. With KEY, only that key
    and the keys below it, for example
        basalt-admin registry 'HKLM\Software\Corvane Holdings\10.0\TRELL(o)\Log'
    The root key may be given long or short (HKEY_LOCAL_MACHINE or HKLM).
    Every line that the library skips, and every file it can't read, is told on
    standard error as FILE:LINE: what is wrong.
    --check  prints only what is wrong, and exits with 1 when a line was
             skipped or a file can't be read.
)",
    registryOptions,
    std::size(registryOptions),
    showRegistry};

} // namespace basalt::admin
