#ifndef BASALT_TOOLS_ADMIN_UTF8_TEXT_H
#define BASALT_TOOLS_ADMIN_UTF8_TEXT_H

// The tool speaks UTF-8 on its command line and its output, whatever the locale says.

#include "basalt/platform/reg_file_parser.h"

#include <string>

namespace basalt::admin {

// A lone surrogate becomes U+FFFD.
std::string toUtf8(const platform::WString& text);

// False when bytes isn't valid UTF-8; text is then what came before the fault.
bool fromUtf8(const std::string& bytes, platform::WString& text);

} // namespace basalt::admin

#endif
