#include "basalt/system/file_locator.h"

#include "basalt/platform/images/modules.h"
#include "basalt/platform/runtime/find_files.h"
#include "basalt/platform/runtime/temp_path.h"

#include <memory>
#include <utility>

namespace plat = basalt::platform;

namespace basalt {
namespace {

constexpr unsigned short backslash = '\\';
constexpr unsigned short dot = '.';
constexpr plat::DWORD modulePathSize = 1024;
constexpr plat::DWORD tempPathFirstSize = 40;

} // namespace

FileLocator::FileLocator() = default;

FileLocator::FileLocator(const KELPString& fullPath) {
  from_string(fullPath);
}

FileLocator::FileLocator(const FileLocator& other) = default;

FileLocator& FileLocator::operator=(const FileLocator& other) = default;

FileLocator::~FileLocator() = default;

const KELPString& FileLocator::getName() const {
  return name;
}

const KELPString& FileLocator::getExtension() const {
  return extension;
}

const KELPString& FileLocator::getFileName() const {
  return fileName;
}

const KELPString& FileLocator::getLocation() const {
  return location;
}

const KELPString& FileLocator::getFullFileName() const {
  return fullFileName;
}

void FileLocator::setName(const KELPString& newName) {
  name = newName;
  recalc();
}

void FileLocator::setExtension(const KELPString& newExtension) {
  extension = newExtension;
  recalc();
}

void FileLocator::setFileName(const KELPString& newFileName) {
  name = newFileName;
  const KELPString::size_type firstDot = newFileName.Base::find(dot);
  if (firstDot != KELPString::npos) {
    extension.Base::assign(newFileName, firstDot + 1);
    name.Base::assign(newFileName, 0, firstDot);
  }
  recalc();
}

void FileLocator::setFullFileName(const KELPString& fullPath) {
  from_string(fullPath);
}

void FileLocator::setLocation(const KELPString& newLocation) {
  location = newLocation;
  if (!location.empty() && location.back() == backslash) {
    location.pop_back();
  }
  recalc();
}

int FileLocator::setLocationToModule(const KELPString& moduleName) {
  KELPString path;
  if (get_module_path(moduleName, path) == 0) {
    return 0;
  }
  setLocation(path);
  return 1;
}

int FileLocator::setLocationToTemp() {
  KELPString path;
  if (get_temp_path(path) == 0) {
    return 0;
  }
  setLocation(path);
  return 1;
}

int FileLocator::isLocationSet() const {
  return location.empty() ? 0 : 1;
}

int FileLocator::exists() const {
  std::vector<KELPString> entries;
  entries.reserve(1);
  return listFiles(entries, 0) != 0 ? 1 : 0;
}

int FileLocator::listFiles(std::vector<KELPString>& out, int stripExtensions) const {
  plat::WIN32_FIND_DATAW data;
  const plat::HANDLE find = plat::FindFirstFileW(fullFileName.c_str(), &data);
  if (find == plat::INVALID_HANDLE_VALUE) {
    return 0;
  }
  do {
    KELPString entry(data.cFileName);
    if (stripExtensions != 0) {
      const KELPString::size_type lastDot = entry.rfind(dot);
      if (lastDot != KELPString::npos) {
        entry.erase(lastDot);
      }
    }
    out.push_back(std::move(entry));
  } while (plat::FindNextFileW(find, &data) != 0);
  plat::FindClose(find);
  return 1;
}

void FileLocator::from_string(const KELPString& fullPath) {
  const KELPString::size_type lastBackslash = fullPath.rfind(backslash);
  KELPString rest;
  if (lastBackslash == KELPString::npos) {
    location.clear();
    rest = fullPath;
  } else {
    rest.Base::assign(fullPath, lastBackslash + 1);
    location.Base::assign(fullPath, 0, lastBackslash);
  }
  const KELPString::size_type lastDot = rest.rfind(dot);
  if (lastDot == KELPString::npos) {
    extension.clear();
    name = rest;
  } else {
    extension.Base::assign(rest, lastDot + 1);
    name.Base::assign(rest, 0, lastDot);
  }
  recalc();
}

int FileLocator::get_module_path(const KELPString& moduleName, KELPString& path) const {
  const plat::HMODULE module = plat::GetModuleHandleW(moduleName.c_str());
  if (module == nullptr) {
    return 0;
  }
  plat::WCHAR buffer[modulePathSize];
  if (plat::GetModuleFileNameW(module, buffer, modulePathSize) == 0) {
    return 0;
  }
  path = buffer;
  const KELPString::size_type lastBackslash = path.rfind(backslash);
  if (lastBackslash != KELPString::npos) {
    path.erase(lastBackslash);
  }
  return 1;
}

int FileLocator::get_temp_path(KELPString& path) const {
  plat::DWORD size = tempPathFirstSize;
  auto buffer = std::make_unique<plat::WCHAR[]>(size);
  plat::DWORD result = plat::GetTempPathW(size, buffer.get());
  if (result > size) {
    size = result;
    buffer = std::make_unique<plat::WCHAR[]>(size);
    result = plat::GetTempPathW(size, buffer.get());
  }
  // A result that still doesn't fit means the directory changed between the calls.
  if (result == 0 || result >= size) {
    return 0;
  }
  path.clear();
  path.append(buffer.get(), result);
  return 1;
}

void FileLocator::recalc() {
  fileName = name;
  if (!extension.empty()) {
    fileName += dot;
    fileName += extension;
  }
  if (location.empty()) {
    fullFileName = fileName;
  } else {
    fullFileName = location;
    fullFileName += backslash;
    fullFileName += fileName;
  }
}

} // namespace basalt
