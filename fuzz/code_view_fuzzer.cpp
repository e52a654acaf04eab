// Feeds arbitrary bytes to the CodeView reader as a module's image file: the report's lines of
// the module's globals, then of the locals of frames at a few places of its code. Whatever the
// bytes, the reader may only end the module's lines early.

#include "basalt/crash/value_lines.h"
#include "basalt/platform/images/debug_help.h"
#include "basalt/platform/runtime/text_stream.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

namespace plat = basalt::platform;

namespace {

// The image lies in a directory of its own, which the reader finds through "path".
const std::string& imageDirectory() {
  static const std::string directory = [] {
    std::string pattern = (std::filesystem::temp_directory_path() / "code-view-XXXXXX").string();
    ::mkdtemp(pattern.data());
    ::setenv("path", pattern.c_str(), 1);
    return pattern;
  }();
  return directory;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string file = imageDirectory() + "/fuzzed.dll";
  std::ofstream(file, std::ios::binary | std::ios::trunc)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  static plat::FILE* const sink = plat::fopen("/dev/null", "w");
  plat::IMAGEHLP_MODULE module{};
  module.SizeOfStruct = sizeof module;
  module.BaseOfImage = 0x10000000;
  std::strcpy(module.ModuleName, "fuzzed");
  std::strcpy(module.ImageName, "fuzzed.dll");
  basalt::crash::ValueLines lines(plat::GetCurrentProcess(), sink,
                                  {&plat::MapAndLoad, &plat::UnMapAndLoad, &plat::SymSetContext,
                                   &plat::SymEnumSymbols, &plat::SymGetTypeInfo});
  lines.writeGlobals(module);
  // A frame whose locals lie in this process, readable or not.
  unsigned char frameBytes[256] = {};
  plat::STACKFRAME frame{};
  frame.AddrFrame.Offset = reinterpret_cast<plat::DWORD64>(frameBytes + 128);
  for (const plat::DWORD64 offset : {0x0, 0x20, 0x1000, 0xFFFF}) {
    plat::IMAGEHLP_SYMBOL symbol{};
    symbol.Address = module.BaseOfImage + 0x1000 + offset;
    lines.writeLocals(frame, symbol, 4, true);
  }
  return 0;
}
