// The built-in debug help library, bound by name as the report binds it.

#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/images/debug_help.h"
#include "basalt/platform/images/elf_symbols.h"
#include "basalt/platform/images/loaded_modules.h"
#include "tests/support/scratch_directory.h"

#include <cstring>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <string>
#include <tuple>
#include <unistd.h>
#include <vector>

namespace plat = basalt::platform;

// Outside any namespace, so that the symbol tests know their mangled names.
__attribute__((noinline)) int debugHelpProbeTarget(int value) {
  return value * 3 + 1;
}

namespace {

using basalt::test::units;

std::string programPath() {
  std::vector<char> path(4096, '\0');
  const ssize_t length = ::readlink("/proc/self/exe", path.data(), path.size() - 1);
  return std::string(path.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
}

class SymbolSession : public ::testing::Test {
protected:
  void SetUp() override {
    savedOptions = plat::SymGetOptions();
    ASSERT_TRUE(plat::SymInitialize(plat::GetCurrentProcess(), nullptr, plat::TRUE));
  }
  void TearDown() override {
    plat::SymCleanup(plat::GetCurrentProcess());
    plat::SymSetOptions(savedOptions);
  }

  plat::HANDLE process = plat::GetCurrentProcess();
  plat::DWORD savedOptions = 0;
};

TEST(DebugHelpLibrary, LoadsByNameAndGivesItsThirteenFunctions) {
  const auto name = units(u"imagehlp.dll");
  const plat::HMODULE module = plat::LoadLibraryW(name.c_str());
  ASSERT_NE(module, nullptr);
  EXPECT_EQ(plat::LoadLibraryW(units(u"IMAGEHLP").c_str()), module);
  const std::pair<const char*, plat::FARPROC> functions[] = {
      {"SymFunctionTableAccess", reinterpret_cast<plat::FARPROC>(&plat::SymFunctionTableAccess)},
      {"SymGetModuleBase", reinterpret_cast<plat::FARPROC>(&plat::SymGetModuleBase)},
      {"SymGetModuleInfo", reinterpret_cast<plat::FARPROC>(&plat::SymGetModuleInfo)},
      {"SymGetOptions", reinterpret_cast<plat::FARPROC>(&plat::SymGetOptions)},
      {"SymGetSymFromAddr", reinterpret_cast<plat::FARPROC>(&plat::SymGetSymFromAddr)},
      {"SymInitialize", reinterpret_cast<plat::FARPROC>(&plat::SymInitialize)},
      {"SymSetOptions", reinterpret_cast<plat::FARPROC>(&plat::SymSetOptions)},
      {"StackWalk", reinterpret_cast<plat::FARPROC>(&plat::StackWalk)},
      {"UnDecorateSymbolName", reinterpret_cast<plat::FARPROC>(&plat::UnDecorateSymbolName)},
      {"SymCleanup", reinterpret_cast<plat::FARPROC>(&plat::SymCleanup)},
      {"MapAndLoad", reinterpret_cast<plat::FARPROC>(&plat::MapAndLoad)},
      {"UnMapAndLoad", reinterpret_cast<plat::FARPROC>(&plat::UnMapAndLoad)},
      {"SymEnumerateModules", reinterpret_cast<plat::FARPROC>(&plat::SymEnumerateModules)}};
  for (const auto& [procedure, address] : functions) {
    EXPECT_EQ(plat::GetProcAddress(module, procedure), address) << procedure;
  }
  EXPECT_EQ(plat::GetProcAddress(module, "symcleanup"), nullptr);
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_PROC_NOT_FOUND);
  EXPECT_TRUE(plat::FreeLibrary(module));
  EXPECT_TRUE(plat::FreeLibrary(module));
  EXPECT_NE(plat::GetProcAddress(module, "StackWalk"), nullptr);
}

TEST(UnDecorateSymbolName, Demangles) {
  const plat::DWORD all = plat::UNDNAME_COMPLETE, name = plat::UNDNAME_NAME_ONLY;
  const char* const writeThroughNull = "_ZN5probe16writeThroughNullEPVi";
  const std::tuple<const char*, plat::DWORD, plat::DWORD, const char*> cases[] = {
      {writeThroughNull, all, 256, "probe::writeThroughNull(int volatile*)"},
      {writeThroughNull, name, 256, "probe::writeThroughNull"},
      {writeThroughNull, all, 6, "probe"}, // cut to the room given
      {"_ZNK3Foo3barEv", name, 256, "Foo::bar"},
      {"_ZN3FooclEi", name, 256, "Foo::operator()"},
      {"_ZN5probe10faultTwiceEi.cold", name, 256, "probe::faultTwice [clone .cold]"},
      {"_ZN12_GLOBAL__N_11fEv", name, 256, "(anonymous namespace)::f"},
      // Data and C names have no parameter list; a name that isn't mangled stays as it is.
      {"_ZN3Foo5countE", name, 256, "Foo::count"},
      {"main", all, 256, "main"},
      {"_Z", all, 256, "_Z"}};
  for (const auto& [mangled, flags, size, expected] : cases) {
    std::vector<char> out(size, 'x');
    const plat::DWORD length = plat::UnDecorateSymbolName(mangled, out.data(), size, flags);
    EXPECT_EQ(out.data(), std::string(expected)) << mangled;
    EXPECT_EQ(length, std::strlen(expected)) << mangled;
  }
  char out[4];
  EXPECT_EQ(plat::UnDecorateSymbolName(nullptr, out, sizeof out, 0), 0U);
  EXPECT_EQ(plat::UnDecorateSymbolName("main", out, 0, 0), 0U);
}

TEST_F(SymbolSession, FindsSymbolsAndModulesOfLoadedCode) {
  const auto address = reinterpret_cast<plat::DWORD64>(&debugHelpProbeTarget);
  std::vector<unsigned char> block(sizeof(plat::IMAGEHLP_SYMBOL) + 256);
  auto* symbol = reinterpret_cast<plat::IMAGEHLP_SYMBOL*>(block.data());
  symbol->SizeOfStruct = sizeof(plat::IMAGEHLP_SYMBOL);
  symbol->MaxNameLength = 256;
  plat::DWORD64 displacement = 99;

  plat::SymSetOptions(plat::SYMOPT_DEFERRED_LOADS);
  ASSERT_TRUE(plat::SymGetSymFromAddr(process, address + 3, &displacement, symbol));
  EXPECT_STREQ(symbol->Name, "_Z20debugHelpProbeTargeti");
  EXPECT_EQ(symbol->Address, address);
  EXPECT_GT(symbol->Size, 3U);
  EXPECT_EQ(displacement, 3U);
  plat::SymSetOptions(plat::SYMOPT_DEFERRED_LOADS | plat::SYMOPT_UNDNAME);
  ASSERT_TRUE(plat::SymGetSymFromAddr(process, address, &displacement, symbol));
  EXPECT_STREQ(symbol->Name, "debugHelpProbeTarget");
  EXPECT_EQ(displacement, 0U);

  plat::IMAGEHLP_MODULE module{};
  module.SizeOfStruct = sizeof module;
  ASSERT_TRUE(plat::SymGetModuleInfo(process, address, &module));
  EXPECT_EQ(module.ImageName, programPath());
  EXPECT_EQ(module.SymType, plat::SymCoff);
  EXPECT_EQ(module.BaseOfImage, plat::SymGetModuleBase(process, address));
  EXPECT_LE(module.BaseOfImage, address);
  EXPECT_GT(module.BaseOfImage + module.ImageSize, address);
  EXPECT_NE(plat::SymFunctionTableAccess(process, address), nullptr);

  // A symbol of a library, found through its dynamic symbols at the least.
  const auto libraryCode = reinterpret_cast<plat::DWORD64>(&::getpid);
  ASSERT_TRUE(plat::SymGetModuleInfo(process, libraryCode, &module));
  EXPECT_NE(std::string(module.ModuleName).find("libc"), std::string::npos) << module.ModuleName;
  EXPECT_NE(module.BaseOfImage, plat::SymGetModuleBase(process, address));

  EXPECT_FALSE(plat::SymGetSymFromAddr(process, 16, &displacement, symbol));
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_INVALID_ADDRESS);
  EXPECT_FALSE(plat::SymGetModuleInfo(process, 16, &module));
  EXPECT_EQ(plat::SymGetModuleBase(process, 16), 0U);
  module.SizeOfStruct = 1;
  EXPECT_FALSE(plat::SymGetModuleInfo(process, address, &module));
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_INVALID_PARAMETER);
}

TEST_F(SymbolSession, ModulesLoadedAfterInitialisationAreFound) {
  void* plugin = ::dlopen(BASALT_BINARY_DIR "/tests/modules/test_plugin.so", RTLD_NOW);
  ASSERT_NE(plugin, nullptr) << ::dlerror();
  void* function = ::dlsym(plugin, "basalt_test_plugin_answer");
  ASSERT_NE(function, nullptr);
  plat::IMAGEHLP_MODULE module{};
  module.SizeOfStruct = sizeof module;
  EXPECT_TRUE(plat::SymGetModuleInfo(process, reinterpret_cast<plat::DWORD64>(function), &module));
  EXPECT_STREQ(module.ModuleName, "test_plugin");
  ::dlclose(plugin);
}

struct Listed {
  std::vector<std::pair<std::string, plat::DWORD64>> modules;
  std::size_t stopAfter = 1000;
};

plat::BOOL listModule(const char* name, plat::DWORD64 base, void* context) {
  auto& listed = *static_cast<Listed*>(context);
  listed.modules.emplace_back(name, base);
  return listed.modules.size() < listed.stopAfter ? plat::TRUE : plat::FALSE;
}

TEST_F(SymbolSession, EnumeratesModulesProgramFirstUntilTheCallbackSaysStop) {
  Listed all;
  ASSERT_TRUE(plat::SymEnumerateModules(process, listModule, &all));
  ASSERT_GT(all.modules.size(), 2U);
  EXPECT_EQ(all.modules[0].first, "crash_tests");
  EXPECT_EQ(all.modules[0].second,
            plat::SymGetModuleBase(process, reinterpret_cast<plat::DWORD64>(&programPath)));
  Listed one;
  one.stopAfter = 1;
  ASSERT_TRUE(plat::SymEnumerateModules(process, listModule, &one));
  EXPECT_EQ(one.modules.size(), 1U);
  EXPECT_FALSE(plat::SymEnumerateModules(process, nullptr, nullptr));
}

TEST(SymbolHandling, NeedsTheCurrentProcessAndAnInitialisedSession) {
  const plat::HANDLE other = reinterpret_cast<plat::HANDLE>(1234);
  EXPECT_FALSE(plat::SymInitialize(other, nullptr, plat::TRUE));
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_INVALID_HANDLE);
  EXPECT_EQ(plat::SymGetModuleBase(plat::GetCurrentProcess(), 1), 0U);
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_INVALID_HANDLE);
  EXPECT_FALSE(plat::SymCleanup(plat::GetCurrentProcess()));
  Listed listed;
  EXPECT_FALSE(plat::SymEnumerateModules(plat::GetCurrentProcess(), listModule, &listed));
}

struct Walk {
  plat::PREAD_PROCESS_MEMORY_ROUTINE readMemory;
  std::vector<std::string> names;
};

// Walks from where this function stands and names each frame.
__attribute__((noinline)) void walkFromHere(void* state) {
  auto& walk = *static_cast<Walk*>(state);
  const plat::HANDLE process = plat::GetCurrentProcess();
  plat::CONTEXT context{};
  plat::RtlCaptureContext(&context);
  plat::STACKFRAME frame{};
  frame.AddrPC = {context.Rip, 0, plat::AddrModeFlat};
  frame.AddrFrame = {context.Rbp, 0, plat::AddrModeFlat};
  frame.AddrStack = {context.Rsp, 0, plat::AddrModeFlat};
  std::vector<unsigned char> block(sizeof(plat::IMAGEHLP_SYMBOL) + 256);
  auto* symbol = reinterpret_cast<plat::IMAGEHLP_SYMBOL*>(block.data());
  symbol->MaxNameLength = 256;
  EXPECT_FALSE(plat::StackWalk(0x14C, process, plat::GetCurrentThread(), &frame, &context,
                               walk.readMemory, plat::SymFunctionTableAccess,
                               plat::SymGetModuleBase, nullptr));
  plat::DWORD64 stack = 0;
  while (walk.names.size() < 64 &&
         plat::StackWalk(plat::IMAGE_FILE_MACHINE_AMD64, process, plat::GetCurrentThread(), &frame,
                         &context, walk.readMemory, plat::SymFunctionTableAccess,
                         plat::SymGetModuleBase, nullptr)) {
    plat::DWORD64 displacement = 0;
    walk.names.push_back(
        plat::SymGetSymFromAddr(process, frame.AddrPC.Offset, &displacement, symbol) ? symbol->Name
                                                                                     : "?");
    EXPECT_GT(frame.AddrStack.Offset, stack) << walk.names.back();
    stack = frame.AddrStack.Offset;
  }
  asm volatile("");
}

} // namespace

extern "C" void callWithoutUnwindTables(void (*function)(void*), void* argument);

namespace {

__attribute__((noinline)) std::vector<std::string>
walkFromCallee(plat::PREAD_PROCESS_MEMORY_ROUTINE readMemory) {
  Walk walk{readMemory, {}};
  callWithoutUnwindTables(walkFromHere, &walk);
  asm volatile("");
  return walk.names;
}

plat::BOOL readNothing(plat::HANDLE, plat::DWORD64, void*, plat::DWORD, plat::DWORD* read) {
  *read = 0;
  return plat::FALSE;
}

// By unwind tables where there are some, by the frame pointer where there are none, at any
// optimisation level.
TEST_F(SymbolSession, WalksEveryFrameAndStopsWhereMemoryEnds) {
  plat::SymSetOptions(plat::SYMOPT_UNDNAME);
  const std::vector<std::string> names = walkFromCallee(nullptr);
  ASSERT_GE(names.size(), 4U);
  EXPECT_EQ(names[0], "(anonymous namespace)::walkFromHere");
  EXPECT_EQ(names[1], "callWithoutUnwindTables");
  // clang marks functions that return a std::string with "[abi:cxx11]".
  EXPECT_EQ(names[2].rfind("(anonymous namespace)::walkFromCallee", 0), 0U) << names[2];
  EXPECT_NE(names[3].find("WalksEveryFrame"), std::string::npos) << names[3];

  // Through a reader that can read nothing, only the starting frame is known.
  EXPECT_EQ(walkFromCallee(readNothing), std::vector<std::string>{names[0]});
}

TEST(MapAndLoad, MapsImagesReadOnlyAndFindsPeHeaders) {
  plat::LOADED_IMAGE image{};
  ASSERT_TRUE(plat::MapAndLoad("strings_201_xx", BASALT_BINARY_DIR "/tests/modules", &image,
                               plat::TRUE, plat::TRUE));
  EXPECT_EQ(std::memcmp(image.MappedAddress, "MZ", 2), 0);
  ASSERT_NE(image.FileHeader, nullptr);
  EXPECT_EQ(std::memcmp(image.FileHeader, "PE\0\0", 4), 0);
  bool resources = false;
  for (plat::ULONG index = 0; index < image.NumberOfSections; ++index) {
    resources = resources || std::memcmp(image.Sections + index * 40, ".rsrc", 6) == 0;
  }
  EXPECT_TRUE(resources);
  EXPECT_NE(std::string(image.ModuleName).find("/tests/modules/strings_201_xx.dll"),
            std::string::npos);
  EXPECT_TRUE(plat::UnMapAndLoad(&image));
  EXPECT_EQ(image.MappedAddress, nullptr);
  EXPECT_FALSE(plat::UnMapAndLoad(&image));

  ASSERT_TRUE(plat::MapAndLoad(programPath().c_str(), nullptr, &image, plat::FALSE, plat::TRUE));
  EXPECT_EQ(std::memcmp(image.MappedAddress, "\177ELF", 4), 0);
  EXPECT_EQ(image.FileHeader, nullptr);
  EXPECT_TRUE(plat::UnMapAndLoad(&image));

  EXPECT_FALSE(plat::MapAndLoad("no_such_image", nullptr, &image, plat::TRUE, plat::TRUE));
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_FILE_NOT_FOUND);
}

TEST(ElfSymbolTable, AFileThatDoesntHoldTogetherHasNoSymbols) {
  const basalt::test::ScratchDirectory temp;
  const std::string program = basalt::test::fileBytes(programPath());
  ASSERT_GT(program.size(), 4096U);
  const std::string cases[] = {"", "\177ELF", program.substr(0, 64), program.substr(0, 4096),
                               program.substr(0, program.size() / 2)};
  for (const std::string& bytes : cases) {
    temp.write("image", bytes);
    const plat::ElfSymbolTable table = plat::ElfSymbolTable::read(temp.os("image"));
    EXPECT_EQ(table.find(reinterpret_cast<std::uint64_t>(&debugHelpProbeTarget)), nullptr);
  }
  const plat::ElfSymbolTable whole = plat::ElfSymbolTable::read(programPath());
  EXPECT_TRUE(whole.full());
  EXPECT_GT(whole.size(), 0U);
}

} // namespace
