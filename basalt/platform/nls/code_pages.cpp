#include "basalt/platform/nls/code_pages.h"

#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/base/utf8.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <iconv.h>
#include <memory>
#include <mutex>
#include <vector>

namespace basalt::platform {
namespace {

struct CodePageInfo {
  UINT page;
  const char* iconvName;
  // Lead-byte range of a double-byte page; 0 for a single-byte page.
  BYTE firstLead;
  BYTE lastLead;
  // A second lead range (932 has two).
  BYTE firstLead2;
  BYTE lastLead2;
};

constexpr CodePageInfo supportedPages[] = {
    {874, "CP874", 0, 0, 0, 0},         {932, "CP932", 0x81, 0x9F, 0xE0, 0xFC},
    {936, "CP936", 0x81, 0xFE, 0, 0},   {949, "CP949", 0x81, 0xFE, 0, 0},
    {950, "CP950", 0x81, 0xFE, 0, 0},   {1250, "CP1250", 0, 0, 0, 0},
    {1251, "CP1251", 0, 0, 0, 0},       {1252, "CP1252", 0, 0, 0, 0},
    {1253, "CP1253", 0, 0, 0, 0},       {1254, "CP1254", 0, 0, 0, 0},
    {1255, "CP1255", 0, 0, 0, 0},       {1256, "CP1256", 0, 0, 0, 0},
    {1257, "CP1257", 0, 0, 0, 0},       {1258, "CP1258", 0, 0, 0, 0},
    {20866, "KOI8-R", 0, 0, 0, 0},      {28591, "ISO-8859-1", 0, 0, 0, 0},
    {28592, "ISO-8859-2", 0, 0, 0, 0},  {28593, "ISO-8859-3", 0, 0, 0, 0},
    {28594, "ISO-8859-4", 0, 0, 0, 0},  {28595, "ISO-8859-5", 0, 0, 0, 0},
    {28596, "ISO-8859-6", 0, 0, 0, 0},  {28597, "ISO-8859-7", 0, 0, 0, 0},
    {28598, "ISO-8859-8", 0, 0, 0, 0},  {28599, "ISO-8859-9", 0, 0, 0, 0},
    {28603, "ISO-8859-13", 0, 0, 0, 0}, {28605, "ISO-8859-15", 0, 0, 0, 0},
};
constexpr std::size_t pageCount = sizeof(supportedPages) / sizeof(supportedPages[0]);

constexpr WCHAR noUnit = 0xFFFF; // also not a character, so never a real mapping

// Both directions of one code page, read from iconv once and immutable after.
struct CodePageTable {
  const CodePageInfo* info;
  std::array<bool, 256> lead{};
  // Indexed by the byte for single bytes, by (lead << 8) | trail for pairs.
  std::vector<WCHAR> toUnit = std::vector<WCHAR>(65536, noUnit);
  // Indexed by the unit: the bytes, a pair as (lead << 8) | trail; 0 when none.
  std::vector<WORD> toBytes = std::vector<WORD>(65536, 0);
};

bool isLead(const CodePageInfo& info, BYTE byte) {
  return (info.firstLead != 0 && byte >= info.firstLead && byte <= info.lastLead) ||
         (info.firstLead2 != 0 && byte >= info.firstLead2 && byte <= info.lastLead2);
}

// One character through iconv; noUnit unless it gives exactly one BMP unit.
WCHAR decodeWithIconv(iconv_t converter, const char* bytes, std::size_t count) {
  iconv(converter, nullptr, nullptr, nullptr, nullptr);
  char input[2];
  std::memcpy(input, bytes, count);
  char* in = input;
  std::size_t inLeft = count;
  unsigned char output[8];
  char* out = reinterpret_cast<char*>(output);
  std::size_t outLeft = sizeof(output);
  if (iconv(converter, &in, &inLeft, &out, &outLeft) == static_cast<std::size_t>(-1) ||
      inLeft != 0) {
    return noUnit;
  }
  // The Vietnamese and Hebrew converters hold a base letter back to combine it with a mark
  // that may follow; flushing gives it out.
  if (iconv(converter, nullptr, nullptr, &out, &outLeft) == static_cast<std::size_t>(-1) ||
      sizeof(output) - outLeft != 2) {
    return noUnit;
  }
  return static_cast<WCHAR>(output[0] | (output[1] << 8));
}

// One unit through iconv; 0 when the page has no form for it.
WORD encodeWithIconv(iconv_t converter, const CodePageInfo& info, WCHAR unit) {
  iconv(converter, nullptr, nullptr, nullptr, nullptr);
  unsigned char input[2] = {static_cast<unsigned char>(unit & 0xFF),
                            static_cast<unsigned char>(unit >> 8)};
  char* in = reinterpret_cast<char*>(input);
  std::size_t inLeft = 2;
  unsigned char output[8];
  char* out = reinterpret_cast<char*>(output);
  std::size_t outLeft = sizeof(output);
  if (iconv(converter, &in, &inLeft, &out, &outLeft) == static_cast<std::size_t>(-1) ||
      inLeft != 0) {
    return 0;
  }
  const std::size_t written = sizeof(output) - outLeft;
  if (written == 1) {
    return output[0];
  }
  // A pair must be one double-byte character: iconv writes some letters of the Vietnamese and
  // Hebrew pages as a base letter and a combining mark, which the page has no one byte for.
  return written == 2 && isLead(info, output[0]) ? static_cast<WORD>((output[0] << 8) | output[1])
                                                 : 0;
}

std::unique_ptr<CodePageTable> buildTable(const CodePageInfo& info) {
  iconv_t decoder = iconv_open("UTF-16LE", info.iconvName);
  iconv_t encoder = iconv_open(info.iconvName, "UTF-16LE");
  if (decoder == reinterpret_cast<iconv_t>(-1) || encoder == reinterpret_cast<iconv_t>(-1)) {
    if (decoder != reinterpret_cast<iconv_t>(-1)) {
      iconv_close(decoder);
    }
    if (encoder != reinterpret_cast<iconv_t>(-1)) {
      iconv_close(encoder);
    }
    return nullptr;
  }
  auto table = std::make_unique<CodePageTable>();
  table->info = &info;
  for (int byte = 0; byte < 256; ++byte) {
    const char single = static_cast<char>(byte);
    table->lead[byte] = isLead(info, static_cast<BYTE>(byte));
    if (!table->lead[byte]) {
      table->toUnit[byte] = decodeWithIconv(decoder, &single, 1);
      continue;
    }
    for (int trail = 0; trail < 256; ++trail) {
      const char pair[2] = {static_cast<char>(byte), static_cast<char>(trail)};
      table->toUnit[(byte << 8) | trail] = decodeWithIconv(decoder, pair, 2);
    }
  }
  for (int unit = 0x80; unit < 0x10000; ++unit) {
    if (unit < 0xD800 || unit > 0xDFFF) {
      table->toBytes[unit] = encodeWithIconv(encoder, info, static_cast<WCHAR>(unit));
    }
  }
  // Windows gives the five bytes that 1252 leaves undefined the C1 controls of the same value,
  // so such text survives a round trip.
  if (info.page == 1252) {
    for (const BYTE byte : {0x81, 0x8D, 0x8F, 0x90, 0x9D}) {
      table->toUnit[byte] = byte;
      table->toBytes[byte] = byte;
    }
  }
  iconv_close(decoder);
  iconv_close(encoder);
  return table;
}

std::atomic<CodePageTable*> tables[pageCount];
std::mutex buildMutex;

// The tables of a supported page, built on first use; null for any other page.
const CodePageTable* tableFor(UINT page) {
  for (std::size_t i = 0; i < pageCount; ++i) {
    if (supportedPages[i].page != page) {
      continue;
    }
    if (CodePageTable* ready = tables[i].load(std::memory_order_acquire)) {
      return ready;
    }
    std::lock_guard<std::mutex> lock(buildMutex);
    if (tables[i].load(std::memory_order_relaxed) == nullptr) {
      // Kept for the life of the process: conversions may run during unload.
      tables[i].store(buildTable(supportedPages[i]).release(), std::memory_order_release);
    }
    return tables[i].load(std::memory_order_relaxed);
  }
  return nullptr;
}

int fail(DWORD code) {
  SetLastError(code);
  return 0;
}

// Decodes the character at bytes; returns the bytes consumed and the units, 0 when invalid.
std::size_t decodeCharacter(const CodePageTable& table, const unsigned char* bytes,
                            std::size_t available, WCHAR units[2], int& unitCount) {
  unitCount = 1;
  if (bytes[0] < 0x80 && !table.lead[bytes[0]]) {
    units[0] = bytes[0];
    return 1;
  }
  if (!table.lead[bytes[0]]) {
    units[0] = table.toUnit[bytes[0]];
    return units[0] == noUnit ? 0 : 1;
  }
  if (available < 2) {
    return 0;
  }
  units[0] = table.toUnit[(bytes[0] << 8) | bytes[1]];
  return units[0] == noUnit ? 0 : 2;
}

} // namespace

BOOL IsValidCodePage(UINT codePage) {
  return codePage == CP_UTF8 || tableFor(codePage) != nullptr ? TRUE : FALSE;
}

BOOL IsDBCSLeadByteEx(UINT codePage, BYTE byte) {
  for (const CodePageInfo& info : supportedPages) {
    if (info.page == codePage) {
      return isLead(info, byte) ? TRUE : FALSE;
    }
  }
  return FALSE;
}

int MultiByteToWideChar(UINT codePage, DWORD flags, const char* bytes, int byteCount, WCHAR* units,
                        int unitCount) {
  if (bytes == nullptr || byteCount == 0 || unitCount < 0 || (unitCount > 0 && units == nullptr)) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  const std::size_t length =
      byteCount < 0 ? std::strlen(bytes) + 1 : static_cast<std::size_t>(byteCount);
  const CodePageTable* table = nullptr;
  if (codePage != CP_UTF8 && (table = tableFor(codePage)) == nullptr) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  const auto* in = reinterpret_cast<const unsigned char*>(bytes);
  int written = 0;
  for (std::size_t at = 0; at < length;) {
    WCHAR character[2];
    int count = 0;
    const std::size_t consumed =
        table == nullptr ? utf8::decode(in + at, length - at, character, count)
                         : decodeCharacter(*table, in + at, length - at, character, count);
    if (consumed == 0) {
      if ((flags & MB_ERR_INVALID_CHARS) != 0) {
        return fail(ERROR_NO_UNICODE_TRANSLATION);
      }
      character[0] = 0xFFFD;
      count = 1;
    }
    if (unitCount > 0) {
      if (written + count > unitCount) {
        return fail(ERROR_INSUFFICIENT_BUFFER);
      }
      std::memcpy(units + written, character, count * sizeof(WCHAR));
    }
    written += count;
    at += consumed == 0 ? 1 : consumed;
  }
  return written;
}

int WideCharToMultiByte(UINT codePage, DWORD flags, const WCHAR* units, int unitCount, char* bytes,
                        int byteCount, const char* defaultChar, BOOL* usedDefaultChar) {
  if (units == nullptr || unitCount == 0 || byteCount < 0 || (byteCount > 0 && bytes == nullptr)) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  std::size_t length = static_cast<std::size_t>(unitCount);
  if (unitCount < 0) {
    length = 0;
    while (units[length] != 0) {
      ++length;
    }
    ++length;
  }
  const CodePageTable* table = nullptr;
  if (codePage != CP_UTF8 && (table = tableFor(codePage)) == nullptr) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  const char substitute = defaultChar != nullptr ? *defaultChar : '?';
  bool substituted = false;
  std::string out;
  for (std::size_t i = 0; i < length; ++i) {
    const WCHAR unit = units[i];
    if (unit < 0x80) {
      out.push_back(static_cast<char>(unit));
    } else if (table == nullptr) {
      const bool pair = unit >= 0xD800 && unit <= 0xDBFF && i + 1 < length &&
                        units[i + 1] >= 0xDC00 && units[i + 1] <= 0xDFFF;
      if (!pair && unit >= 0xD800 && unit <= 0xDFFF) {
        out.push_back(substitute);
        substituted = true;
      } else {
        utf8::append(out, units + i, pair ? 2 : 1);
        i += pair ? 1 : 0;
      }
    } else if (const WORD encoded = table->toBytes[unit]; encoded == 0) {
      out.push_back(substitute);
      substituted = true;
    } else if (encoded > 0xFF) {
      out.push_back(static_cast<char>(encoded >> 8));
      out.push_back(static_cast<char>(encoded & 0xFF));
    } else {
      out.push_back(static_cast<char>(encoded));
    }
  }
  if (usedDefaultChar != nullptr) {
    *usedDefaultChar = substituted ? TRUE : FALSE;
  }
  if (byteCount > 0) {
    if (out.size() > static_cast<std::size_t>(byteCount)) {
      return fail(ERROR_INSUFFICIENT_BUFFER);
    }
    std::copy(out.begin(), out.end(), bytes); // counted, not terminated
  }
  return static_cast<int>(out.size());
}

} // namespace basalt::platform
