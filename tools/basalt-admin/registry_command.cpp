#include "basalt/platform/base/utf8.h"
#include "basalt/platform/registry/reg_file_parser.h"
#include "basalt/platform/registry/registry_store.h"
#include "tools/basalt-admin/commands.h"
#include "tools/basalt-admin/reg_text.h"

#include <cstdio>

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

} // namespace

int showRegistry(const std::vector<std::string>& arguments) {
  if (arguments.size() > 1) {
    complain("registry takes at most one key; quote a key name that has blanks in it");
    return exitUsage;
  }
  KeyName wanted;
  if (!arguments.empty() && !parseKeyName(arguments[0], wanted)) {
    return exitUsage;
  }

  const plat::RegistryInspection inspection = plat::inspectRegistry();
  std::string out = regFileHeader;
  out += "\n\n";
  if (inspection.sources.empty()) {
    out += "; No registry file was found.\n\n";
  } else {
    out += "; Merged from these files, later ones overriding earlier ones:\n";
    for (const plat::RegistrySource& source : inspection.sources) {
      out += ";   " + source.path + "\n";
    }
    out += '\n';
  }

  int status = exitSuccess;
  if (wanted.hive != nullptr) {
    std::string fullName;
    if (const plat::RegKey* key = findKey(*inspection.tree, wanted, fullName)) {
      appendKeyTree(out, fullName, *key);
    } else {
      status = exitNotFound;
    }
  } else {
    for (const plat::HiveName& hive : plat::hiveNames) {
      const plat::RegKey* root = inspection.tree->hive(hive.slot);
      if (root != nullptr && !(root->values.empty() && root->subKeys.empty())) {
        appendKeyTree(out, hive.longName, *root);
      }
    }
  }
  if (status == exitSuccess && !emit(out)) {
    status = exitUsage;
  }
  listProblems(inspection.sources);
  if (status == exitNotFound) {
    complain("the registry has no key \"" + arguments[0] + "\"");
  }
  return status;
}

} // namespace basalt::admin
