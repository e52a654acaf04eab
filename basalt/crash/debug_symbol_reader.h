#ifndef BASALT_CRASH_DEBUG_SYMBOL_READER_H
#define BASALT_CRASH_DEBUG_SYMBOL_READER_H

// Reads the CodeView debug data (the kind with subsection directories, "NB11" and older) of a
// module's PE image for the crash report: globals whose names begin with 'g', and the locals
// of the procedure that holds a code address. Every read of the image is checked against the
// view, so a corrupt image ends its module's lines and nothing else; a value that can't be
// read shows "??".
//
// Positions in the image are offsets into its view; 0 stands for none.

#include "basalt/crash/variable_line.h"
#include "basalt/platform/images/debug_help.h"
#include "basalt/platform/runtime/text_stream.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace basalt::crash {

// Where the subsections of one module stand. Row n - 1 of a table belongs to module index n.
struct ModuleTableRow {
  std::uint64_t module = 0;    // sstModule
  std::uint64_t alignSym = 0;  // sstAlignSym
  std::uint64_t srcModule = 0; // sstSrcModule
};
using ModuleTable = std::vector<ModuleTableRow>;

class DebugSymbolReader {
public:
  using MapAndLoadFunction = decltype(&platform::MapAndLoad);
  using UnMapAndLoadFunction = decltype(&platform::UnMapAndLoad);

  // Lines go to stream; images are mapped with the debug help library's two functions.
  DebugSymbolReader(platform::FILE* stream, MapAndLoadFunction mapAndLoad,
                    UnMapAndLoadFunction unMapAndLoad);
  ~DebugSymbolReader();
  DebugSymbolReader(const DebugSymbolReader&) = delete;
  DebugSymbolReader& operator=(const DebugSymbolReader&) = delete;

  // Maps the module's image and finds its CodeView data; 0, quietly, when there is none that
  // this reader reads ("NB10" names a separate program database).
  int open(const platform::IMAGEHLP_MODULE* module);
  void close();
  void reset();

  // Finds ".text" in the section table and notes its place; 0 when there is none.
  int findTextSection(std::uint64_t firstSection);
  // The highest module index of the subsection directory; 0 when it can't be read.
  std::uint32_t scanDirectory();
  // Fills a table of scanDirectory's size, and finds the two symbol tables.
  void fillModuleTable(ModuleTable& table);
  // Prints the globals that the table's S_DATAREF records lead to. Always 1.
  int printGlobals(std::uint64_t table, const ModuleTable& moduleTable);
  // The procedure reference of the last address pair of segment at or below offset.
  int findProcedureRef(std::uint32_t segment, std::uint64_t table, std::uint32_t offset,
                       std::uint32_t& position, std::uint16_t& moduleIndex) const;
  bool procedureHolds(std::uint32_t offset, std::uint64_t record) const;
  // Both ends included.
  bool inDebugRange(std::uint64_t record, std::uint64_t displacement) const;
  // The procedure's S_BPREL32 records up to the first S_END.
  void printLocals(std::uint64_t framePointer, std::uint64_t record);
  // type 0xFFFFFFFF marks a global, whose address is a position in the view; any other
  // type's address is one of this process.
  void printVariable(std::uint64_t countedName, std::uint32_t type, std::uint64_t address);
  // The position in the view of the value stored at segment:offset; 0 when there is none.
  std::uint64_t symbolAddress(std::uint64_t headers, std::uint16_t segment,
                              std::uint32_t offset) const;
  static TypeClass classifyType(std::uint32_t type);

  bool ready() const { return isReady; }
  std::uint64_t textStart() const { return textBegin; }
  std::uint64_t textEnd() const { return textFinish; }
  std::uint32_t textSectionIndex() const { return textIndex; }
  std::uint64_t globalSym() const { return globalTable; }
  std::uint64_t staticSym() const { return staticTable; }

private:
  template <class T> bool read(std::uint64_t at, T& value) const;
  // Where the records of a symbol table begin.
  static std::uint64_t recordsOf(std::uint64_t table) { return table + 16; }

  platform::FILE* stream;
  MapAndLoadFunction mapAndLoad;
  UnMapAndLoadFunction unMapAndLoad;

  std::uint64_t cvBase = 0;
  std::uint16_t dirEntrySize = 0;
  std::uint64_t firstDirEntry = 0;
  std::uint32_t dirEntryCount = 0;
  std::uint32_t moduleCount = 0;
  std::uint64_t globalTable = 0;
  std::uint64_t staticTable = 0;
  std::uint64_t ntHeaders = 0;
  std::uint64_t textBegin = 0;
  std::uint64_t textFinish = 0;
  std::uint32_t textIndex = 0;
  std::unique_ptr<platform::LOADED_IMAGE> image;
  bool mapped = false;
  bool isReady = false;
};

} // namespace basalt::crash

#endif
