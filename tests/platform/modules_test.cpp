#include "basalt/platform/modules.h"
#include "basalt/platform/thread_state.h"
#include "tests/support/scratch_directory.h"

#include <dlfcn.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>

namespace plat = basalt::platform;
using basalt::test::narrow;
using basalt::test::ScratchDirectory;
using basalt::test::units;
using basalt::test::Units;
using basalt::test::wide;

namespace {

std::string libraryForm(std::string path) {
  for (char& c : path) {
    if (c == '/') {
      c = '\\';
    }
  }
  return path;
}

std::string fileNameOf(plat::HMODULE module) {
  plat::WCHAR buffer[1024];
  const plat::DWORD length = plat::GetModuleFileNameW(module, buffer, 1024);
  return length == 0 ? std::string() : narrow(Units(buffer, length));
}

plat::HMODULE handleOf(std::u16string_view name) {
  return plat::GetModuleHandleW(units(name).c_str());
}

// The handle the loader gives for an object that is loaded already, without keeping a
// reference on it.
void* loadedHandle(const char* name) {
  void* handle = ::dlopen(name, RTLD_LAZY | RTLD_NOLOAD);
  if (handle != nullptr) {
    ::dlclose(handle);
  }
  return handle;
}

TEST(ModulesTest, NullAndTheProgramsOwnNameGiveTheMainProgram) {
  const plat::HMODULE main = plat::GetModuleHandleW(nullptr);
  ASSERT_NE(main, nullptr);
  EXPECT_EQ(main, loadedHandle(nullptr));
  const std::string program = libraryForm(std::filesystem::canonical("/proc/self/exe").string());
  EXPECT_EQ(fileNameOf(nullptr), program);
  EXPECT_EQ(fileNameOf(main), program);
  EXPECT_EQ(handleOf(u"platform_tests"), main);
  EXPECT_EQ(handleOf(u"platform_tests.exe"), main);
}

TEST(ModulesTest, SharedObjectsAreFoundByTheirNamesAndGiveTheLoadersHandle) {
  void* libc = loadedHandle("libc.so.6");
  ASSERT_NE(libc, nullptr);
  EXPECT_EQ(handleOf(u"libc.so.6"), libc);
  // A Windows name stands for lib<stem>.so, versioned or not.
  EXPECT_EQ(handleOf(u"c.dll"), libc);
  EXPECT_EQ(handleOf(u"c"), libc);
  // The unversioned name finds the versioned file.
  EXPECT_EQ(handleOf(u"libc.so"), libc);
  const std::string path = fileNameOf(libc);
  EXPECT_EQ(path.substr(path.rfind('\\')), "\\libc.so.6");
  EXPECT_EQ(path.front(), '\\');
  // With a directory, only that directory counts.
  EXPECT_EQ(plat::GetModuleHandleW(wide(path).c_str()), libc);
  ScratchDirectory elsewhere;
  EXPECT_EQ(plat::GetModuleHandleW(wide(elsewhere.library("libc.so.6")).c_str()), nullptr);
}

TEST(ModulesTest, LibraryNameFindsTheSharedLibraryOnceLoadedAndElseTheCodeItIsLinkedInto) {
  const std::string shared = BASALT_BINARY_DIR "/basalt/libbasalt.so";
  // Linked into this test, the library's code lives in the executable. (Once loaded, the
  // shared library stays: dlclose can't unload it.)
  if (loadedHandle(shared.c_str()) == nullptr) {
    EXPECT_EQ(handleOf(u"basalt"), plat::GetModuleHandleW(nullptr));
    EXPECT_EQ(handleOf(u"basalt.dll"), plat::GetModuleHandleW(nullptr));
  }

  void* library = ::dlopen(shared.c_str(), RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(library, nullptr) << ::dlerror();
  EXPECT_EQ(handleOf(u"basalt"), library);
  EXPECT_EQ(handleOf(u"basalt.dll"), library);
  EXPECT_EQ(handleOf(u"libbasalt.so"), library);
  EXPECT_EQ(fileNameOf(library), libraryForm(shared));
  ::dlclose(library);
}

TEST(ModulesTest, ModulesTheLayerLoadedComeFirstUntilTheyAreGivenBack) {
  ScratchDirectory dir;
  dir.write("strings_201_xx.dll", "MZ");
  dir.write("other.dll", "MZ");
  int token = 0;
  plat::HMODULE module = &token;
  plat::registerLoadedModule(module, dir.os("other.dll"));
  plat::registerLoadedModule(module, dir.os("strings_201_xx.dll"));
  EXPECT_EQ(handleOf(u"strings_201_xx.dll"), module);
  EXPECT_EQ(handleOf(u"strings_201_xx"), module);
  EXPECT_EQ(plat::GetModuleHandleW(wide(dir.library("strings_201_xx.dll")).c_str()), module);
  EXPECT_EQ(handleOf(u"other.dll"), nullptr);
  EXPECT_EQ(fileNameOf(module), dir.library("strings_201_xx.dll"));

  plat::unregisterLoadedModule(module);
  EXPECT_EQ(handleOf(u"strings_201_xx.dll"), nullptr);
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_MOD_NOT_FOUND);
  plat::WCHAR buffer[16];
  EXPECT_EQ(plat::GetModuleFileNameW(module, buffer, 16), 0U);
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_MOD_NOT_FOUND);
}

TEST(ModulesTest, FileNameIsCutToTheBufferAndSaysSo) {
  const std::string whole = fileNameOf(nullptr);
  plat::WCHAR buffer[5] = {1, 1, 1, 1, 1};
  EXPECT_EQ(plat::GetModuleFileNameW(nullptr, buffer, 5), 5U);
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(narrow(Units(buffer)), whole.substr(0, 4));
  EXPECT_EQ(plat::GetModuleFileNameW(nullptr, buffer, 0), 0U);
}

TEST(ModulesTest, UnknownNamesFindNothing) {
  plat::SetLastError(0);
  EXPECT_EQ(handleOf(u"no_such_module"), nullptr);
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_MOD_NOT_FOUND);
  EXPECT_EQ(handleOf(u""), nullptr);
  EXPECT_EQ(handleOf(u"libc.so.6.1"), nullptr);
}

} // namespace
