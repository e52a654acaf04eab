// The PE reader against images that lie: every header, table and offset of a real resource
// DLL is bent in turn, and each bend must end in a clean failure.

#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/images/pe_image.h"
#include "basalt/platform/images/string_resources.h"
#include "modules/test_modules.h"

#include <cstdint>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <vector>

namespace plat = basalt::platform;
using Bytes = std::vector<unsigned char>;

namespace {

Bytes readModule(const std::string& name) {
  std::ifstream in(basalt::test::modulePath(name), std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::uint32_t dword(const Bytes& bytes, std::size_t at) {
  std::uint32_t value = 0;
  std::memcpy(&value, bytes.data() + at, 4);
  return value;
}

void put16(Bytes& bytes, std::size_t at, std::uint16_t value) {
  std::memcpy(bytes.data() + at, &value, 2);
}

void put32(Bytes& bytes, std::size_t at, std::uint32_t value) {
  std::memcpy(bytes.data() + at, &value, 4);
}

// Offsets of the structures in a well-formed image.
struct Layout {
  std::size_t fileHeader;   // just past "PE\0\0"
  std::size_t optional;     // optional header
  std::size_t sectionTable; // first section header
  std::size_t resourceRoot; // file offset of the resource directory
};

Layout layoutOf(const Bytes& bytes) {
  Layout layout{};
  layout.fileHeader = dword(bytes, 0x3C) + 4;
  layout.optional = layout.fileHeader + 20;
  std::uint16_t optionalSize = 0;
  std::memcpy(&optionalSize, bytes.data() + layout.fileHeader + 16, 2);
  layout.sectionTable = layout.optional + optionalSize;
  const auto image = plat::PeImage::parse(bytes.data(), bytes.size());
  const unsigned char* root =
      image->atRva(image->directoryRva(plat::IMAGE_DIRECTORY_ENTRY_RESOURCE), 16);
  layout.resourceRoot = static_cast<std::size_t>(root - bytes.data());
  return layout;
}

// The bytes are a vector of their exact size, so any read past the end is seen by the address
// sanitizer.
plat::DWORD lookUp(const Bytes& bytes, plat::UINT id) {
  const auto image = plat::PeImage::parse(bytes.data(), bytes.size());
  if (!image) {
    return plat::ERROR_BAD_EXE_FORMAT;
  }
  const plat::WCHAR* text = nullptr;
  std::size_t length = 0;
  return plat::findStringResource(*image, id, 0x0409, text, length);
}

TEST(PeImage, RefusesBrokenHeaders) {
  const Bytes good = readModule("strings_201_ENU.dll");
  const Layout at = layoutOf(good);
  const struct {
    const char* what;
    void (*bend)(Bytes&, const Layout&);
  } cases[] = {
      {"no MZ", [](Bytes& b, const Layout&) { b[1] = 'Q'; }},
      {"e_lfanew past the end", [](Bytes& b, const Layout&) { put32(b, 0x3C, 0xFFFFFFF0u); }},
      {"e_lfanew at the last bytes",
       [](Bytes& b, const Layout&) { put32(b, 0x3C, static_cast<std::uint32_t>(b.size() - 2)); }},
      {"no PE signature", [](Bytes& b, const Layout& l) { b[l.fileHeader - 2] = 'X'; }},
      {"unknown optional magic", [](Bytes& b, const Layout& l) { put16(b, l.optional, 0x107); }},
      {"optional header too small",
       [](Bytes& b, const Layout& l) { put16(b, l.fileHeader + 16, 40); }},
      {"optional header past the end",
       [](Bytes& b, const Layout& l) { put16(b, l.fileHeader + 16, 0xFFFF); }},
      {"more directories than fit",
       [](Bytes& b, const Layout& l) { put32(b, l.optional + 92, 0x7FFFFFFF); }},
      {"no sections", [](Bytes& b, const Layout& l) { put16(b, l.fileHeader + 2, 0); }},
      {"more sections than Windows takes",
       [](Bytes& b, const Layout& l) { put16(b, l.fileHeader + 2, 97); }},
      {"section table past the end",
       [](Bytes& b, const Layout& l) { put16(b, l.fileHeader + 2, 60); }},
      {"section data past the end",
       [](Bytes& b, const Layout& l) { put32(b, l.sectionTable + 20, 0xFFFFFF00u); }},
      {"section size past the end",
       [](Bytes& b, const Layout& l) { put32(b, l.sectionTable + 16, 0xFFFFFFFFu); }},
      {"section wraps the address space",
       [](Bytes& b, const Layout& l) { put32(b, l.sectionTable + 12, 0xFFFFFF00u); }},
  };
  EXPECT_TRUE(plat::PeImage::parse(good.data(), good.size()));
  for (const auto& c : cases) {
    Bytes bent = good;
    c.bend(bent, at);
    EXPECT_FALSE(plat::PeImage::parse(bent.data(), bent.size())) << c.what;
  }
}

TEST(PeImage, EveryTruncationFailsCleanly) {
  for (const char* name : {"strings_201_ENU.dll", "languages.dll"}) {
    const Bytes whole = readModule(name);
    for (std::size_t length = 0; length < whole.size(); ++length) {
      const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
      // Every cut leaves a header, a table or the section short.
      EXPECT_NE(lookUp(cut, 1), plat::ERROR_SUCCESS) << name << " cut at " << length;
    }
    EXPECT_EQ(lookUp(whole, 1), plat::ERROR_SUCCESS) << name;
  }
}

TEST(PeImage, HostileResourceTreesFailCleanly) {
  const Bytes good = readModule("strings_201_ENU.dll");
  const Layout at = layoutOf(good);
  const std::size_t root = at.resourceRoot;
  // The root's first entry is RT_STRING; its target is a subdirectory of blocks.
  const std::size_t typeEntry = root + 16;
  const std::size_t blocks = root + (dword(good, typeEntry + 4) & 0x7FFFFFFF);
  const std::size_t blockEntry = blocks + 16; // block 1: strings 0 to 15
  const std::size_t languages = root + (dword(good, blockEntry + 4) & 0x7FFFFFFF);
  const std::size_t dataEntry = root + dword(good, languages + 16 + 4);

  const struct {
    const char* what;
    std::size_t at;
    std::uint32_t value;
    plat::DWORD error;
  } cases[] = {
      {"type entry loops to the root", typeEntry + 4, 0x80000000u,
       plat::ERROR_RESOURCE_NAME_NOT_FOUND},
      {"type entry past the end", typeEntry + 4, 0x8FFFFFF0u, plat::ERROR_RESOURCE_DATA_NOT_FOUND},
      {"type entry names data", typeEntry + 4, 0x10u, plat::ERROR_RESOURCE_DATA_NOT_FOUND},
      {"entry counts overflow the section", root + 12, 0xFFFFFFFFu,
       plat::ERROR_RESOURCE_DATA_NOT_FOUND},
      {"block loops to itself", blockEntry + 4,
       0x80000000u | static_cast<std::uint32_t>(blocks - root),
       plat::ERROR_RESOURCE_DATA_NOT_FOUND},
      {"language names a directory", languages + 16 + 4, 0x80000000u,
       plat::ERROR_RESOURCE_DATA_NOT_FOUND},
      {"data entry past the end", languages + 16 + 4, 0x7FFFFFF0u,
       plat::ERROR_RESOURCE_DATA_NOT_FOUND},
      {"data RVA past the end", dataEntry, 0x7FFFFFF0u, plat::ERROR_RESOURCE_DATA_NOT_FOUND},
      {"data size overflows", dataEntry + 4, 0xFFFFFFFFu, plat::ERROR_RESOURCE_DATA_NOT_FOUND},
      {"data at an odd address", dataEntry, dword(good, dataEntry) + 1,
       plat::ERROR_RESOURCE_DATA_NOT_FOUND},
      {"no resource directory", at.optional + 96 + 2 * 8, 0, plat::ERROR_RESOURCE_DATA_NOT_FOUND},
  };
  for (const auto& c : cases) {
    Bytes bent = good;
    put32(bent, c.at, c.value);
    EXPECT_EQ(lookUp(bent, 1), c.error) << c.what;
  }

  // A string whose length runs past its block.
  Bytes bent = good;
  const std::size_t block = static_cast<std::size_t>(
      plat::PeImage::parse(good.data(), good.size())->atRva(dword(good, dataEntry), 2) -
      good.data());
  put16(bent, block + 2, 0xFFFF); // entry 1, "Hello"
  EXPECT_EQ(lookUp(bent, 1), plat::ERROR_RESOURCE_DATA_NOT_FOUND);
  EXPECT_EQ(lookUp(bent, 3), plat::ERROR_RESOURCE_DATA_NOT_FOUND);
  EXPECT_EQ(lookUp(bent, 0), plat::ERROR_RESOURCE_NAME_NOT_FOUND); // before the damage
}

} // namespace
