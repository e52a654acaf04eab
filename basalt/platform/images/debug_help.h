#ifndef BASALT_PLATFORM_IMAGES_DEBUG_HELP_H
#define BASALT_PLATFORM_IMAGES_DEBUG_HELP_H

// The debug help library "imagehlp.dll", built in: LoadLibraryW(L"imagehlp.dll") gives its
// handle and GetProcAddress its 16 functions by their Windows names. Addresses are 64 bits
// wide.
//
// Modules are the ELF objects the dynamic loader has mapped (dl_iterate_phdr); a module's
// base is its lowest mapped address and its name the file name up to ".so" or the last dot.
// Symbols are those of the file's full symbol table (.symtab), or of its dynamic symbol
// table when it was stripped, found with dladdr for a module without a file. C++ names come
// decorated; UnDecorateSymbolName demangles them.
//
// StackWalk unwinds by each module's call frame information (.eh_frame), through elfutils'
// unwinder, starting from the registers of its context, so code built without frame
// pointers (g++ and clang from -O1 on) keeps every frame. Code without unwind tables is left
// by its frame pointer: the caller's frame pointer and return address at [Rbp] and [Rbp + 8].
// A first frame that stopped where there is no code (a call through a null function
// pointer) takes its return address from [Rsp].
//
// Variables come from a module's DWARF information (elfutils), or from a separate debug file
// that the module's build-id or debug link names in /usr/lib/debug or in the search path's
// directories: SymEnumSymbols lists a module's globals, or the locals of the frame that
// SymSetContext chose, and SymGetTypeInfo describes their types. Type indexes have typedefs
// and qualifiers resolved, as in a program database.
//
// Symbol handling is process-wide, between SymInitialize and SymCleanup, and serialised. A
// file's symbol table is read once and kept for the process; a file that changes on disk
// is read again.

#include "basalt/platform/base/win_types.h"
#include "basalt/platform/runtime/structured_exceptions.h"

#include <cstddef>

namespace basalt::platform {

constexpr DWORD IMAGE_FILE_MACHINE_AMD64 = 0x8664;
constexpr DWORD ERROR_INVALID_ADDRESS = 487;

constexpr DWORD SYMOPT_DEFERRED_LOADS = 0x4;

constexpr DWORD UNDNAME_COMPLETE = 0x0;
constexpr DWORD UNDNAME_NAME_ONLY = 0x1000;

enum ADDRESS_MODE { AddrMode1616, AddrMode1632, AddrModeReal, AddrModeFlat };

struct ADDRESS {
  DWORD64 Offset;
  WORD Segment;
  ADDRESS_MODE Mode;
};

// Reserved is StackWalk's own between calls: zero the frame before the first.
struct STACKFRAME {
  ADDRESS AddrPC;
  ADDRESS AddrReturn;
  ADDRESS AddrFrame;
  ADDRESS AddrStack;
  void* FuncTableEntry;
  DWORD64 Params[4];
  BOOL Far;
  BOOL Virtual;
  DWORD64 Reserved[3];
};

// Name holds up to MaxNameLength characters and a NUL; the caller's block must have room.
struct IMAGEHLP_SYMBOL {
  DWORD SizeOfStruct;
  DWORD64 Address;
  DWORD Size;
  DWORD Flags;
  DWORD MaxNameLength;
  char Name[1];
};

// 1 "COFF": the file's full symbol table; 4 "exported": only its dynamic symbols; 0: none.
enum SYM_TYPE : int { SymNone, SymCoff, SymCv, SymPdb, SymExport, SymDeferred, SymSym };

// TimeDateStamp is the file's modification time, in seconds since 1970.
struct IMAGEHLP_MODULE {
  DWORD SizeOfStruct;
  DWORD64 BaseOfImage;
  DWORD ImageSize;
  DWORD TimeDateStamp;
  DWORD CheckSum;
  DWORD NumSyms;
  SYM_TYPE SymType;
  char ModuleName[32];
  char ImageName[256];
  char LoadedImageName[256];
};

// FileHeader and Sections point into the view when the file is a PE image; both are null for
// any other file.
struct LOADED_IMAGE {
  char* ModuleName;
  HANDLE hFile;
  unsigned char* MappedAddress;
  unsigned char* FileHeader;
  unsigned char* LastRvaSection;
  ULONG NumberOfSections;
  unsigned char* Sections;
  ULONG Characteristics;
  BOOL fSystemImage;
  BOOL fDOSImage;
  BOOL fReadOnly;
  DWORD SizeOfImage;
};

// Flags of SYMBOL_INFO.
constexpr ULONG SYMFLAG_REGISTER = 0x8;
constexpr ULONG SYMFLAG_REGREL = 0x10;
constexpr ULONG SYMFLAG_PARAMETER = 0x40;
constexpr ULONG SYMFLAG_LOCAL = 0x80;
constexpr ULONG SYMFLAG_NULL = 0x80000;

// Registers of SYMBOL_INFO's Register.
constexpr ULONG CV_AMD64_RBP = 334;
constexpr ULONG CV_AMD64_RSP = 335;

// A variable. Address is its address for a global, the offset from Register for a
// SYMFLAG_REGREL local; a local with SYMFLAG_REGISTER or SYMFLAG_NULL (optimised out) has none.
// Name holds NameLen characters and a NUL.
struct SYMBOL_INFO {
  ULONG SizeOfStruct;
  ULONG TypeIndex;
  ULONG64 Reserved[2];
  ULONG Index;
  ULONG Size;
  ULONG64 ModBase;
  ULONG Flags;
  ULONG64 Value;
  ULONG64 Address;
  ULONG Register;
  ULONG Scope;
  ULONG Tag;
  ULONG NameLen;
  ULONG MaxNameLen;
  char Name[1];
};

// The frame whose scope SymEnumSymbols lists: InstructionOffset chooses the function and its
// blocks.
struct IMAGEHLP_STACK_FRAME {
  ULONG64 InstructionOffset;
  ULONG64 ReturnOffset;
  ULONG64 FrameOffset;
  ULONG64 StackOffset;
  ULONG64 BackingStoreOffset;
  ULONG64 FuncTableEntry;
  ULONG64 Params[4];
  ULONG64 Reserved[5];
  BOOL Virtual;
  ULONG Reserved2;
};

// What SymGetTypeInfo tells: TI_GET_SYMTAG, TI_GET_BASETYPE, TI_GET_TYPEID and
// TI_GET_DATAKIND as a DWORD, TI_GET_LENGTH as a ULONG64.
enum IMAGEHLP_SYMBOL_TYPE_INFO {
  TI_GET_SYMTAG = 0,
  TI_GET_LENGTH = 2,
  TI_GET_TYPEID = 4,
  TI_GET_BASETYPE = 5,
  TI_GET_DATAKIND = 8,
};

enum SymTagEnum : DWORD {
  SymTagNull = 0,
  SymTagData = 7,
  SymTagUDT = 11,
  SymTagEnum = 12,
  SymTagFunctionType = 13,
  SymTagPointerType = 14,
  SymTagArrayType = 15,
  SymTagBaseType = 16,
};

enum BasicType : DWORD {
  btNoType = 0,
  btVoid = 1,
  btChar = 2,
  btWChar = 3,
  btInt = 6,
  btUInt = 7,
  btFloat = 8,
  btBool = 10,
  btChar16 = 32,
  btChar32 = 33,
};

enum DataKind : DWORD {
  DataIsUnknown = 0,
  DataIsLocal = 1,
  DataIsParam = 3,
  DataIsFileStatic = 5,
  DataIsGlobal = 6,
};

using PREAD_PROCESS_MEMORY_ROUTINE = BOOL (*)(HANDLE process, DWORD64 address, void* buffer,
                                              DWORD size, DWORD* bytesRead);
using PFUNCTION_TABLE_ACCESS_ROUTINE = void* (*)(HANDLE process, DWORD64 address);
using PGET_MODULE_BASE_ROUTINE = DWORD64 (*)(HANDLE process, DWORD64 address);
using PTRANSLATE_ADDRESS_ROUTINE = DWORD64 (*)(HANDLE process, HANDLE thread, ADDRESS* address);
using PSYM_ENUMERATESYMBOLS_CALLBACK = BOOL (*)(SYMBOL_INFO* symbol, ULONG symbolSize,
                                                void* userContext);
using PSYM_ENUMMODULES_CALLBACK = BOOL (*)(const char* moduleName, DWORD64 baseOfDll,
                                           void* userContext);

// Pseudo handles of the calling process and thread, as Windows gives them.
HANDLE GetCurrentProcess();
HANDLE GetCurrentThread();

// Copies size bytes at address of this process (the only process there is) into buffer
// without faulting, from any thread. FALSE when not all of them could be read; bytesRead, when
// given, says how many were.
BOOL ReadProcessMemory(HANDLE process, const void* address, void* buffer, std::size_t size,
                       std::size_t* bytesRead);

// One step of the walk: the first call describes the frame of the context, each later call
// its caller. context holds every register of the frame to describe: the first call takes
// Rip, Rsp and Rbp from the frame's AddrPC, AddrStack and AddrFrame and the others from
// context, and each call leaves in context the registers of the caller of the frame it
// describes, as the x64 StackWalk does. For every frame:
//   AddrPC     its instruction pointer: where the first frame stopped, the return address
//              into it for the others;
//   AddrStack  its RSP: for frames after the first, its RSP after the return from its
//              callee, which is the callee's canonical frame address (CFA);
//   AddrFrame  its RBP as the unwinder restores it for that frame (callee-saved, recovered
//              through the unwind tables; the frame pointer, where the code keeps one);
//   AddrReturn the caller's instruction pointer, 0 for the last frame;
//   Params     the four words at the caller's RSP (arguments passed on the stack; [Rbp + 16]
//              in code that keeps a frame pointer).
// FALSE after the last frame, for a machine other than IMAGE_FILE_MACHINE_AMD64, a null
// context and a frame not in AddrModeFlat. Memory is read through readMemory only; null reads
// this process's memory without faulting. translateAddress, for 16-bit modes, is not called.
BOOL StackWalk(DWORD machineType, HANDLE process, HANDLE thread, STACKFRAME* frame, void* context,
               PREAD_PROCESS_MEMORY_ROUTINE readMemory,
               PFUNCTION_TABLE_ACCESS_ROUTINE functionTableAccess,
               PGET_MODULE_BASE_ROUTINE getModuleBase, PTRANSLATE_ADDRESS_ROUTINE translateAddress);

// The unwind table (PT_GNU_EH_FRAME) of the module that holds address; null when none.
void* SymFunctionTableAccess(HANDLE process, DWORD64 address);
// The base of the module that holds address; 0 when none.
DWORD64 SymGetModuleBase(HANDLE process, DWORD64 address);
BOOL SymGetModuleInfo(HANDLE process, DWORD64 address, IMAGEHLP_MODULE* module);
DWORD SymGetOptions();
DWORD SymSetOptions(DWORD options);
// FALSE with ERROR_INVALID_ADDRESS when no symbol holds address.
BOOL SymGetSymFromAddr(HANDLE process, DWORD64 address, DWORD64* displacement,
                       IMAGEHLP_SYMBOL* symbol);
// searchPath: directories separated by ';' (or ':', as in PATH) in which a module's file is looked
// for by name when it is gone from where it was loaded. With invadeProcess the modules are listed
// now; without SYMOPT_DEFERRED_LOADS their symbols are read now too.
BOOL SymInitialize(HANDLE process, const char* searchPath, BOOL invadeProcess);
BOOL SymCleanup(HANDLE process);
BOOL SymEnumerateModules(HANDLE process, PSYM_ENUMMODULES_CALLBACK callback, void* userContext);
// Chooses the frame whose locals SymEnumSymbols lists when given no module.
BOOL SymSetContext(HANDLE process, const IMAGEHLP_STACK_FRAME* frame, void* context);
// With a module's base: its globals (variables of file or namespace scope); with 0: the
// variables and parameters in scope at the frame of SymSetContext. A null mask lists all,
// others match names with '*' and '?'. The callback's FALSE ends the list. FALSE with
// ERROR_MOD_NOT_FOUND when the module has no debug information.
BOOL SymEnumSymbols(HANDLE process, ULONG64 baseOfDll, const char* mask,
                    PSYM_ENUMERATESYMBOLS_CALLBACK callback, void* userContext);
// One property of a type index or of a SYMBOL_INFO's Index in the module at modBase.
BOOL SymGetTypeInfo(HANDLE process, DWORD64 modBase, ULONG typeId,
                    IMAGEHLP_SYMBOL_TYPE_INFO getType, void* info);
// The demangled name, cut to outputSize - 1 characters; UNDNAME_NAME_ONLY leaves out the
// parameter list and what follows it. A name that isn't mangled is copied. Returns the
// length written, 0 on failure.
DWORD UnDecorateSymbolName(const char* name, char* output, DWORD outputSize, DWORD flags);
// Maps imageName (looked for in dllPath's directories when it has no separator)
// read-only. dotDll adds ".dll" to a name without an extension.
BOOL MapAndLoad(const char* imageName, const char* dllPath, LOADED_IMAGE* image, BOOL dotDll,
                BOOL readOnly);
BOOL UnMapAndLoad(LOADED_IMAGE* image);

// The built-in module's handle and its functions by name, for the module loader.
HMODULE debugHelpModule();
bool isDebugHelpLibraryName(const char* osName);
FARPROC debugHelpProcedure(const char* name);

} // namespace basalt::platform

#endif
