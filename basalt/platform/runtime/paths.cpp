#include "basalt/platform/runtime/paths.h"

#include "basalt/platform/base/utf8.h"
#include "basalt/platform/nls/code_pages.h"
#include "basalt/platform/nls/locale.h"

#include <algorithm>
#include <cerrno>
#include <unistd.h>
#include <vector>

namespace basalt::platform {

std::string toOsPath(LPCWSTR path) {
  std::string out;
  if (path == nullptr) {
    return out;
  }
  std::size_t length = 0;
  while (path[length] != 0) {
    ++length;
  }
  utf8::append(out, path, length);
  // UTF-8 holds the byte of '\' only for that character, so the bytes can be swapped as they are.
  std::replace(out.begin(), out.end(), '\\', '/');
  return out;
}

std::string nativeToOsPath(const char* path) {
  if (path == nullptr || *path == '\0') {
    return std::string();
  }
  // Through wide text: in the double-byte code pages a trail byte may equal the one of '\'.
  const int count = MultiByteToWideChar(GetACP(), 0, path, -1, nullptr, 0);
  if (count <= 0) {
    return std::string();
  }
  std::vector<WCHAR> units(static_cast<std::size_t>(count));
  MultiByteToWideChar(GetACP(), 0, path, -1, units.data(), count);
  return toOsPath(units.data());
}

WideString fromOsPath(const std::string& path) {
  WideString out;
  if (std::all_of(path.begin(), path.end(), [](char c) { return (c & 0x80) == 0; })) {
    out.assign(path.begin(), path.end());
  } else {
    const int length = static_cast<int>(path.size());
    const int count = MultiByteToWideChar(CP_UTF8, 0, path.data(), length, nullptr, 0);
    out.resize(static_cast<std::size_t>(count));
    MultiByteToWideChar(CP_UTF8, 0, path.data(), length, out.data(), count);
  }
  std::replace(out.begin(), out.end(), WCHAR{'/'}, WCHAR{'\\'});
  return out;
}

std::string absoluteOsPath(const std::string& path) {
  if (!path.empty() && path.front() == '/') {
    return path;
  }
  std::string directory(256, '\0');
  while (::getcwd(directory.data(), directory.size()) == nullptr) {
    if (errno != ERANGE) {
      return path;
    }
    directory.resize(directory.size() * 2);
  }
  directory.resize(directory.find('\0'));
  if (directory.back() != '/') {
    directory.push_back('/');
  }
  return directory + path;
}

OsPathParts splitOsPath(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) {
    return {".", path};
  }
  return {slash == 0 ? "/" : path.substr(0, slash), path.substr(slash + 1)};
}

} // namespace basalt::platform
