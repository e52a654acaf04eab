#include "basalt/system/file.h"

#include "basalt/platform/text_stream.h"

#include <string>

namespace plat = basalt::platform;

namespace {

constexpr unsigned short lineEnd = '\n';

} // namespace

File::File(const basalt::FileLocator& locator) : locator(locator), stream(nullptr) {}

File::File(const File& other) : locator(other.locator), stream(nullptr) {}

File& File::operator=(const File& other) {
  if (this != &other) {
    if (stream != nullptr) {
      plat::fclose(stream);
      stream = nullptr;
    }
    locator = other.locator;
  }
  return *this;
}

File::~File() {
  if (stream != nullptr) {
    plat::fclose(stream);
  }
}

bool File::open(const char* mode) {
  if (stream != nullptr) {
    plat::fclose(stream);
  }
  std::string narrowName;
  locator.getFullFileName().fillString(narrowName);
  stream = plat::fopen(narrowName.c_str(), mode);
  return stream != nullptr;
}

void File::writeString(const KELPString& text) {
  if (stream == nullptr) {
    return;
  }
  plat::fputws(text.c_str(), stream);
  plat::fflush(stream);
}

void File::writeLine(const KELPString& text) {
  if (stream == nullptr) {
    return;
  }
  // The line and its end go into the stream's buffer, and the one flush writes them together.
  // Text stops at its first zero unit, and a line end behind one is cut off with the rest.
  const unsigned short end[] = {lineEnd, 0};
  plat::fputws(text.c_str(), stream);
  if (text.Base::find(static_cast<unsigned short>(0)) == KELPString::npos) {
    plat::fputws(end, stream);
  }
  plat::fflush(stream);
}

void File::readToEOF(KELPString& out) {
  if (stream == nullptr) {
    return;
  }
  for (plat::WCHAR unit = plat::fgetwc(stream); unit != plat::WIDE_EOF;
       unit = plat::fgetwc(stream)) {
    out += unit;
  }
}

bool File::readToEOL(KELPString& out) {
  if (stream == nullptr) {
    return false;
  }
  plat::WCHAR unit;
  do {
    unit = plat::fgetwc(stream);
    out += unit;
  } while (unit != lineEnd && unit != plat::WIDE_EOF);
  return unit == plat::WIDE_EOF;
}
