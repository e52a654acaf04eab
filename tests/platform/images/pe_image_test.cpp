// The PE reader against images that lie: every header, table and offset of a real resource
// DLL is bent in turn, and each bend must end in a clean failure.

#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/images/pe_image.h"
#include "basalt/platform/images/string_resources.h"
#include "modules/test_modules.h"
#include "tests/support/scratch_directory.h"

#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <vector>

namespace plat = basalt::platform;
using Bytes = std::vector<unsigned char>;

namespace {

Bytes readModule(const std::string& name) {
  const std::string bytes = basalt::test::fileBytes(basalt::test::modulePath(name));
  return Bytes(bytes.begin(), bytes.end());
}

std::uint32_t read(const Bytes& bytes, std::size_t at, std::size_t width = 4) {
  std::uint32_t value = 0;
  std::memcpy(&value, bytes.data() + at, width);
  return value;
}

// A bend: width bytes at the offset become value.
struct Bend {
  const char* what;
  std::size_t at;
  std::size_t width;
  std::uint32_t value;
};

Bytes bent(const Bytes& good, const Bend& bend) {
  Bytes bytes = good;
  std::memcpy(bytes.data() + bend.at, &bend.value, bend.width);
  return bytes;
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
  const std::size_t file = read(good, 0x3C) + 4;                    // just past "PE\0\0"
  const std::size_t optional = file + 20;                           // the optional header
  const std::size_t sections = optional + read(good, file + 16, 2); // the first section header
  const Bend cases[] = {
      {"no MZ", 1, 1, 'Q'},
      {"e_lfanew past the end", 0x3C, 4, 0xFFFFFFF0u},
      {"e_lfanew at the last bytes", 0x3C, 4, static_cast<std::uint32_t>(good.size() - 2)},
      {"no PE signature", file - 2, 1, 'X'},
      {"unknown optional magic", optional, 2, 0x107},
      {"optional header too small", file + 16, 2, 40},
      {"optional header past the end", file + 16, 2, 0xFFFF},
      {"more directories than fit", optional + 92, 4, 0x7FFFFFFF},
      {"no sections", file + 2, 2, 0},
      {"more sections than Windows takes", file + 2, 2, 97},
      {"section table past the end", file + 2, 2, 60},
      {"section data past the end", sections + 20, 4, 0xFFFFFF00u},
      {"section size past the end", sections + 16, 4, 0xFFFFFFFFu},
      {"section wraps the address space", sections + 12, 4, 0xFFFFFF00u},
  };
  EXPECT_TRUE(plat::PeImage::parse(good.data(), good.size()));
  for (const Bend& c : cases) {
    const Bytes bytes = bent(good, c);
    EXPECT_FALSE(plat::PeImage::parse(bytes.data(), bytes.size())) << c.what;
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
  const auto image = plat::PeImage::parse(good.data(), good.size());
  const auto offsetOf = [&](plat::DWORD rva) {
    return static_cast<std::size_t>(image->atRva(rva, 2) - good.data());
  };
  const std::size_t root = offsetOf(image->directoryRva(plat::IMAGE_DIRECTORY_ENTRY_RESOURCE));
  // The root's first entry is RT_STRING; its target is a subdirectory of blocks.
  const std::size_t typeEntry = root + 16;
  const std::size_t blocks = root + (read(good, typeEntry + 4) & 0x7FFFFFFF);
  const std::size_t blockEntry = blocks + 16; // block 1: strings 0 to 15
  const std::size_t languages = root + (read(good, blockEntry + 4) & 0x7FFFFFFF);
  const std::size_t dataEntry = root + read(good, languages + 16 + 4);
  const std::size_t block = offsetOf(read(good, dataEntry));
  const std::size_t directories = read(good, 0x3C) + 4 + 20 + 96;

  constexpr plat::DWORD noName = plat::ERROR_RESOURCE_NAME_NOT_FOUND;
  constexpr plat::DWORD noData = plat::ERROR_RESOURCE_DATA_NOT_FOUND;
  const std::uint32_t blockItself = 0x80000000u | static_cast<std::uint32_t>(blocks - root);
  const struct {
    Bend bend;
    plat::UINT id;
    plat::DWORD error;
  } cases[] = {
      {{"type entry loops to the root", typeEntry + 4, 4, 0x80000000u}, 1, noName},
      {{"type entry past the end", typeEntry + 4, 4, 0x8FFFFFF0u}, 1, noData},
      {{"type entry names data", typeEntry + 4, 4, 0x10u}, 1, noData},
      {{"entry counts overflow the section", root + 12, 4, 0xFFFFFFFFu}, 1, noData},
      {{"block loops to itself", blockEntry + 4, 4, blockItself}, 1, noData},
      {{"language names a directory", languages + 16 + 4, 4, 0x80000000u}, 1, noData},
      {{"data entry past the end", languages + 16 + 4, 4, 0x7FFFFFF0u}, 1, noData},
      {{"data RVA past the end", dataEntry, 4, 0x7FFFFFF0u}, 1, noData},
      {{"data size overflows", dataEntry + 4, 4, 0xFFFFFFFFu}, 1, noData},
      {{"data at an odd address", dataEntry, 4, read(good, dataEntry) + 1}, 1, noData},
      {{"no resource directory", directories + 2 * 8, 4, 0}, 1, noData},
      // A string whose length runs past its block: it and those after it are lost, those
      // before it are not.
      {{"string 1 runs past its block", block + 2, 2, 0xFFFF}, 1, noData},
      {{"string 3 behind it", block + 2, 2, 0xFFFF}, 3, noData},
      {{"string 0 before it", block + 2, 2, 0xFFFF}, 0, noName},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(lookUp(bent(good, c.bend), c.id), c.error) << c.bend.what;
  }
}

} // namespace
