// The built-in debug help library where the crash report can't lead it: names the report's
// frames don't give, what the report never asks for, and files that don't hold together.

#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/images/debug_help.h"
#include "basalt/platform/images/elf_symbols.h"
#include "tests/support/scratch_directory.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <tuple>
#include <vector>

namespace plat = basalt::platform;

namespace {

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

// What the report never asks: an enumeration that the callback stops, a walk for another
// machine (which doesn't start) or through a reader of its own (here one that reads nothing,
// so that only the first frame is known); and calls outside a session or with a bad argument.
TEST(SymbolSession, AnswersWhatTheReportNeverAsksAndSaysWhyACallFails) {
  const plat::HANDLE process = plat::GetCurrentProcess();
  int listed = 0;
  EXPECT_FALSE(plat::SymEnumerateModules(process, listOne, &listed));
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_INVALID_HANDLE);
  EXPECT_FALSE(plat::SymInitialize(reinterpret_cast<plat::HANDLE>(1234), nullptr, plat::TRUE));
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_INVALID_HANDLE);

  ASSERT_TRUE(plat::SymInitialize(process, nullptr, plat::TRUE));
  ASSERT_TRUE(plat::SymEnumerateModules(process, listOne, &listed));
  EXPECT_EQ(listed, 1);
  EXPECT_FALSE(plat::SymEnumerateModules(process, nullptr, nullptr));
  plat::IMAGEHLP_MODULE module{};
  module.SizeOfStruct = 1;
  EXPECT_FALSE(plat::SymGetModuleInfo(process, reinterpret_cast<plat::DWORD64>(&listOne), &module));
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_INVALID_PARAMETER);
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
  EXPECT_TRUE(plat::SymCleanup(process));
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
    EXPECT_EQ(table.find(reinterpret_cast<std::uint64_t>(&readNothing)), nullptr);
  }
}

} // namespace
