#include "basalt/platform/images/dwarf_info.h"

#include "basalt/platform/runtime/paths.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <dwarf.h>
#include <elfutils/libdw.h>
#include <elfutils/libdwelf.h>
#include <fcntl.h>
#include <optional>
#include <unistd.h>

namespace basalt::platform {
namespace {

// DWARF's numbers of the registers a frame base can stand on.
constexpr unsigned dwarfRbp = 6;
constexpr unsigned dwarfRsp = 7;

// A register and an offset from it.
struct RegisterOffset {
  ULONG registerId;
  std::int64_t offset;
};

std::optional<RegisterOffset> registerOffset(unsigned dwarfRegister, std::int64_t offset) {
  if (dwarfRegister == dwarfRbp) {
    return RegisterOffset{CV_AMD64_RBP, offset};
  }
  if (dwarfRegister == dwarfRsp) {
    return RegisterOffset{CV_AMD64_RSP, offset};
  }
  return std::nullopt;
}

// A one-operation expression that names a register plus an offset.
std::optional<RegisterOffset> registerOffset(const Dwarf_Op* ops, std::size_t count) {
  if (count != 1) {
    return std::nullopt;
  }
  const Dwarf_Op& op = ops[0];
  if (op.atom >= DW_OP_breg0 && op.atom <= DW_OP_breg31) {
    return registerOffset(op.atom - DW_OP_breg0, static_cast<std::int64_t>(op.number));
  }
  if (op.atom == DW_OP_bregx) {
    return registerOffset(static_cast<unsigned>(op.number), static_cast<std::int64_t>(op.number2));
  }
  if (op.atom >= DW_OP_reg0 && op.atom <= DW_OP_reg31) {
    return registerOffset(op.atom - DW_OP_reg0, 0);
  }
  return std::nullopt;
}

bool flag(Dwarf_Die* die, unsigned name) {
  Dwarf_Attribute attribute;
  bool value = false;
  return dwarf_attr_integrate(die, name, &attribute) != nullptr &&
         dwarf_formflag(&attribute, &value) == 0 && value;
}

// The type an entry's DW_AT_type names, with typedefs and qualifiers peeled.
std::optional<Dwarf_Die> typeOf(Dwarf_Die* die) {
  Dwarf_Attribute attribute;
  Dwarf_Die type;
  Dwarf_Die peeled;
  if (dwarf_attr_integrate(die, DW_AT_type, &attribute) == nullptr ||
      dwarf_formref_die(&attribute, &type) == nullptr || dwarf_peel_type(&type, &peeled) != 0) {
    return std::nullopt;
  }
  return peeled;
}

ULONG64 sizeOf(Dwarf_Die* type) {
  const int tag = dwarf_tag(type);
  Dwarf_Word size = 0;
  if (dwarf_aggregate_size(type, &size) == 0) {
    return size;
  }
  const bool pointer = tag == DW_TAG_pointer_type || tag == DW_TAG_reference_type ||
                       tag == DW_TAG_rvalue_reference_type;
  return pointer ? sizeof(void*) : 0;
}

// The single location of a variable at address; empty when it has none there.
std::pair<Dwarf_Op*, std::size_t> locationAt(Dwarf_Die* die, Dwarf_Addr address) {
  Dwarf_Attribute attribute;
  Dwarf_Op* ops = nullptr;
  std::size_t count = 0;
  if (dwarf_attr(die, DW_AT_location, &attribute) == nullptr ||
      dwarf_getlocation_addr(&attribute, address, &ops, &count, 1) != 1) {
    return {nullptr, 0};
  }
  return {ops, count};
}

// The fixed address of a static variable.
std::optional<Dwarf_Addr> staticAddress(Dwarf_Die* die) {
  Dwarf_Attribute attribute;
  Dwarf_Op* ops = nullptr;
  std::size_t count = 0;
  if (dwarf_attr(die, DW_AT_location, &attribute) == nullptr ||
      dwarf_getlocation(&attribute, &ops, &count) != 0 || count != 1) {
    return std::nullopt;
  }
  if (ops[0].atom == DW_OP_addr) {
    return ops[0].number;
  }
  Dwarf_Attribute indexed;
  Dwarf_Addr address = 0;
  if ((ops[0].atom == DW_OP_addrx || ops[0].atom == DW_OP_GNU_addr_index) &&
      dwarf_getlocation_attr(&attribute, ops, &indexed) == 0 &&
      dwarf_formaddr(&indexed, &address) == 0) {
    return address;
  }
  return std::nullopt;
}

DebugVariable describe(Dwarf_Die* die) {
  DebugVariable variable;
  const char* name = dwarf_diename(die);
  variable.name = name != nullptr ? name : "";
  variable.index = static_cast<ULONG>(dwarf_dieoffset(die));
  if (std::optional<Dwarf_Die> type = typeOf(die)) {
    variable.type = static_cast<ULONG>(dwarf_dieoffset(&*type));
    variable.size = sizeOf(&*type);
  }
  return variable;
}

template <class Add> void forEachChild(Dwarf_Die* parent, const Add& add) {
  Dwarf_Die child;
  if (dwarf_child(parent, &child) != 0) {
    return;
  }
  do {
    add(&child);
  } while (dwarf_siblingof(&child, &child) == 0);
}

// The static variables of a unit or namespace, nested namespaces included.
void addGlobals(Dwarf_Die* scope, std::vector<DebugVariable>& globals) {
  forEachChild(scope, [&](Dwarf_Die* child) {
    const int tag = dwarf_tag(child);
    if (tag == DW_TAG_namespace) {
      addGlobals(child, globals);
    } else if (tag == DW_TAG_variable) {
      if (const std::optional<Dwarf_Addr> address = staticAddress(child)) {
        DebugVariable variable = describe(child);
        variable.address = *address;
        globals.push_back(std::move(variable));
      }
    }
  });
}

// Appends the entry under parent that holds pc and the blocks inside it that do, outermost
// first: a function, then its blocks. Namespaces and classes hold no addresses of their own
// but may hold functions (clang nests definitions there), so they are searched through;
// libdw's dwarf_getscopes misses those functions.
void addScopesAt(Dwarf_Die* parent, Dwarf_Addr pc, std::vector<Dwarf_Die>& scopes) {
  const bool inFunction = !scopes.empty();
  const std::size_t before = scopes.size();
  forEachChild(parent, [&](Dwarf_Die* child) {
    if (scopes.size() != before) {
      return;
    }
    const int tag = dwarf_tag(child);
    const bool container = tag == DW_TAG_namespace || tag == DW_TAG_class_type ||
                           tag == DW_TAG_structure_type || tag == DW_TAG_union_type;
    const bool block = tag == DW_TAG_lexical_block || tag == DW_TAG_inlined_subroutine;
    if (!inFunction && container) {
      addScopesAt(child, pc, scopes);
    } else if ((inFunction ? block : tag == DW_TAG_subprogram) && dwarf_haspc(child, pc) > 0) {
      Dwarf_Die scope = *child;
      scopes.push_back(scope);
      addScopesAt(&scope, pc, scopes);
    }
  });
}

// The unit that holds address. Without .debug_aranges (clang doesn't write them) libdwfl's
// look-up finds none, and only the units' own ranges tell.
Dwarf_Die* unitAt(Dwfl_Module* module, Dwarf_Addr address, Dwarf_Addr& bias) {
  if (Dwarf_Die* unit = dwfl_module_addrdie(module, address, &bias)) {
    return unit;
  }
  for (Dwarf_Die* unit = dwfl_module_nextcu(module, nullptr, &bias); unit != nullptr;
       unit = dwfl_module_nextcu(module, unit, &bias)) {
    if (dwarf_haspc(unit, address - bias) > 0) {
      return unit;
    }
  }
  return nullptr;
}

BasicType basicType(Dwarf_Die* type) {
  Dwarf_Attribute attribute;
  Dwarf_Word encoding = 0;
  if (dwarf_attr(type, DW_AT_encoding, &attribute) == nullptr ||
      dwarf_formudata(&attribute, &encoding) != 0) {
    return btNoType;
  }
  const char* name = dwarf_diename(type);
  switch (encoding) {
  case DW_ATE_signed_char:
    return btChar;
  case DW_ATE_signed:
    return name != nullptr && std::string(name) == "wchar_t" ? btWChar : btInt;
  case DW_ATE_unsigned:
  case DW_ATE_unsigned_char:
    return btUInt;
  case DW_ATE_float:
    return btFloat;
  case DW_ATE_boolean:
    return btBool;
  case DW_ATE_UTF:
    return sizeOf(type) == 2 ? btChar16 : btChar32;
  default:
    return btNoType;
  }
}

enum SymTagEnum symbolTag(int tag) {
  switch (tag) {
  case DW_TAG_base_type:
  case DW_TAG_unspecified_type:
    return SymTagBaseType;
  case DW_TAG_pointer_type:
  case DW_TAG_reference_type:
  case DW_TAG_rvalue_reference_type:
  case DW_TAG_ptr_to_member_type:
    return SymTagPointerType;
  case DW_TAG_structure_type:
  case DW_TAG_class_type:
  case DW_TAG_union_type:
    return SymTagUDT;
  case DW_TAG_enumeration_type:
    return SymTagEnum;
  case DW_TAG_array_type:
    return SymTagArrayType;
  case DW_TAG_subroutine_type:
    return SymTagFunctionType;
  case DW_TAG_variable:
  case DW_TAG_formal_parameter:
    return SymTagData;
  default:
    return SymTagNull;
  }
}

// Whether the file open at fd is the debug file of module: the same build-id, or any file
// for a module that has none.
bool belongsTo(Dwfl_Module* module, int fd) {
  const unsigned char* moduleId = nullptr;
  GElf_Addr idAddress = 0;
  const int moduleIdLength = dwfl_module_build_id(module, &moduleId, &idAddress);
  if (moduleIdLength <= 0) {
    return true;
  }
  Elf* elf = elf_begin(fd, ELF_C_READ_MMAP, nullptr);
  const void* fileId = nullptr;
  const ssize_t fileIdLength = elf != nullptr ? dwelf_elf_gnu_build_id(elf, &fileId) : -1;
  const bool same = fileIdLength == moduleIdLength &&
                    std::memcmp(fileId, moduleId, static_cast<std::size_t>(fileIdLength)) == 0;
  elf_end(elf);
  return same;
}

// A separate debug file on this machine: by build-id under the path's directories, else by
// the debug link beside the file, in its .debug directory, or under the path's absolute
// directories. Never the debuginfod client that dwfl_standard_find_debuginfo falls back to:
// it would load a network stack into a failing process and wait on servers.
int findLocalDebugInfo(Dwfl_Module* module, void** userData, const char* moduleName,
                       Dwarf_Addr base, const char* fileName, const char* debugLink,
                       GElf_Word debugLinkCrc, char** debugInfoFileName) {
  const int byId = dwfl_build_id_find_debuginfo(module, userData, moduleName, base, fileName,
                                                debugLink, debugLinkCrc, debugInfoFileName);
  if (byId >= 0 || fileName == nullptr || debugLink == nullptr) {
    return byId;
  }
  const std::string directory = splitOsPath(fileName).directory;
  const std::string name = std::string("/") + debugLink;
  std::vector<std::string> candidates;
  std::string entries = *userData != nullptr ? static_cast<const char*>(*userData) : "";
  for (std::size_t start = 0; start <= entries.size();) {
    const std::size_t end = std::min(entries.find(':', start), entries.size());
    const std::string entry = entries.substr(start, end - start);
    start = end + 1;
    if (entry.empty()) {
      candidates.push_back(directory + name);
    } else if (entry.front() != '/') {
      candidates.push_back((directory + '/').append(entry).append(name));
    } else {
      candidates.push_back((entry + directory).append(name));
      candidates.push_back(entry + name);
    }
  }
  for (const std::string& candidate : candidates) {
    if (candidate == fileName) {
      continue;
    }
    const int fd = ::open(candidate.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd >= 0 && belongsTo(module, fd)) {
      *debugInfoFileName = ::strdup(candidate.c_str());
      return fd;
    }
    if (fd >= 0) {
      ::close(fd);
    }
  }
  return -1;
}

} // namespace

DwarfInfo::DwarfInfo(std::string path)
    : debugPath(std::move(path)),
      debugPathText(debugPath.data()), callbacks{nullptr, findLocalDebugInfo,
                                                 dwfl_offline_section_address, &debugPathText} {}

DwarfInfo::~DwarfInfo() {
  dwfl_end(session);
}

std::unique_ptr<DwarfInfo> DwarfInfo::open(const std::string& path, const std::string& debugPath) {
  // The default places first: next to the file, its .debug directory, /usr/lib/debug.
  std::unique_ptr<DwarfInfo> info(new DwarfInfo(":.debug:/usr/lib/debug:" + debugPath));
  info->session = dwfl_begin(&info->callbacks);
  if (info->session == nullptr) {
    return nullptr;
  }
  dwfl_report_begin(info->session);
  // At base 0 the session's addresses are the file's.
  info->module = dwfl_report_elf(info->session, "", path.c_str(), -1, 0, false);
  dwfl_report_end(info->session, nullptr, nullptr);
  if (info->module == nullptr) {
    return nullptr;
  }
  // The search of a debug link reads the path from the module's user data.
  void** userData = nullptr;
  dwfl_module_info(info->module, &userData, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
  *userData = info->debugPathText;
  info->dwarf = dwfl_module_getdwarf(info->module, &info->bias);
  return info->dwarf != nullptr ? std::move(info) : nullptr;
}

const std::vector<DebugVariable>& DwarfInfo::globals() const {
  if (globalList) {
    return *globalList;
  }
  std::vector<DebugVariable> globals;
  Dwarf_Addr unitBias = 0;
  for (Dwarf_Die* unit = dwfl_module_nextcu(module, nullptr, &unitBias); unit != nullptr;
       unit = dwfl_module_nextcu(module, unit, &unitBias)) {
    addGlobals(unit, globals);
  }
  for (DebugVariable& variable : globals) {
    variable.address += bias;
  }
  return *(globalList = std::move(globals));
}

const std::vector<DebugVariable>& DwarfInfo::locals(ULONG64 address) const {
  const auto found = localLists.find(address);
  return found != localLists.end() ? found->second
                                   : localLists.emplace(address, findLocals(address)).first->second;
}

std::vector<DebugVariable> DwarfInfo::findLocals(ULONG64 address) const {
  Dwarf_Addr unitBias = 0;
  Dwarf_Die* unit = unitAt(module, address, unitBias);
  std::vector<Dwarf_Die> scopes;
  if (unit != nullptr) {
    addScopesAt(unit, address - unitBias, scopes);
  }
  std::vector<DebugVariable> locals;
  if (scopes.empty()) {
    return locals;
  }
  const Dwarf_Addr pc = address - unitBias;
  std::optional<RegisterOffset> frameBase;
  Dwarf_Attribute attribute;
  Dwarf_Op* base = nullptr;
  std::size_t baseCount = 0;
  if (dwarf_attr_integrate(&scopes.front(), DW_AT_frame_base, &attribute) != nullptr &&
      dwarf_getlocation_addr(&attribute, pc, &base, &baseCount, 1) == 1) {
    if (baseCount == 1 && base[0].atom == DW_OP_call_frame_cfa) {
      // The canonical frame address, by the call frame information at this address.
      Dwarf_Addr cfiBias = 0;
      Dwarf_CFI* cfi = dwfl_module_dwarf_cfi(module, &cfiBias);
      Dwarf_Frame* frame = nullptr;
      if (cfi == nullptr || dwarf_cfi_addrframe(cfi, address - cfiBias, &frame) != 0) {
        cfi = dwfl_module_eh_cfi(module, &cfiBias);
        frame = nullptr;
        if (cfi != nullptr && dwarf_cfi_addrframe(cfi, address - cfiBias, &frame) != 0) {
          frame = nullptr;
        }
      }
      Dwarf_Op* cfa = nullptr;
      std::size_t cfaCount = 0;
      if (frame != nullptr && dwarf_frame_cfa(frame, &cfa, &cfaCount) == 0) {
        frameBase = registerOffset(cfa, cfaCount);
      }
      std::free(frame);
    } else {
      frameBase = registerOffset(base, baseCount);
    }
  }
  // From the function inwards, so that parameters come first.
  for (Dwarf_Die& scope : scopes) {
    forEachChild(&scope, [&](Dwarf_Die* child) {
      const int tag = dwarf_tag(child);
      if (tag != DW_TAG_variable && tag != DW_TAG_formal_parameter) {
        return;
      }
      DebugVariable variable = describe(child);
      variable.flags = SYMFLAG_LOCAL | (tag == DW_TAG_formal_parameter ? SYMFLAG_PARAMETER : 0);
      const auto [ops, opCount] = locationAt(child, pc);
      if (opCount == 1 && ops[0].atom == DW_OP_fbreg && frameBase) {
        variable.flags |= SYMFLAG_REGREL;
        variable.registerId = frameBase->registerId;
        variable.address =
            static_cast<ULONG64>(frameBase->offset + static_cast<std::int64_t>(ops[0].number));
      } else if (opCount == 1 && ((ops[0].atom >= DW_OP_reg0 && ops[0].atom <= DW_OP_reg31) ||
                                  ops[0].atom == DW_OP_regx)) {
        variable.flags |= SYMFLAG_REGISTER;
      } else if (opCount == 0) {
        variable.flags |= SYMFLAG_NULL;
      }
      locals.push_back(std::move(variable));
    });
  }
  return locals;
}

bool DwarfInfo::typeInfo(ULONG id, IMAGEHLP_SYMBOL_TYPE_INFO what, void* info) const {
  if (info == nullptr) {
    return false;
  }
  const std::uint64_t key = (std::uint64_t{id} << 8) | static_cast<std::uint8_t>(what);
  auto found = typeAnswers.find(key);
  if (found == typeAnswers.end()) {
    found = typeAnswers.emplace(key, answerTypeInfo(id, what)).first;
  }
  if (!found->second) {
    return false;
  }
  if (what == TI_GET_LENGTH) {
    *static_cast<ULONG64*>(info) = *found->second;
  } else {
    *static_cast<DWORD*>(info) = static_cast<DWORD>(*found->second);
  }
  return true;
}

std::optional<ULONG64> DwarfInfo::answerTypeInfo(ULONG id, IMAGEHLP_SYMBOL_TYPE_INFO what) const {
  Dwarf_Die die;
  if (dwarf_offdie(dwarf, id, &die) == nullptr) {
    return std::nullopt;
  }
  const int tag = dwarf_tag(&die);
  switch (what) {
  case TI_GET_SYMTAG:
    return symbolTag(tag);
  case TI_GET_BASETYPE:
    return tag == DW_TAG_base_type ? std::optional<ULONG64>(basicType(&die)) : std::nullopt;
  case TI_GET_LENGTH:
    return sizeOf(&die);
  case TI_GET_TYPEID: {
    std::optional<Dwarf_Die> type = typeOf(&die);
    return type ? std::optional<ULONG64>(dwarf_dieoffset(&*type)) : std::nullopt;
  }
  case TI_GET_DATAKIND:
    if (tag == DW_TAG_formal_parameter) {
      return DataIsParam;
    }
    if (tag != DW_TAG_variable) {
      return std::nullopt;
    }
    if (flag(&die, DW_AT_external)) {
      return DataIsGlobal;
    }
    return staticAddress(&die) ? DataIsFileStatic : DataIsLocal;
  default:
    return std::nullopt;
  }
}

} // namespace basalt::platform
