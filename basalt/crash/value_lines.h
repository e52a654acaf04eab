#ifndef BASALT_CRASH_VALUE_LINES_H
#define BASALT_CRASH_VALUE_LINES_H

// The crash report's lines of values: a module's globals after its module block, a frame's
// locals after its symbol lines. They come from the CodeView data of the module's PE image
// where it has some, and otherwise from the debug help library's symbol enumeration (DWARF
// on this platform).

#include "basalt/crash/debug_symbol_reader.h"
#include "basalt/platform/images/debug_help.h"
#include "basalt/platform/runtime/text_stream.h"

namespace basalt::crash {

// The debug help library's functions that the lines need.
struct ValueFunctions {
  DebugSymbolReader::MapAndLoadFunction MapAndLoad;
  DebugSymbolReader::UnMapAndLoadFunction UnMapAndLoad;
  decltype(&platform::SymSetContext) SymSetContext;
  decltype(&platform::SymEnumSymbols) SymEnumSymbols;
  decltype(&platform::SymGetTypeInfo) SymGetTypeInfo;
};

class ValueLines {
public:
  ValueLines(platform::HANDLE process, platform::FILE* stream, const ValueFunctions& functions);

  // The globals of a module that the walk has just entered, under their two "Searching"
  // headings; nothing for a module without debug information. False when a heading couldn't
  // be written.
  bool writeGlobals(const platform::IMAGEHLP_MODULE& module);
  // The locals of a frame in the module last entered, whose symbol was found at
  // displacement. callerFrame: the frame's instruction pointer is a return address.
  void writeLocals(const platform::STACKFRAME& frame, const platform::IMAGEHLP_SYMBOL& symbol,
                   platform::DWORD64 displacement, bool callerFrame);

private:
  bool writeEnumeratedGlobals(const platform::IMAGEHLP_MODULE& module);
  void writeEnumeratedLocals(const platform::STACKFRAME& frame, bool callerFrame);

  platform::HANDLE process;
  platform::FILE* stream;
  ValueFunctions functions;
  DebugSymbolReader reader;
  ModuleTable table;
};

} // namespace basalt::crash

#endif
