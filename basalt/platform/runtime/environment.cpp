#include "basalt/platform/runtime/environment.h"

#include <cstdlib>
#include <cstring>
#include <strings.h>

extern char** environ; // NOLINT(readability-redundant-declaration): unistd.h hides it

namespace basalt::platform {

const char* getenv(const char* name) {
  if (name == nullptr) {
    return nullptr;
  }
  if (const char* exact = std::getenv(name)) {
    return exact;
  }
  const std::size_t length = std::strlen(name);
  for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    if (::strncasecmp(*entry, name, length) == 0 && (*entry)[length] == '=') {
      return *entry + length + 1;
    }
  }
  return nullptr;
}

} // namespace basalt::platform
