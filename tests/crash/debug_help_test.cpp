// The built-in debug help library where the crash report can't lead it: the forms of its name,
// what the report never asks for, the results of failures, and files that don't hold together.

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
#include <vector>

namespace plat = basalt::platform;

// Outside any namespace, so that the symbol tests know their mangled names.
__attribute__((noinline)) int debugHelpProbeTarget(int value) {
  return value * 3 + 1;
}

namespace {

using basalt::test::units;

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

// The names that the report's own frames and globals don't give.
TEST(UnDecorateSymbolName, Demangles) {
  const plat::DWORD all = plat::UNDNAME_COMPLETE, name = plat::UNDNAME_NAME_ONLY;
  const std::tuple<const char*, plat::DWORD, plat::DWORD, const char*> cases[] = {
      {"_ZN5probe16writeThroughNullEPVi", all, 6, "probe"}, // cut to the room given
      {"_ZNK3Foo3barEv", name, 256, "Foo::bar"},
      {"_ZN3FooclEi", name, 256, "Foo::operator()"},
      {"_ZN5probe10faultTwiceEi.cold", name, 256, "probe::faultTwice [clone .cold]"},
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

plat::BOOL listOne(const char* /*name*/, plat::DWORD64 /*base*/, void* context) {
  ++*static_cast<int*>(context);
  return plat::FALSE;
}

plat::BOOL readNothing(plat::HANDLE, plat::DWORD64, void*, plat::DWORD, plat::DWORD* read) {
  *read = 0;
  return plat::FALSE;
}

// What the report never asks: undecorated names (it asks for decorated ones), a module loaded
// after the session began, an enumeration that the callback stops, a walk for another machine
// (which doesn't start) or through a reader of its own (here one that reads nothing, so that
// only the first frame is known); and the results of failed look-ups, of which the report
// passes over ERROR_INVALID_ADDRESS.
TEST_F(SymbolSession, AnswersWhatTheReportNeverAsksAndSaysWhyALookUpFails) {
  const auto address = reinterpret_cast<plat::DWORD64>(&debugHelpProbeTarget);
  std::vector<unsigned char> block(sizeof(plat::IMAGEHLP_SYMBOL) + 256);
  auto* symbol = reinterpret_cast<plat::IMAGEHLP_SYMBOL*>(block.data());
  symbol->SizeOfStruct = sizeof(plat::IMAGEHLP_SYMBOL);
  symbol->MaxNameLength = 256;
  plat::DWORD64 displacement = 99;
  plat::SymSetOptions(plat::SYMOPT_DEFERRED_LOADS | plat::SYMOPT_UNDNAME);
  ASSERT_TRUE(plat::SymGetSymFromAddr(process, address, &displacement, symbol));
  EXPECT_STREQ(symbol->Name, "debugHelpProbeTarget");
  void* plugin = ::dlopen(BASALT_BINARY_DIR "/tests/modules/test_plugin.so", RTLD_NOW);
  ASSERT_NE(plugin, nullptr) << ::dlerror();
  const auto function =
      reinterpret_cast<plat::DWORD64>(::dlsym(plugin, "basalt_test_plugin_answer"));
  plat::IMAGEHLP_MODULE module{};
  module.SizeOfStruct = sizeof module;
  EXPECT_TRUE(plat::SymGetModuleInfo(process, function, &module));
  EXPECT_STREQ(module.ModuleName, "test_plugin");
  ::dlclose(plugin);
  int listed = 0;
  ASSERT_TRUE(plat::SymEnumerateModules(process, listOne, &listed));
  EXPECT_EQ(listed, 1);
  plat::CONTEXT context{};
  plat::RtlCaptureContext(&context);
  plat::STACKFRAME frame{};
  frame.AddrPC = {context.Rip, 0, plat::AddrModeFlat};
  frame.AddrFrame = {context.Rbp, 0, plat::AddrModeFlat};
  frame.AddrStack = {context.Rsp, 0, plat::AddrModeFlat};
  const auto step = [&](plat::DWORD machine) {
    return plat::StackWalk(machine, process, plat::GetCurrentThread(), &frame, &context,
                           readNothing, plat::SymFunctionTableAccess, plat::SymGetModuleBase,
                           nullptr);
  };
  EXPECT_FALSE(step(0x14C));
  EXPECT_TRUE(step(plat::IMAGE_FILE_MACHINE_AMD64));
  EXPECT_FALSE(step(plat::IMAGE_FILE_MACHINE_AMD64));

  EXPECT_FALSE(plat::SymEnumerateModules(process, nullptr, nullptr));
  EXPECT_FALSE(plat::SymGetSymFromAddr(process, 16, &displacement, symbol));
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_INVALID_ADDRESS);
  EXPECT_FALSE(plat::SymGetModuleInfo(process, 16, &module));
  EXPECT_EQ(plat::SymGetModuleBase(process, 16), 0U);
  module.SizeOfStruct = 1;
  EXPECT_FALSE(plat::SymGetModuleInfo(process, address, &module));
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_INVALID_PARAMETER);
}

// The results of calls that the report never makes so; it binds its functions by their exact
// names.
TEST(SymbolHandling, NeedsTheCurrentProcessAnInitialisedSessionAndExactNames) {
  EXPECT_EQ(plat::GetProcAddress(plat::LoadLibraryW(units(u"imagehlp.dll").c_str()), "symcleanup"),
            nullptr);
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_PROC_NOT_FOUND);
  const plat::HANDLE other = reinterpret_cast<plat::HANDLE>(1234);
  EXPECT_FALSE(plat::SymInitialize(other, nullptr, plat::TRUE));
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_INVALID_HANDLE);
  EXPECT_EQ(plat::SymGetModuleBase(plat::GetCurrentProcess(), 1), 0U);
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_INVALID_HANDLE);
  EXPECT_FALSE(plat::SymCleanup(plat::GetCurrentProcess()));
  int listed = 0;
  EXPECT_FALSE(plat::SymEnumerateModules(plat::GetCurrentProcess(), listOne, &listed));
}

// The report's reader maps PE images by name and quietly passes over anything else.
TEST(MapAndLoad, FindsTheHeadersOfPeImagesOnlyAndSaysWhyItFails) {
  plat::LOADED_IMAGE image{};
  ASSERT_TRUE(plat::MapAndLoad("strings_201_xx", BASALT_BINARY_DIR "/tests/modules", &image,
                               plat::TRUE, plat::TRUE));
  ASSERT_NE(image.FileHeader, nullptr);
  bool resources = false;
  for (plat::ULONG index = 0; index < image.NumberOfSections; ++index) {
    resources = resources || std::memcmp(image.Sections + index * 40, ".rsrc", 6) == 0;
  }
  EXPECT_TRUE(resources);
  EXPECT_TRUE(plat::UnMapAndLoad(&image));
  EXPECT_FALSE(plat::UnMapAndLoad(&image));
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_INVALID_PARAMETER);

  ASSERT_TRUE(plat::MapAndLoad("/proc/self/exe", nullptr, &image, plat::FALSE, plat::TRUE));
  EXPECT_EQ(image.FileHeader, nullptr);
  EXPECT_TRUE(plat::UnMapAndLoad(&image));
  EXPECT_FALSE(plat::MapAndLoad("no_such_image", nullptr, &image, plat::TRUE, plat::TRUE));
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_FILE_NOT_FOUND);
}

TEST(ElfSymbolTable, AFileThatDoesntHoldTogetherHasNoSymbols) {
  const basalt::test::ScratchDirectory temp;
  const std::string program = basalt::test::fileBytes("/proc/self/exe");
  ASSERT_GT(program.size(), 4096U);
  const std::string cases[] = {"", "\177ELF", program.substr(0, 64), program.substr(0, 4096),
                               program.substr(0, program.size() / 2)};
  for (const std::string& bytes : cases) {
    temp.write("image", bytes);
    const plat::ElfSymbolTable table = plat::ElfSymbolTable::read(temp.os("image"));
    EXPECT_EQ(table.find(reinterpret_cast<std::uint64_t>(&debugHelpProbeTarget)), nullptr);
  }
  const plat::ElfSymbolTable whole = plat::ElfSymbolTable::read("/proc/self/exe");
  EXPECT_TRUE(whole.full());
  EXPECT_GT(whole.size(), 0U);
}

} // namespace
