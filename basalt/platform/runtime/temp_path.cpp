#include "basalt/platform/runtime/temp_path.h"

#include "basalt/platform/runtime/paths.h"

#include <algorithm>
#include <cstdlib>
#include <sys/stat.h>

namespace basalt::platform {
namespace {

std::string temporaryDirectory() {
  const char* variable = std::getenv("TMPDIR");
  struct stat status {};
  std::string directory = variable != nullptr && *variable != '\0' &&
                                  ::stat(variable, &status) == 0 && S_ISDIR(status.st_mode)
                              ? variable
                              : "/tmp";
  directory = absoluteOsPath(directory);
  if (directory.back() != '/') {
    directory.push_back('/');
  }
  return directory;
}

} // namespace

DWORD GetTempPathW(DWORD size, LPWSTR buffer) {
  const WideString path = fromOsPath(temporaryDirectory());
  const auto length = static_cast<DWORD>(path.size());
  if (size <= length || buffer == nullptr) {
    return length + 1;
  }
  std::copy(path.begin(), path.end(), buffer);
  buffer[length] = 0;
  return length;
}

} // namespace basalt::platform
