#include "basalt/platform/images/debug_help.h"

#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/images/dwarf_info.h"
#include "basalt/platform/images/elf_symbols.h"
#include "basalt/platform/images/stack_unwinder.h"
#include "basalt/platform/runtime/paths.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <cxxabi.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <link.h>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>
#include <vector>

namespace basalt::platform {
namespace {

// Windows' pseudo handles: (HANDLE)-1 and (HANDLE)-2.
HANDLE const currentProcess = reinterpret_cast<HANDLE>(~std::uintptr_t{0});
HANDLE const currentThread = reinterpret_cast<HANDLE>(~std::uintptr_t{0} - 1);

struct Module {
  DWORD64 base = 0;
  DWORD64 end = 0;
  DWORD64 bias = 0; // what the file's addresses are moved by
  void* unwindTable = nullptr;
  std::string path; // empty for a module without a file, like the vDSO
  std::string name;
  std::shared_ptr<const ElfSymbolTable> symbols; // found on first need
  DWORD timeDateStamp = 0;                       // set with symbols
  std::shared_ptr<const DwarfInfo> dwarf;        // found on first need
  bool dwarfLooked = false;
};

// What tells one version of a file from another.
struct FileStamp {
  dev_t device;
  ino_t inode;
  off_t size;
  timespec modified;
  bool operator==(const FileStamp& other) const {
    return device == other.device && inode == other.inode && size == other.size &&
           modified.tv_sec == other.modified.tv_sec && modified.tv_nsec == other.modified.tv_nsec;
  }
};

struct CachedTable {
  FileStamp stamp;
  std::shared_ptr<const ElfSymbolTable> table;
};

struct CachedDwarf {
  FileStamp stamp;
  std::shared_ptr<const DwarfInfo> info; // null when the file has none
};

struct Session {
  std::mutex mutex;
  bool initialised = false;
  DWORD options = SYMOPT_DEFERRED_LOADS;
  std::string searchPath;
  std::vector<Module> modules;
  // Symbol tables by file, kept past SymCleanup: each report starts a session of its own, and
  // reading the tables is most of its cost. A file that changes is read again.
  std::map<std::string, CachedTable> tables;
  // Debug information by file, kept in the same way.
  std::map<std::string, CachedDwarf> dwarf;
  IMAGEHLP_STACK_FRAME context{};
};

// Never destroyed: a report may run while the process exits.
Session& session() {
  static Session* const instance = new Session;
  return *instance;
}

std::string moduleName(const std::string& path) {
  std::string name = splitOsPath(path).lastComponent;
  const std::size_t so = name.find(".so");
  const std::size_t cut = so != std::string::npos ? so : name.rfind('.');
  return cut == std::string::npos || cut == 0 ? name : name.substr(0, cut);
}

std::string programPath() {
  std::string path(4096, '\0');
  const ssize_t length = ::readlink("/proc/self/exe", path.data(), path.size());
  path.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
  return path;
}

int addModule(dl_phdr_info* info, std::size_t /*size*/, void* data) {
  Module module;
  module.bias = info->dlpi_addr;
  DWORD64 lowest = ~DWORD64{0};
  DWORD64 highest = 0;
  for (ElfW(Half) index = 0; index < info->dlpi_phnum; ++index) {
    const ElfW(Phdr)& segment = info->dlpi_phdr[index];
    if (segment.p_type == PT_LOAD) {
      lowest = std::min<DWORD64>(lowest, segment.p_vaddr);
      highest = std::max<DWORD64>(highest, segment.p_vaddr + segment.p_memsz);
    } else if (segment.p_type == PT_GNU_EH_FRAME) {
      module.unwindTable = reinterpret_cast<void*>(info->dlpi_addr + segment.p_vaddr);
    }
  }
  if (highest == 0) {
    return 0;
  }
  module.base = info->dlpi_addr + lowest;
  module.end = info->dlpi_addr + highest;
  auto& modules = *static_cast<std::vector<Module>*>(data);
  const bool program = modules.empty() && info->dlpi_name[0] == '\0';
  const std::string loadedName = program ? programPath() : std::string(info->dlpi_name);
  // The vDSO has a name but no file.
  module.path = loadedName.find('/') != std::string::npos ? loadedName : std::string();
  module.name = moduleName(loadedName);
  modules.push_back(std::move(module));
  return 0;
}

std::vector<Module> listModules() {
  std::vector<Module> modules;
  ::dl_iterate_phdr(addModule, &modules);
  return modules;
}

bool fileExists(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

// The file name in the directories of a search path, separated by ';' or, as in PATH, ':';
// empty when in none.
std::string searchFor(const std::string& name, const std::string& directories) {
  std::size_t start = 0;
  while (start < directories.size()) {
    std::size_t end = directories.find_first_of(";:", start);
    end = end == std::string::npos ? directories.size() : end;
    if (end > start) {
      std::string candidate = nativeToOsPath(directories.substr(start, end - start).c_str());
      candidate += '/';
      candidate += name;
      if (fileExists(candidate)) {
        return candidate;
      }
    }
    start = end + 1;
  }
  return {};
}

// The table of file, from the cache while the file is unchanged; empty when it can't be read.
std::shared_ptr<const ElfSymbolTable> readSymbols(Session& state, const std::string& file,
                                                  const struct stat& status) {
  const FileStamp stamp{status.st_dev, status.st_ino, status.st_size, status.st_mtim};
  CachedTable& cached = state.tables[file];
  if (cached.table == nullptr || !(cached.stamp == stamp)) {
    cached = {stamp, std::make_shared<const ElfSymbolTable>(ElfSymbolTable::read(file))};
  }
  return cached.table;
}

// Also sets the module's time stamp, from the same look at its file.
const ElfSymbolTable& symbolsOf(Session& state, Module& module) {
  if (module.symbols != nullptr) {
    return *module.symbols;
  }
  std::string file = module.path;
  struct stat status {};
  bool found = !file.empty() && ::stat(file.c_str(), &status) == 0 && S_ISREG(status.st_mode);
  if (!found && !file.empty()) {
    file = searchFor(splitOsPath(file).lastComponent, state.searchPath);
    found = !file.empty() && ::stat(file.c_str(), &status) == 0;
  }
  module.symbols =
      found ? readSymbols(state, file, status) : std::make_shared<const ElfSymbolTable>();
  module.timeDateStamp = found ? static_cast<DWORD>(status.st_mtime) : 0;
  return *module.symbols;
}

// The module's debug information, from the cache while its file is unchanged; null when it
// has none.
const DwarfInfo* dwarfOf(Session& state, Module& module) {
  if (module.dwarfLooked) {
    return module.dwarf.get();
  }
  module.dwarfLooked = true;
  struct stat status {};
  if (module.path.empty() || ::stat(module.path.c_str(), &status) != 0) {
    return nullptr;
  }
  const FileStamp stamp{status.st_dev, status.st_ino, status.st_size, status.st_mtim};
  const auto cached = state.dwarf.find(module.path);
  if (cached != state.dwarf.end() && cached->second.stamp == stamp) {
    module.dwarf = cached->second.info;
  } else {
    // The search path's ';' separators as the debug file search wants them.
    std::string directories = state.searchPath;
    std::replace(directories.begin(), directories.end(), ';', ':');
    module.dwarf = DwarfInfo::open(module.path, directories);
    state.dwarf[module.path] = {stamp, module.dwarf};
  }
  return module.dwarf.get();
}

Module* findModule(Session& state, DWORD64 address) {
  const auto holds = [address](const Module& m) { return address >= m.base && address < m.end; };
  const auto found = std::find_if(state.modules.begin(), state.modules.end(), holds);
  return found == state.modules.end() ? nullptr : &*found;
}

// Checks the handle and takes the session's lock; false with the last error set otherwise.
class SessionLock {
public:
  explicit SessionLock(HANDLE process) : state(session()), lock(state.mutex) {
    valid = process == currentProcess && state.initialised;
    if (!valid) {
      SetLastError(ERROR_INVALID_HANDLE);
    }
  }
  bool ok() const { return valid; }
  Session& operator*() const { return state; }

private:
  Session& state;
  std::lock_guard<std::mutex> lock;
  bool valid = false;
};

void copyText(char* target, std::size_t size, const std::string& text) {
  if (size == 0) {
    return;
  }
  const std::size_t length = std::min(text.size(), size - 1);
  std::memcpy(target, text.data(), length);
  target[length] = '\0';
}

BOOL readOwnMemory(HANDLE process, DWORD64 address, void* buffer, DWORD size, DWORD* bytesRead) {
  std::size_t got = 0;
  const BOOL read =
      ReadProcessMemory(process, reinterpret_cast<const void*>(address), buffer, size, &got);
  if (bytesRead != nullptr) {
    *bytesRead = static_cast<DWORD>(got);
  }
  return read;
}

// Calls back with each variable in a SYMBOL_INFO of its own, until the callback says FALSE.
void enumerate(const std::vector<DebugVariable>& variables, DWORD64 moduleBase, DWORD64 bias,
               const char* mask, PSYM_ENUMERATESYMBOLS_CALLBACK callback, void* userContext) {
  std::vector<unsigned char> block;
  for (const DebugVariable& variable : variables) {
    if (mask != nullptr && ::fnmatch(mask, variable.name.c_str(), 0) != 0) {
      continue;
    }
    block.assign(sizeof(SYMBOL_INFO) + variable.name.size(), 0);
    auto* symbol = reinterpret_cast<SYMBOL_INFO*>(block.data());
    symbol->SizeOfStruct = sizeof(SYMBOL_INFO);
    symbol->TypeIndex = variable.type;
    symbol->Index = variable.index;
    symbol->Size = static_cast<ULONG>(variable.size);
    symbol->ModBase = moduleBase;
    symbol->Flags = variable.flags;
    symbol->Address =
        (variable.flags & SYMFLAG_LOCAL) != 0 ? variable.address : variable.address + bias;
    symbol->Register = variable.registerId;
    symbol->Tag = SymTagData;
    symbol->NameLen = static_cast<ULONG>(variable.name.size());
    symbol->MaxNameLen = symbol->NameLen + 1;
    std::memcpy(symbol->Name, variable.name.c_str(), variable.name.size() + 1);
    if (callback(symbol, static_cast<ULONG>(block.size()), userContext) == FALSE) {
      return;
    }
  }
}

// The word at address, or nullopt when it can't be read.
std::optional<DWORD64> readWord(PREAD_PROCESS_MEMORY_ROUTINE readMemory, HANDLE process,
                                DWORD64 address) {
  DWORD64 word = 0;
  DWORD got = 0;
  if (readMemory(process, address, &word, sizeof word, &got) == FALSE || got != sizeof word) {
    return std::nullopt;
  }
  return word;
}

// What StackWalk keeps in Reserved between calls: [0] walkStarted once the walk has begun,
// [1] whether the context's Rip is exact, as unwindCaller means it.
constexpr DWORD64 walkStarted = 1;

bool isCode(PGET_MODULE_BASE_ROUTINE getModuleBase, HANDLE process, DWORD64 address) {
  return address != 0 && (getModuleBase == nullptr || getModuleBase(process, address) != 0);
}

// The caller of a first frame that stopped where there is no code (a call through a bad
// pointer), whose return address is still at the top of the stack; false for any other.
bool callerOfCallIntoNowhere(PREAD_PROCESS_MEMORY_ROUTINE readMemory,
                             PGET_MODULE_BASE_ROUTINE getModuleBase, HANDLE process,
                             const CONTEXT& frame, CONTEXT& caller) {
  if (isCode(getModuleBase, process, frame.Rip)) {
    return false;
  }
  const std::optional<DWORD64> top = readWord(readMemory, process, frame.Rsp);
  if (!top || !isCode(getModuleBase, process, *top)) {
    return false;
  }
  caller = frame;
  caller.Rip = *top;
  caller.Rsp += sizeof(DWORD64);
  return true;
}

// Cuts the parameter list and what follows it from a demangled function name.
std::string cutParameters(std::string name) {
  static const char* const qualifiers[] = {" const", " volatile", " &&", " &"};
  for (bool cut = true; cut;) {
    cut = false;
    for (const char* qualifier : qualifiers) {
      const std::size_t length = std::strlen(qualifier);
      if (name.size() > length && name.compare(name.size() - length, length, qualifier) == 0) {
        name.resize(name.size() - length);
        cut = true;
      }
    }
  }
  if (name.empty() || name.back() != ')') {
    return name;
  }
  int depth = 0;
  for (std::size_t at = name.size(); at-- > 0;) {
    depth += name[at] == ')' ? 1 : name[at] == '(' ? -1 : 0;
    if (depth == 0) {
      return at == 0 ? name : name.substr(0, at);
    }
  }
  return name;
}

// The name without its parameter list; the marks of a compiler's copy of the function, like
// " [clone .cold]", stay.
std::string nameOnly(std::string name) {
  std::string clones;
  for (std::size_t clone = name.rfind(" [clone ");
       clone != std::string::npos && !name.empty() && name.back() == ']';
       clone = name.rfind(" [clone ")) {
    clones.insert(0, name, clone, std::string::npos);
    name.resize(clone);
  }
  return cutParameters(std::move(name)) + clones;
}

} // namespace

HANDLE GetCurrentProcess() {
  return currentProcess;
}

HANDLE GetCurrentThread() {
  return currentThread;
}

BOOL ReadProcessMemory(HANDLE process, const void* address, void* buffer, std::size_t size,
                       std::size_t* bytesRead) {
  if (bytesRead != nullptr) {
    *bytesRead = 0;
  }
  if (process != currentProcess) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  // The kernel copies, so a bad address fails the call instead of faulting.
  iovec local{buffer, size};
  iovec remote{const_cast<void*>(address), size};
  const ssize_t got = size == 0 ? 0 : ::process_vm_readv(::getpid(), &local, 1, &remote, 1, 0);
  if (bytesRead != nullptr) {
    *bytesRead = got > 0 ? static_cast<std::size_t>(got) : 0;
  }
  if (got != static_cast<ssize_t>(size)) {
    SetLastError(ERROR_PARTIAL_COPY);
    return FALSE;
  }
  return TRUE;
}

BOOL StackWalk(DWORD machineType, HANDLE process, HANDLE /*thread*/, STACKFRAME* frame,
               void* context, PREAD_PROCESS_MEMORY_ROUTINE readMemory,
               PFUNCTION_TABLE_ACCESS_ROUTINE functionTableAccess,
               PGET_MODULE_BASE_ROUTINE getModuleBase, PTRANSLATE_ADDRESS_ROUTINE /*translate*/) {
  if (machineType != IMAGE_FILE_MACHINE_AMD64 || frame == nullptr || context == nullptr ||
      frame->AddrPC.Mode != AddrModeFlat || frame->AddrFrame.Mode != AddrModeFlat ||
      frame->AddrStack.Mode != AddrModeFlat) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  readMemory = readMemory != nullptr ? readMemory : readOwnMemory;
  CONTEXT& registers = *static_cast<CONTEXT*>(context);
  const bool first = frame->Reserved[0] != walkStarted;
  if (first) {
    startUnwinding();
    registers.Rip = frame->AddrPC.Offset;
    registers.Rsp = frame->AddrStack.Offset;
    registers.Rbp = frame->AddrFrame.Offset;
    frame->Reserved[0] = walkStarted;
    frame->Reserved[1] = TRUE;
  } else if (frame->AddrReturn.Offset == 0) {
    return FALSE;
  }
  frame->AddrPC.Offset = registers.Rip;
  frame->AddrFrame.Offset = registers.Rbp;
  frame->AddrStack.Offset = registers.Rsp;

  CONTEXT caller{};
  bool callerPcIsExact = false;
  const bool found =
      (first && callerOfCallIntoNowhere(readMemory, getModuleBase, process, registers, caller)) ||
      unwindCaller(registers, frame->Reserved[1] != 0, readMemory, process, caller,
                   callerPcIsExact);
  // A caller's frame lies above its callee's, unless a signal interrupted the caller and its
  // handler ran on a stack of its own: anything else is no stack.
  const bool onward = found && (caller.Rsp > registers.Rsp || callerPcIsExact);
  frame->AddrReturn.Offset = onward ? caller.Rip : 0;
  frame->AddrReturn.Mode = AddrModeFlat;
  // The words at the caller's stack pointer, where arguments passed on the stack lie.
  DWORD got = 0;
  std::fill(frame->Params, frame->Params + 4, 0);
  if (onward) {
    readMemory(process, caller.Rsp, frame->Params, sizeof frame->Params, &got);
    registers = caller;
    frame->Reserved[1] = callerPcIsExact ? TRUE : FALSE;
  }
  frame->FuncTableEntry =
      functionTableAccess != nullptr ? functionTableAccess(process, frame->AddrPC.Offset) : nullptr;
  frame->Far = FALSE;
  frame->Virtual = FALSE;
  return TRUE;
}

void* SymFunctionTableAccess(HANDLE process, DWORD64 address) {
  const SessionLock state(process);
  const Module* module = state.ok() ? findModule(*state, address) : nullptr;
  return module != nullptr ? module->unwindTable : nullptr;
}

DWORD64 SymGetModuleBase(HANDLE process, DWORD64 address) {
  const SessionLock state(process);
  const Module* module = state.ok() ? findModule(*state, address) : nullptr;
  return module != nullptr ? module->base : 0;
}

BOOL SymGetModuleInfo(HANDLE process, DWORD64 address, IMAGEHLP_MODULE* info) {
  const SessionLock state(process);
  if (!state.ok()) {
    return FALSE;
  }
  if (info == nullptr || info->SizeOfStruct != sizeof(IMAGEHLP_MODULE)) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  Module* module = findModule(*state, address);
  if (module == nullptr) {
    SetLastError(ERROR_MOD_NOT_FOUND);
    return FALSE;
  }
  const ElfSymbolTable& symbols = symbolsOf(*state, *module);
  info->BaseOfImage = module->base;
  info->ImageSize = static_cast<DWORD>(module->end - module->base);
  info->TimeDateStamp = module->timeDateStamp;
  info->CheckSum = 0;
  info->NumSyms = static_cast<DWORD>(symbols.size());
  info->SymType = symbols.size() == 0 ? SymNone : symbols.full() ? SymCoff : SymExport;
  copyText(info->ModuleName, sizeof info->ModuleName, module->name);
  copyText(info->ImageName, sizeof info->ImageName, module->path);
  copyText(info->LoadedImageName, sizeof info->LoadedImageName, module->path);
  return TRUE;
}

DWORD SymGetOptions() {
  Session& state = session();
  const std::lock_guard<std::mutex> lock(state.mutex);
  return state.options;
}

DWORD SymSetOptions(DWORD options) {
  Session& state = session();
  const std::lock_guard<std::mutex> lock(state.mutex);
  state.options = options;
  return options;
}

BOOL SymGetSymFromAddr(HANDLE process, DWORD64 address, DWORD64* displacement,
                       IMAGEHLP_SYMBOL* symbol) {
  const SessionLock state(process);
  if (!state.ok()) {
    return FALSE;
  }
  if (symbol == nullptr || symbol->MaxNameLength == 0) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  Module* module = findModule(*state, address);
  std::string name;
  DWORD64 start = 0;
  DWORD64 size = 0;
  if (module != nullptr) {
    if (const ElfSymbol* found = symbolsOf(*state, *module).find(address - module->bias)) {
      name = found->name;
      start = found->address + module->bias;
      size = found->size;
    }
  }
  Dl_info info{};
  if (name.empty() && ::dladdr(reinterpret_cast<void*>(address), &info) != 0 &&
      info.dli_sname != nullptr && info.dli_saddr != nullptr) {
    name = info.dli_sname;
    start = reinterpret_cast<DWORD64>(info.dli_saddr);
  }
  if (name.empty()) {
    SetLastError(ERROR_INVALID_ADDRESS);
    return FALSE;
  }
  symbol->Address = start;
  symbol->Size = static_cast<DWORD>(size);
  symbol->Flags = 0;
  copyText(symbol->Name, symbol->MaxNameLength, name);
  if (displacement != nullptr) {
    *displacement = address - start;
  }
  return TRUE;
}

BOOL SymInitialize(HANDLE process, const char* searchPath, BOOL invadeProcess) {
  if (process != currentProcess) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  Session& state = session();
  const std::lock_guard<std::mutex> lock(state.mutex);
  state.searchPath = searchPath != nullptr ? searchPath : "";
  state.modules = invadeProcess != FALSE ? listModules() : std::vector<Module>();
  if ((state.options & SYMOPT_DEFERRED_LOADS) == 0) {
    for (Module& module : state.modules) {
      symbolsOf(state, module);
    }
  }
  state.initialised = true;
  return TRUE;
}

BOOL SymCleanup(HANDLE process) {
  const SessionLock state(process);
  if (!state.ok()) {
    return FALSE;
  }
  (*state).modules.clear();
  (*state).searchPath.clear();
  (*state).initialised = false;
  return TRUE;
}

BOOL SymEnumerateModules(HANDLE process, PSYM_ENUMMODULES_CALLBACK callback, void* userContext) {
  std::vector<std::pair<std::string, DWORD64>> modules;
  {
    const SessionLock state(process);
    if (!state.ok()) {
      return FALSE;
    }
    if (callback == nullptr) {
      SetLastError(ERROR_INVALID_PARAMETER);
      return FALSE;
    }
    for (const Module& module : (*state).modules) {
      modules.emplace_back(module.name, module.base);
    }
  }
  // Outside the lock: the callback may ask about modules itself.
  for (const auto& [name, base] : modules) {
    if (callback(name.c_str(), base, userContext) == FALSE) {
      break;
    }
  }
  return TRUE;
}

BOOL SymSetContext(HANDLE process, const IMAGEHLP_STACK_FRAME* frame, void* /*context*/) {
  const SessionLock state(process);
  if (!state.ok()) {
    return FALSE;
  }
  if (frame == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  (*state).context = *frame;
  return TRUE;
}

BOOL SymEnumSymbols(HANDLE process, ULONG64 baseOfDll, const char* mask,
                    PSYM_ENUMERATESYMBOLS_CALLBACK callback, void* userContext) {
  std::vector<DebugVariable> variables;
  DWORD64 moduleBase = 0;
  DWORD64 bias = 0;
  {
    const SessionLock state(process);
    if (!state.ok()) {
      return FALSE;
    }
    if (callback == nullptr) {
      SetLastError(ERROR_INVALID_PARAMETER);
      return FALSE;
    }
    const DWORD64 address = baseOfDll != 0 ? baseOfDll : (*state).context.InstructionOffset;
    Module* module = findModule(*state, address);
    const DwarfInfo* dwarf = module != nullptr ? dwarfOf(*state, *module) : nullptr;
    if (dwarf == nullptr || (baseOfDll != 0 && module->base != baseOfDll)) {
      SetLastError(ERROR_MOD_NOT_FOUND);
      return FALSE;
    }
    moduleBase = module->base;
    bias = module->bias;
    variables = baseOfDll != 0 ? dwarf->globals() : dwarf->locals(address - module->bias);
  }
  // Outside the lock: the callback may ask about types.
  enumerate(variables, moduleBase, bias, mask, callback, userContext);
  return TRUE;
}

BOOL SymGetTypeInfo(HANDLE process, DWORD64 modBase, ULONG typeId,
                    IMAGEHLP_SYMBOL_TYPE_INFO getType, void* info) {
  const SessionLock state(process);
  if (!state.ok()) {
    return FALSE;
  }
  Module* module = findModule(*state, modBase);
  const DwarfInfo* dwarf =
      module != nullptr && module->base == modBase ? dwarfOf(*state, *module) : nullptr;
  if (dwarf == nullptr || !dwarf->typeInfo(typeId, getType, info)) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  return TRUE;
}

DWORD UnDecorateSymbolName(const char* name, char* output, DWORD outputSize, DWORD flags) {
  if (name == nullptr || output == nullptr || outputSize == 0) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  int status = 0;
  char* demangled = abi::__cxa_demangle(name, nullptr, nullptr, &status);
  std::string text = status == 0 && demangled != nullptr ? demangled : name;
  std::free(demangled);
  if ((flags & UNDNAME_NAME_ONLY) != 0) {
    text = nameOnly(std::move(text));
  }
  copyText(output, outputSize, text);
  return static_cast<DWORD>(std::strlen(output));
}

BOOL MapAndLoad(const char* imageName, const char* dllPath, LOADED_IMAGE* image, BOOL dotDll,
                BOOL readOnly) {
  if (imageName == nullptr || image == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  std::string path = nativeToOsPath(imageName);
  if (dotDll != FALSE && splitOsPath(path).lastComponent.find('.') == std::string::npos) {
    path += ".dll";
  }
  if (path.find('/') == std::string::npos && dllPath != nullptr) {
    const std::string found = searchFor(path, dllPath);
    path = found.empty() ? path : found;
  }
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  struct stat status {};
  if (fd < 0 || ::fstat(fd, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size == 0) {
    if (fd >= 0) {
      ::close(fd);
    }
    SetLastError(fd < 0 ? ERROR_FILE_NOT_FOUND : ERROR_BAD_EXE_FORMAT);
    return FALSE;
  }
  const auto size = static_cast<std::size_t>(status.st_size);
  void* view = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0);
  ::close(fd);
  if (view == MAP_FAILED) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return FALSE;
  }
  *image = LOADED_IMAGE{};
  auto* bytes = static_cast<unsigned char*>(view);
  image->ModuleName = ::strdup(path.c_str());
  image->MappedAddress = bytes;
  image->SizeOfImage = static_cast<DWORD>(size);
  image->fReadOnly = readOnly != FALSE ? TRUE : FALSE;
  // A PE image: "MZ", the NT headers at e_lfanew, then the section table.
  DWORD headers = 0;
  if (size >= 0x40 && bytes[0] == 'M' && bytes[1] == 'Z') {
    std::memcpy(&headers, bytes + 0x3C, sizeof headers);
  }
  if (headers != 0 && headers <= size - 24 && std::memcmp(bytes + headers, "PE\0\0", 4) == 0) {
    WORD sections = 0;
    WORD optionalSize = 0;
    WORD characteristics = 0;
    std::memcpy(&sections, bytes + headers + 6, sizeof sections);
    std::memcpy(&optionalSize, bytes + headers + 20, sizeof optionalSize);
    std::memcpy(&characteristics, bytes + headers + 22, sizeof characteristics);
    const std::size_t table = std::size_t{headers} + 24 + optionalSize;
    if (table + std::size_t{sections} * 40 <= size) {
      image->FileHeader = bytes + headers;
      image->Sections = bytes + table;
      image->NumberOfSections = sections;
      image->Characteristics = characteristics;
    }
  }
  image->fDOSImage = bytes[0] == 'M' && bytes[1] == 'Z' && image->FileHeader == nullptr;
  return TRUE;
}

BOOL UnMapAndLoad(LOADED_IMAGE* image) {
  if (image == nullptr || image->MappedAddress == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  ::munmap(image->MappedAddress, image->SizeOfImage);
  std::free(image->ModuleName);
  *image = LOADED_IMAGE{};
  return TRUE;
}

HMODULE debugHelpModule() {
  static int module = 0;
  return &module;
}

bool isDebugHelpLibraryName(const char* osName) {
  return ::strcasecmp(osName, "imagehlp.dll") == 0;
}

FARPROC debugHelpProcedure(const char* name) {
  struct Entry {
    const char* name;
    FARPROC address;
  };
  static const Entry table[] = {
      {"MapAndLoad", reinterpret_cast<FARPROC>(&MapAndLoad)},
      {"StackWalk", reinterpret_cast<FARPROC>(&StackWalk)},
      {"SymCleanup", reinterpret_cast<FARPROC>(&SymCleanup)},
      {"SymEnumerateModules", reinterpret_cast<FARPROC>(&SymEnumerateModules)},
      {"SymFunctionTableAccess", reinterpret_cast<FARPROC>(&SymFunctionTableAccess)},
      {"SymGetModuleBase", reinterpret_cast<FARPROC>(&SymGetModuleBase)},
      {"SymGetModuleInfo", reinterpret_cast<FARPROC>(&SymGetModuleInfo)},
      {"SymGetOptions", reinterpret_cast<FARPROC>(&SymGetOptions)},
      {"SymGetSymFromAddr", reinterpret_cast<FARPROC>(&SymGetSymFromAddr)},
      {"SymInitialize", reinterpret_cast<FARPROC>(&SymInitialize)},
      {"SymEnumSymbols", reinterpret_cast<FARPROC>(&SymEnumSymbols)},
      {"SymGetTypeInfo", reinterpret_cast<FARPROC>(&SymGetTypeInfo)},
      {"SymSetContext", reinterpret_cast<FARPROC>(&SymSetContext)},
      {"SymSetOptions", reinterpret_cast<FARPROC>(&SymSetOptions)},
      {"UnDecorateSymbolName", reinterpret_cast<FARPROC>(&UnDecorateSymbolName)},
      {"UnMapAndLoad", reinterpret_cast<FARPROC>(&UnMapAndLoad)},
  };
  for (const Entry& entry : table) {
    if (name != nullptr && std::strcmp(entry.name, name) == 0) {
      return entry.address;
    }
  }
  return nullptr;
}

} // namespace basalt::platform
