#include "basalt/system/file_locator.h"

namespace basalt {
namespace {
constexpr unsigned short backslash = '\\';
constexpr unsigned short dot = '.';
} // namespace

FileLocator::FileLocator(const KELPString& fullPath) {
  from_string(fullPath);
}

void FileLocator::setName(const KELPString& text) {
  name = text;
  recalc();
}

void FileLocator::setExtension(const KELPString& text) {
  extension = text;
  recalc();
}

void FileLocator::setFileName(const KELPString& text) {
  name = text;
  if (const auto at = text.find(dot); at != KELPString::npos) {
    extension = KELPString(text.substr(at + 1));
    name = KELPString(text.substr(0, at));
  }
  recalc();
}

void FileLocator::setFullFileName(const KELPString& text) {
  from_string(text);
}

void FileLocator::setLocation(const KELPString& text) {
  location = text;
  if (!location.empty() && location.back() == backslash) {
    location.pop_back();
  }
  recalc();
}

void FileLocator::from_string(const KELPString& text) {
  KELPString rest = text;
  location.erase();
  if (const auto at = text.rfind(backslash); at != KELPString::npos) {
    rest = KELPString(text.substr(at + 1));
    location = KELPString(text.substr(0, at));
  }
  name = rest;
  extension.erase();
  if (const auto at = rest.rfind(dot); at != KELPString::npos) {
    extension = KELPString(rest.substr(at + 1));
    name = KELPString(rest.substr(0, at));
  }
  recalc();
}

void FileLocator::recalc() {
  fileName = name;
  if (!extension.empty()) {
    fileName += dot;
    fileName += extension;
  }
  fullFileName = location;
  if (!location.empty()) {
    fullFileName += backslash;
  }
  fullFileName += fileName;
}

} // namespace basalt
