// The report's lines of globals and locals for PE images with CodeView data, written here
// byte by byte (the LLVM tools write only program database references).

#include "basalt/crash/value_lines.h"
#include "basalt/platform/images/debug_help.h"
#include "tests/support/scratch_directory.h"

#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <tuple>
#include <vector>

namespace {

namespace plat = basalt::platform;
using basalt::crash::ValueFunctions;
using basalt::crash::ValueLines;

// Little-endian bytes.
struct Bytes {
  std::string data;
  Bytes& u8(unsigned value) { return data.push_back(static_cast<char>(value)), *this; }
  Bytes& u16(unsigned value) { return u8(value & 0xFF).u8(value >> 8); }
  Bytes& u32(std::uint32_t value) { return u16(value & 0xFFFF).u16(value >> 16); }
  Bytes& text(const std::string& value) { return data += value, *this; }
  Bytes& counted(const std::string& value) { return u8(value.size()).text(value); }
  Bytes& padTo(std::size_t size) { return data.resize(size, '\0'), *this; }
};

// The two record layouts: "NB11" with 32-bit type indexes, older data ("NB09") with 16-bit
// ones.
struct Layout {
  unsigned localData, globalData, globalProc, framePointerRelative;
  bool wide;
};
const Layout nb11{0x1007, 0x1008, 0x100B, 0x1006, true};
const Layout nb09{0x201, 0x202, 0x205, 0x200, false};

// A record's position, then the record.
std::uint32_t add(Bytes& table, unsigned kind, const Bytes& body) {
  const auto position = static_cast<std::uint32_t>(table.data.size());
  table.u16(body.data.size() + 2).u16(kind).text(body.data);
  return position;
}

Bytes data(const Layout& layout, std::uint32_t offset, unsigned segment, const std::string& name) {
  Bytes body;
  layout.wide ? body.u32(0x74).u32(offset).u16(segment) : body.u32(offset).u16(segment).u16(0x74);
  return body.counted(name);
}

Bytes local(const Layout& layout, std::int32_t offset, unsigned type, const std::string& name) {
  Bytes body;
  body.u32(static_cast<std::uint32_t>(offset));
  layout.wide ? body.u32(type) : body.u16(type);
  return body.counted(name);
}

Bytes reference(std::uint32_t position) {
  return Bytes().u32(0).u32(position).u16(1);
}

constexpr std::uint32_t codeOffset = 0x20;
constexpr std::uint64_t imageBase = 0x10000000;

// The procedure's locals: where each lies in the frame, its CodeView type, its name, the
// bytes that the frame holds there, and its line; none at offset 0 nor for a name of 128
// characters.
struct Local {
  std::int32_t offset;
  unsigned type;
  std::string name;
  std::uint64_t bytes;
  std::string line;
};
// A 32-bit DLL: .text at 0x1000, .data at 0x2000 (gCount 42 at 0x10, gHidden at 0x20), the
// debug directory in .rdata, the CodeView data behind the sections. One procedure at 0x20 of
// .text, 0x40 long, its frame in place from 4 to 0x30.
std::string image(const Layout& layout, const char* signature, const std::vector<Local>& locals,
                  bool stripped = false) {
  Bytes alignSym;
  alignSym.u32(1);
  const std::uint32_t count = add(alignSym, layout.globalData, data(layout, 0x10, 2, "gCount"));
  const std::uint32_t hidden = add(alignSym, layout.localData, data(layout, 0x20, 2, "gHidden"));
  const std::uint32_t nowhere = add(alignSym, layout.globalData, data(layout, 0x10, 0, "gNowhere"));
  const std::uint32_t other = add(alignSym, layout.globalData, data(layout, 0x10, 2, "other"));
  const std::uint32_t capital = add(alignSym, layout.localData, data(layout, 0x10, 2, "Gnope"));
  Bytes procedure;
  procedure.u32(0).u32(0).u32(0).u32(0x40).u32(4).u32(0x30);
  layout.wide ? procedure.u32(0).u32(codeOffset).u16(1) : procedure.u32(codeOffset).u16(1).u16(0);
  const std::uint32_t function = add(alignSym, layout.globalProc, procedure.u8(0).counted("f"));
  for (const Local& each : locals) {
    add(alignSym, layout.framePointerRelative, local(layout, each.offset, each.type, each.name));
  }
  add(alignSym, 0x1103, Bytes().u32(0).u32(0).u32(4).u32(0).u16(1).counted(""));
  add(alignSym, 6, Bytes());
  add(alignSym, layout.framePointerRelative, local(layout, -8, 0x74, "behindBlock"));
  add(alignSym, 6, Bytes());

  // sstGlobalSym: references and one data record standing in the table, then the address
  // table with one segment (.text, the first section) and one pair.
  Bytes globals;
  add(globals, 0x401, reference(count));
  add(globals, 0x401, reference(nowhere));
  add(globals, 0x401, reference(other));
  add(globals, layout.globalData, data(layout, 0x10, 2, "gDirect"));
  const std::uint32_t procedureRef = add(globals, 0x400, reference(function));
  Bytes globalSym;
  globalSym.u16(0).u16(0).u32(globals.data.size()).u32(0).u32(0).text(globals.data);
  globalSym.u16(1).u16(0).u32(0).u32(1).u32(procedureRef).u32(codeOffset);
  Bytes statics;
  add(statics, 0x401, reference(hidden));
  add(statics, 0x401, reference(count));
  add(statics, 0x401, reference(capital));
  Bytes staticSym;
  staticSym.u16(0).u16(0).u32(statics.data.size()).u32(0).u32(0).text(statics.data);

  // The signature, where the directory lies, the parts, then the directory.
  Bytes parts;
  std::vector<std::pair<unsigned, std::uint32_t>> entries;
  for (const auto& [kind, part] : {std::pair{0x120U, Bytes().u32(0)},
                                   {0x125U, alignSym},
                                   {0x129U, globalSym},
                                   {0x134U, staticSym}}) {
    entries.emplace_back(kind, static_cast<std::uint32_t>(8 + parts.data.size()));
    parts.text(part.data);
  }
  Bytes cv;
  cv.text(signature).u32(8 + parts.data.size()).text(parts.data);
  cv.u16(16).u16(12).u32(entries.size()).u32(0).u32(0);
  for (const auto& [kind, position] : entries) {
    cv.u16(kind).u16(kind == 0x129 || kind == 0x134 ? 0xFFFF : 1).u32(position).u32(0);
  }

  Bytes pe;
  pe.text("MZ").padTo(0x3C).u32(0x40).text(std::string("PE\0\0", 4));
  pe.u16(0x14C).u16(3).u32(0).u32(0).u32(0).u16(224).u16(stripped ? 0x2302 : 0x2102);
  const std::size_t optional = pe.data.size();
  pe.u16(0x10B).padTo(optional + 92).u32(16).padTo(optional + 144).u32(0x3000).u32(56);
  pe.padTo(optional + 224);
  const std::pair<const char*, std::uint32_t> sections[] = {
      {".text", 0x1000}, {".data", 0x2000}, {".rdata", 0x3000}};
  std::uint32_t raw = 0x400;
  for (const auto& [name, address] : sections) {
    const std::size_t at = pe.data.size();
    pe.text(name).padTo(at + 8).u32(0x100).u32(address).u32(0x200).u32(raw).padTo(at + 40);
    raw += 0x200;
  }
  pe.padTo(0x600 + 0x10).u32(42).padTo(0x600 + 0x20).u32(0x11223344);
  // A COFF entry first: the CodeView one is looked for.
  pe.padTo(0x800 + 12).u32(1).padTo(0x800 + 28 + 12).u32(2).u32(cv.data.size()).u32(0).u32(0xA00);
  return pe.padTo(0xA00).text(cv.data).data;
}

const char* const globalLines =
    "\n\nSearching sstGlobalSym symbol table for globals beginning with 'g' "
    "\n\t\tglobal gCount = 0x0000002A"
    "\n\t\tglobal gNowhere = ??"
    "\n\nSearching sstStaticSym symbol table for globals beginning with 'g' "
    "\n\t\tglobal gHidden = 0x11223344";

// Both layouts give the globals once, then the locals where the procedure holds the frame;
// data that names a program database, a stripped image, a real DLL of the LLVM linker without
// debug data, an ELF file and no image at all give nothing, quietly.
TEST(ValueLines, LocalsShowOnlyWhereTheProcedureHoldsTheFrame) {
  const basalt::test::ScratchDirectory temp;
  const basalt::test::EnvironmentVariable path{"path", temp.path().c_str()};
  const std::vector<Local> locals = {
      {-8, 0x70, "letter", 'x', "char letter = x"},
      {-16, 0x470, "text", 0x1234, "char* text = 0x00001234"},
      {-24, 0x40, "ratio", 0x3FC00000, "float ratio = 1.500000"},
      {-32, 0x440, "ratioPointer", 0x2345, "float* ratioPointer = 0x00002345"},
      {-40, 0x41, "precise", 0x4002000000000000, "double precise = 2.250000"},
      {-48, 0x441, "precisePointer", 0x3456, "double* precisePointer = 0x00003456"},
      {-56, 0x11, "shortValue", 0x1FFFE, "int shortValue = 131070"}, // a short of -2, and 2 bytes
      {-64, 0x474, "countPointer", 0x4567, "int* countPointer = 0x00004567"},
      {-72, 0x12, "longValue", 0xFFFFFFFB, "longValue = -5"},
      {-80, 0x71, "wide", 65, "wide = 65"},
      {-88, 0x1003, "user", 0xABCDEF, "user = 0x00ABCDEF"},
      {0, 0x74, "atZero", 0, ""},
      {-96, 0x74, std::string(127, 'n'), 9, "int " + std::string(127, 'n') + " = 9"},
      {-104, 0x74, std::string(128, 'n'), 9, ""},
  };

  // The symbol's offset in .text, the displacement, whether the frame can be read, whether
  // locals show.
  const std::tuple<plat::DWORD64, plat::DWORD64, bool, bool> cases[] = {
      {codeOffset, 0x30, true, true},      // the last byte of the debug range
      {codeOffset, 4, true, true},         // the first
      {codeOffset, 4, false, true},        // a frame that can't be read: every value "??"
      {codeOffset, 3, true, false},        // before the frame is in place
      {codeOffset, 0x31, true, false},     // past the exit code
      {codeOffset + 0x40, 4, true, false}, // past the procedure, whose pair is still the last
      {codeOffset - 1, 4, true, false},    // before the first pair
      {0x100, 4, true, false},             // past .text
  };
  std::string values;
  std::string unread;
  for (const Local& each : locals) {
    if (!each.line.empty()) {
      values += "\n\t\t" + each.line;
      unread += "\n\t\t" + each.line.substr(0, each.line.find(" = ")) + " = ??";
    }
  }
  const std::pair<std::string, bool> images[] = {
      {image(nb11, "NB11", locals), true},
      {image(nb09, "NB09", locals), true},
      {image(nb11, "NB10", locals), false},
      {image(nb11, "NB11", locals, true), false},
      {basalt::test::fileBytes(BASALT_BINARY_DIR "/tests/modules/strings_201_ENU.dll"), false},
      {basalt::test::fileBytes(BASALT_BINARY_DIR "/tests/modules/test_plugin.so"), false},
      {"", false}};
  alignas(8) unsigned char stackBytes[128] = {};
  unsigned char* const frame = stackBytes + 112; // what the frame pointer points at
  for (const Local& each : locals) {
    std::memcpy(frame + each.offset, &each.bytes, sizeof each.bytes);
  }
  plat::IMAGEHLP_MODULE module{};
  module.SizeOfStruct = sizeof module;
  module.BaseOfImage = imageBase;
  std::strcpy(module.ModuleName, "cvimage");
  std::strncpy(module.ImageName, temp.os("cvimage.dll").c_str(), sizeof module.ImageName - 1);
  for (std::size_t index = 0; index < std::size(images); ++index) {
    const auto& [bytes, codeView] = images[index];
    std::filesystem::remove(temp.path() / "cvimage.dll");
    if (!bytes.empty()) {
      temp.write("cvimage.dll", bytes);
    }
    for (const auto& [offset, displacement, readable, shown] : cases) {
      plat::FILE* stream = plat::fopen(temp.os("lines.txt").c_str(), "w+");
      {
        ValueLines lines(plat::GetCurrentProcess(), stream,
                         ValueFunctions{&plat::MapAndLoad, &plat::UnMapAndLoad,
                                        &plat::SymSetContext, &plat::SymEnumSymbols,
                                        &plat::SymGetTypeInfo});
        EXPECT_TRUE(lines.writeGlobals(module));
        plat::STACKFRAME stack{};
        // Page zero is never mapped.
        stack.AddrFrame.Offset = readable ? reinterpret_cast<plat::DWORD64>(frame) : 0x80;
        plat::IMAGEHLP_SYMBOL symbol{};
        symbol.Address = imageBase + 0x1000 + offset;
        lines.writeLocals(stack, symbol, displacement, true);
      }
      plat::fclose(stream);
      const std::string text = temp.read("lines.txt");
      const std::string& expected = readable ? values : unread;
      EXPECT_EQ(text, codeView ? globalLines + (shown ? expected : "") : "")
          << index << " " << offset << " " << displacement;
    }
  }
}

} // namespace
