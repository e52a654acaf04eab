#include "basalt/text/kelp_string.h"

#include "basalt/frame/static/static_objects.h"
#include "basalt/platform/com/automation_strings.h"
#include "basalt/platform/nls/code_pages.h"
#include "basalt/text/system_locale_info.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace plat = basalt::platform;

namespace {

const unsigned short emptyText[1] = {0};

// The process's native code page, settled on the first conversion that leaves the 7-bit
// range and never changed after. Two threads that race here store the same value.
std::atomic<int> codePage{0};
std::atomic<bool> initialised{false};

int nativeCodePage() {
  if (!initialised.load(std::memory_order_acquire)) {
    if (codePage.load(std::memory_order_relaxed) == 0) {
      codePage.store(getSystemCodePage(), std::memory_order_relaxed);
    }
    initialised.store(true, std::memory_order_release);
  }
  return codePage.load(std::memory_order_relaxed);
}

// Bytes of the UTF-8 character that lead opens; 0 for a byte that opens none.
unsigned int utf8SequenceLength(unsigned char lead) {
  if (lead >= 0xC2 && lead <= 0xDF) {
    return 2;
  }
  if (lead >= 0xE0 && lead <= 0xEF) {
    return 3;
  }
  if (lead >= 0xF0 && lead <= 0xF4) {
    return 4;
  }
  return 0;
}

constexpr unsigned short replacementCharacter = 0xFFFD;

bool isHighSurrogate(unsigned short unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}
bool isLowSurrogate(unsigned short unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}

} // namespace

const unsigned short* const strNULL = emptyText;

KELPString::KELPString(const char* text) {
  copy_from_native(text, nat_string_length(text), nativeDefault);
}

KELPString::KELPString(const char* text, unsigned int length) {
  copy_from_native(text, text == nullptr ? 0 : length, nativeDefault);
}

KELPString::KELPString(const std::string& text) {
  copy_from_native(text.data(), static_cast<unsigned int>(text.size()), nativeDefault);
}

KELPString::KELPString(const unsigned short* text) {
  if (text != nullptr) {
    Base::assign(text, wide_string_length(text));
  }
}

KELPString::KELPString(const unsigned short* text, unsigned int length) {
  if (text != nullptr) {
    Base::assign(text, length);
  }
}

KELPString::KELPString(unsigned short unit) {
  if (unit != 0) {
    Base::assign(1, unit);
  }
}

KELPString::KELPString(const Base& text) : Base(text.c_str()) {}

KELPString::KELPString(Base&& text) : Base(std::move(text)) {}

void KELPString::operator=(const KELPString& other) {
  if (this != &other) {
    Base::assign(other);
  }
}

void KELPString::operator=(const char* text) {
  clear();
  copy_from_native(text, nat_string_length(text), nativeDefault);
}

void KELPString::operator=(const std::string& text) {
  clear();
  copy_from_native(text.data(), static_cast<unsigned int>(text.size()), nativeDefault);
}

void KELPString::operator=(const unsigned short* text) {
  if (text == nullptr) {
    clear();
  } else {
    Base::assign(text, wide_string_length(text));
  }
}

void KELPString::operator=(unsigned short unit) {
  if (unit == 0) {
    clear();
  } else {
    Base::assign(1, unit);
  }
}

void KELPString::operator=(Base text) {
  Base::operator=(std::move(text));
}

KELPString& KELPString::operator+=(unsigned short unit) {
  push_back(unit);
  return *this;
}

KELPString& KELPString::operator+=(const KELPString& other) {
  Base::append(other.c_str());
  return *this;
}

KELPString& KELPString::operator+=(unsigned short* const text) {
  return append(text);
}

KELPString& KELPString::append(const unsigned short* text) {
  Base::append(text);
  return *this;
}

KELPString& KELPString::append(const unsigned short* text, unsigned int length) {
  Base::append(text, length);
  return *this;
}

KELPString& KELPString::append(unsigned int count, unsigned short unit) {
  Base::append(count, unit);
  return *this;
}

KELPString& KELPString::operator+=(const char* text) {
  return append(text);
}

KELPString& KELPString::append(const char* text) {
  if (text != nullptr) {
    Base::append(KELPString(text).c_str());
  }
  return *this;
}

KELPString& KELPString::append(const char* text, unsigned int length) {
  if (text != nullptr) {
    Base::append(KELPString(text, length));
  }
  return *this;
}

std::string KELPString::string() const {
  std::string target;
  copy_from_internal(target, nativeDefault);
  return target;
}

std::string& KELPString::fillString(std::string& target) const {
  target.clear();
  copy_from_internal(target, nativeDefault);
  return target;
}

KELPString::Base& KELPString::fillWString(Base& target) const {
  target.clear();
  copy_from_internal(target);
  return target;
}

void KELPString::createBSTR(unsigned short** target) const {
  *target = empty() ? plat::SysAllocStringLen(strNULL, 0)
                    : plat::SysAllocStringLen(data(), static_cast<unsigned int>(size()));
}

unsigned int KELPString::fillFromBSTR(unsigned short* const source) {
  if (source == nullptr) {
    return 0;
  }
  const unsigned int length = plat::SysStringLen(source);
  Base::assign(source, length);
  return length;
}

unsigned int KELPString::toUTF8(char* buffer, unsigned int size) const {
  std::memset(buffer, 0, size);
  unsigned int written = 0;
  for (const unsigned short unit : *this) {
    unsigned char bytes[3];
    unsigned int count;
    if (unit < 0x80) {
      bytes[0] = static_cast<unsigned char>(unit);
      count = 1;
    } else if (unit < 0x800) {
      bytes[0] = static_cast<unsigned char>(0xC0 | (unit >> 6));
      bytes[1] = static_cast<unsigned char>(0x80 | (unit & 0x3F));
      count = 2;
    } else {
      bytes[0] = static_cast<unsigned char>(0xE0 | (unit >> 12));
      bytes[1] = static_cast<unsigned char>(0x80 | ((unit >> 6) & 0x3F));
      bytes[2] = static_cast<unsigned char>(0x80 | (unit & 0x3F));
      count = 3;
    }
    if (count > size - written) {
      break; // the rest doesn't fit; what was written stays whole
    }
    std::memcpy(buffer + written, bytes, count);
    written += count;
  }
  return written;
}

unsigned short* KELPString::strdup() const {
  auto* copy = static_cast<unsigned short*>(std::malloc((size() + 1) * sizeof(unsigned short)));
  if (copy != nullptr) {
    std::memcpy(copy, data(), size() * sizeof(unsigned short));
    copy[size()] = 0;
  }
  return copy;
}

const KELPString& KELPString::nullString() {
  return basalt::frame::nullStringObject();
}

// A byte sequence that starts no valid character becomes U+FFFD, one per byte, and the
// conversion goes on behind it; so every entry point gets whole text and no exception.
unsigned int KELPString::copy_from_native(const char* source, unsigned int length,
                                          NativeType type) {
  if (type != nativeDefault || source == nullptr || length == 0) {
    return 0;
  }
  // No character yields more units than it has bytes.
  std::unique_ptr<unsigned short[]> units(new unsigned short[length]);
  unsigned int produced = 0;
  const auto* bytes = reinterpret_cast<const unsigned char*>(source);
  unsigned int remaining = length;
  while (remaining > 0) {
    const unsigned char lead = *bytes;
    if (lead < 0x80) {
      units[produced++] = lead;
      ++bytes;
      --remaining;
      continue;
    }
    const int page = nativeCodePage();
    unsigned int characterSize;
    if (page == static_cast<int>(plat::CP_UTF8)) {
      characterSize = utf8SequenceLength(lead);
    } else {
      characterSize = plat::IsDBCSLeadByteEx(page, lead) ? 2 : 1;
    }
    int converted = 0;
    if (characterSize != 0 && characterSize <= remaining) {
      converted =
          plat::MultiByteToWideChar(page, plat::MB_PRECOMPOSED | plat::MB_ERR_INVALID_CHARS,
                                    reinterpret_cast<const char*>(bytes),
                                    static_cast<int>(characterSize), units.get() + produced, 2);
    }
    if (converted <= 0) {
      units[produced++] = replacementCharacter;
      ++bytes;
      --remaining;
      continue;
    }
    produced += static_cast<unsigned int>(converted);
    bytes += characterSize;
    remaining -= characterSize;
  }
  Base::append(units.get(), produced);
  return produced;
}

unsigned int KELPString::copy_from_internal(std::string& target, NativeType type) const {
  if (empty() || type != nativeDefault) {
    return 0;
  }
  if (front() == 0) {
    target.assign(1, '\0');
    return 0;
  }
  const std::size_t before = target.size();
  const size_type count = size();
  for (size_type i = 0; i < count; ++i) {
    // A run of 7-bit units is copied in one step: it needs no code page.
    size_type end = i;
    while (end < count && (*this)[end] < 0x80) {
      ++end;
    }
    if (end > i) {
      const std::size_t at = target.size();
      target.resize(at + (end - i));
      std::copy(begin() + static_cast<difference_type>(i),
                begin() + static_cast<difference_type>(end), target.begin() + at);
      i = end - 1;
      continue;
    }
    const unsigned short unit = (*this)[i];
    const int page = nativeCodePage();
    // UTF-8 is the one native form that holds a surrogate pair as a single character.
    const int pairLength = page == static_cast<int>(plat::CP_UTF8) && isHighSurrogate(unit) &&
                                   i + 1 < count && isLowSurrogate((*this)[i + 1])
                               ? 2
                               : 1;
    char bytes[4];
    const int written = plat::WideCharToMultiByte(page, 0, data() + i, pairLength, bytes,
                                                  pairLength == 2 ? 4 : 3, nullptr, nullptr);
    target.append(bytes, written > 0 ? static_cast<std::size_t>(written) : 0);
    i += static_cast<size_type>(pairLength - 1);
  }
  return static_cast<unsigned int>(target.size() - before);
}

unsigned int KELPString::copy_from_internal(Base& target) const {
  if (target.capacity() < size()) {
    target.reserve(size());
  }
  target.append(*this);
  return static_cast<unsigned int>(size());
}

unsigned int KELPString::nat_string_length(const char* text) const {
  return text == nullptr ? 0 : static_cast<unsigned int>(std::strlen(text));
}

unsigned int KELPString::wide_string_length(const unsigned short* text) const {
  return text == nullptr ? 0 : static_cast<unsigned int>(traits_type::length(text));
}
