#include "basalt/crash/value_lines.h"

#include "basalt/frame/static/static_objects.h"

#include <algorithm>
#include <string>
#include <vector>

namespace basalt::crash {

namespace plat = basalt::platform;

namespace {

const char* const sstGlobalSymHeading =
    "\n\nSearching sstGlobalSym symbol table for globals beginning with 'g' ";
const char* const sstStaticSymHeading =
    "\n\nSearching sstStaticSym symbol table for globals beginning with 'g' ";

// Enumerated modules are 64-bit: pointers show 16 digits.
constexpr int pointerDigits = 16;

struct Variable {
  std::string name;
  plat::ULONG typeIndex;
  plat::ULONG index;
  plat::ULONG flags;
  plat::ULONG registerId;
  plat::ULONG64 address;
  plat::ULONG64 module;
};

plat::BOOL collect(plat::SYMBOL_INFO* symbol, plat::ULONG /*symbolSize*/, void* userContext) {
  static_cast<std::vector<Variable>*>(userContext)
      ->push_back({std::string(symbol->Name, symbol->NameLen), symbol->TypeIndex, symbol->Index,
                   symbol->Flags, symbol->Register, symbol->Address, symbol->ModBase});
  return plat::TRUE;
}

// How a value of a type is shown and read.
struct Shape {
  TypeClass type = TypeClass::Hex;
  std::size_t size = sizeof(plat::DWORD64);
  bool isSigned = false;
};

class TypeShapes {
public:
  TypeShapes(const ValueFunctions& functions, plat::HANDLE process, plat::DWORD64 module)
      : functions(functions), process(process), module(module) {}

  Shape of(plat::ULONG type) const {
    plat::DWORD tag = plat::SymTagNull;
    plat::ULONG64 length = 0;
    if (!get(type, plat::TI_GET_SYMTAG, tag) || !get(type, plat::TI_GET_LENGTH, length)) {
      return {};
    }
    if (tag == plat::SymTagPointerType) {
      plat::DWORD pointee = 0;
      const TypeClass target =
          get(type, plat::TI_GET_TYPEID, pointee) ? of(pointee).type : TypeClass::Hex;
      return {pointerTo(target), sizeof(plat::DWORD64), false};
    }
    const std::size_t size = std::min<plat::ULONG64>(length, sizeof(plat::DWORD64));
    plat::DWORD base = plat::btNoType;
    if (tag != plat::SymTagBaseType || !get(type, plat::TI_GET_BASETYPE, base)) {
      return {TypeClass::Hex, size, false};
    }
    const bool isSigned = base == plat::btInt || base == plat::btChar || base == plat::btWChar;
    if (base == plat::btChar) {
      return {TypeClass::Char, 1, true};
    }
    if (base == plat::btFloat && (length == 4 || length == 8)) {
      return {length == 4 ? TypeClass::Float : TypeClass::Double, size, true};
    }
    if ((base == plat::btInt || base == plat::btUInt) && (length == 2 || length == 4)) {
      return {TypeClass::Int, size, isSigned};
    }
    return {TypeClass::Plain, size, isSigned};
  }

private:
  template <class T>
  bool get(plat::ULONG type, plat::IMAGEHLP_SYMBOL_TYPE_INFO what, T& value) const {
    return functions.SymGetTypeInfo(process, module, type, what, &value) != 0;
  }

  static TypeClass pointerTo(TypeClass target) {
    switch (target) {
    case TypeClass::Char:
      return TypeClass::CharPointer;
    case TypeClass::Float:
      return TypeClass::FloatPointer;
    case TypeClass::Double:
      return TypeClass::DoublePointer;
    case TypeClass::Int:
      return TypeClass::IntPointer;
    default:
      return TypeClass::Hex;
    }
  }

  const ValueFunctions& functions;
  plat::HANDLE process;
  plat::DWORD64 module;
};

VariableValue readValue(plat::DWORD64 address, const Shape& shape) {
  VariableValue value;
  value.size = shape.size;
  value.isSigned = shape.isSigned;
  value.read =
      plat::ReadProcessMemory(plat::GetCurrentProcess(), reinterpret_cast<const void*>(address),
                              value.bytes, value.size, nullptr) != 0;
  return value;
}

bool write(plat::FILE* stream, const char* text) {
  return plat::fputs(text, stream) == 0;
}

} // namespace

ValueLines::ValueLines(plat::HANDLE process, plat::FILE* stream, const ValueFunctions& functions)
    : process(process), stream(stream), functions(functions),
      reader(stream, functions.MapAndLoad, functions.UnMapAndLoad) {}

bool ValueLines::writeGlobals(const plat::IMAGEHLP_MODULE& module) {
  if (reader.open(&module) == 0) {
    return writeEnumeratedGlobals(module);
  }
  table.clear();
  const std::uint32_t modules = reader.scanDirectory();
  if (modules == 0) {
    return true;
  }
  table.assign(modules, {});
  reader.fillModuleTable(table);
  if (!write(stream, sstGlobalSymHeading)) {
    return false;
  }
  reader.printGlobals(reader.globalSym(), table);
  if (!write(stream, sstStaticSymHeading)) {
    return false;
  }
  reader.printGlobals(reader.staticSym(), table);
  frame::printedGlobals().clear();
  return true;
}

bool ValueLines::writeEnumeratedGlobals(const plat::IMAGEHLP_MODULE& module) {
  std::vector<Variable> globals;
  if (functions.SymEnumSymbols(process, module.BaseOfImage, nullptr, collect, &globals) == 0) {
    return true;
  }
  const TypeShapes shapes(functions, process, module.BaseOfImage);
  for (const auto& [heading, kind] : {std::pair{sstGlobalSymHeading, plat::DataIsGlobal},
                                      {sstStaticSymHeading, plat::DataIsFileStatic}}) {
    if (!write(stream, heading)) {
      return false;
    }
    for (const Variable& global : globals) {
      plat::DWORD dataKind = plat::DataIsUnknown;
      if (functions.SymGetTypeInfo(process, module.BaseOfImage, global.index, plat::TI_GET_DATAKIND,
                                   &dataKind) != 0 &&
          dataKind == kind && claimGlobal(global.name.c_str())) {
        writeVariableLine(stream, TypeClass::Global, global.name.c_str(),
                          readValue(global.address, shapes.of(global.typeIndex)), pointerDigits);
      }
    }
  }
  frame::printedGlobals().clear();
  return true;
}

void ValueLines::writeLocals(const plat::STACKFRAME& frame, const plat::IMAGEHLP_SYMBOL& symbol,
                             plat::DWORD64 displacement, bool callerFrame) {
  if (!reader.ready()) {
    writeEnumeratedLocals(frame, callerFrame);
    return;
  }
  if (symbol.Address < reader.textStart() || symbol.Address >= reader.textEnd() || table.empty() ||
      reader.globalSym() == 0) {
    return;
  }
  const auto offset = static_cast<std::uint32_t>(symbol.Address - reader.textStart());
  std::uint32_t position = 0;
  std::uint16_t moduleIndex = 0;
  if (reader.findProcedureRef(reader.textSectionIndex(), reader.globalSym(), offset, position,
                              moduleIndex) == 0 ||
      moduleIndex == 0 || moduleIndex > table.size() || table[moduleIndex - 1].alignSym == 0) {
    return;
  }
  const std::uint64_t record = table[moduleIndex - 1].alignSym + position;
  if (reader.procedureHolds(offset, record) && reader.inDebugRange(record, displacement)) {
    reader.printLocals(frame.AddrFrame.Offset, record);
  }
}

void ValueLines::writeEnumeratedLocals(const plat::STACKFRAME& frame, bool callerFrame) {
  plat::IMAGEHLP_STACK_FRAME context{};
  // A return address may already lie past the call's scope: the call itself is one before.
  context.InstructionOffset = frame.AddrPC.Offset - (callerFrame ? 1 : 0);
  context.FrameOffset = frame.AddrFrame.Offset;
  context.StackOffset = frame.AddrStack.Offset;
  std::vector<Variable> locals;
  if (functions.SymSetContext(process, &context, nullptr) == 0 ||
      functions.SymEnumSymbols(process, 0, nullptr, collect, &locals) == 0 || locals.empty()) {
    return;
  }
  const TypeShapes shapes(functions, process, locals.front().module);
  for (const Variable& local : locals) {
    // Only what lies in the frame has a value to show; a register's is gone by now. An
    // unnamed parameter has no line.
    const bool onStack =
        !local.name.empty() && (local.flags & plat::SYMFLAG_REGREL) != 0 &&
        (local.registerId == plat::CV_AMD64_RBP || local.registerId == plat::CV_AMD64_RSP);
    if (onStack) {
      const plat::DWORD64 base =
          local.registerId == plat::CV_AMD64_RBP ? context.FrameOffset : context.StackOffset;
      const Shape shape = shapes.of(local.typeIndex);
      writeVariableLine(stream, shape.type, local.name.c_str(),
                        readValue(base + local.address, shape), pointerDigits);
    }
  }
}

} // namespace basalt::crash
