#include "basalt/system/file.h"

#include "basalt/platform/runtime/text_stream.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <string>

namespace plat = basalt::platform;

namespace {

constexpr unsigned short lineEnd = '\n';

// The units of text before its first zero unit, looked at four at a time: a log line is
// copied whole, and this is the one pass over it that can't be a copy.
std::size_t unitsBeforeZero(const unsigned short* text, std::size_t size) {
  constexpr std::uint64_t ones = 0x0001000100010001U;
  constexpr std::uint64_t highs = 0x8000800080008000U;
  std::size_t at = 0;
  for (std::uint64_t four = 0; at + 4 <= size; at += 4) {
    std::memcpy(&four, text + at, sizeof four);
    if (((four - ones) & ~four & highs) != 0) {
      break; // a zero among these four
    }
  }
  while (at < size && text[at] != 0) {
    ++at;
  }
  return at;
}

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
  // Text and line end go out in one fputws, under one lock of the stream, so that lines of
  // threads sharing a file never interleave. The text stops at its first zero unit, and the
  // line end behind one is cut off with the rest. A line of usual length is copied on the
  // stack.
  std::array<unsigned short, 512> local;
  std::basic_string<unsigned short> heap;
  unsigned short* line = local.data();
  if (text.size() + 2 > local.size()) {
    heap.resize(text.size() + 2);
    line = heap.data();
  }
  std::size_t length = unitsBeforeZero(text.data(), text.size());
  std::copy(text.data(), text.data() + length, line);
  if (length == text.size()) {
    line[length++] = lineEnd;
  }
  line[length] = 0;
  plat::fputws(line, stream);
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
