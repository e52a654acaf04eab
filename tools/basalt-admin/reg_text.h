#ifndef BASALT_TOOLS_ADMIN_REG_TEXT_H
#define BASALT_TOOLS_ADMIN_REG_TEXT_H

// Keys and values in the registry editor's export form, "Windows Registry Editor Version
// 5.00" in UTF-8, such that the library's reader gives back the same tree.

#include "basalt/platform/registry/registry_tree.h"

#include <string>

namespace basalt::admin {

constexpr char regFileHeader[] = "Windows Registry Editor Version 5.00";

// Appends "[path]", the key's values and then every key below it, each key followed by an
// empty line. path is the key's full name, hive first.
void appendKeyTree(std::string& out, const std::string& path, const platform::RegKey& key);

} // namespace basalt::admin

#endif
