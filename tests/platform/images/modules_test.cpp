// Modules of the process and modules the layer loads: resource DLLs as data, ELF objects
// with dlopen, and files that are neither. SharedLibrary, the file locator and the Unicode
// layer load and find modules through these in tests/system and tests/frame; here is what
// they can't ask for.

#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/images/loaded_modules.h"
#include "basalt/platform/images/modules.h"
#include "basalt/platform/images/string_resources.h"
#include "basalt/platform/nls/code_pages.h"
#include "basalt/platform/nls/locale.h"
#include "modules/test_modules.h"
#include "tests/support/scratch_directory.h"

#include <atomic>
#include <dlfcn.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

namespace plat = basalt::platform;
namespace fs = std::filesystem;
using basalt::test::libraryForm;
using basalt::test::modulePath;
using basalt::test::narrow;
using basalt::test::ScratchDirectory;
using basalt::test::Units;
using basalt::test::wide;

namespace {

plat::HMODULE load(const std::string& path) {
  return plat::LoadLibraryW(wide(path).c_str());
}

plat::HMODULE handleOf(const std::string& name) {
  return plat::GetModuleHandleW(wide(name).c_str());
}

std::string fileNameOf(plat::HMODULE module) {
  plat::WCHAR buffer[1024];
  const plat::DWORD length = plat::GetModuleFileNameW(module, buffer, 1024);
  return narrow(Units(buffer, length));
}

std::u16string string1(plat::HMODULE module) {
  plat::WCHAR buffer[64];
  const int length = plat::LoadStringW(module, 1, buffer, 64);
  return {buffer, buffer + length};
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

std::string copyModule(const ScratchDirectory& dir, const std::string& module,
                       const std::string& as) {
  fs::create_directories(fs::path(dir.os(as)).parent_path());
  fs::copy_file(modulePath(module), dir.os(as), fs::copy_options::overwrite_existing);
  return dir.os(as);
}

TEST(GetModuleHandleW, SharedObjectsAndTheLibrarysOwnCodeGoByTheirNames) {
  void* main = loadedHandle(nullptr);
  const std::string program = libraryForm(fs::canonical("/proc/self/exe").string());
  EXPECT_EQ(fileNameOf(nullptr), program);
  // A file name cut to the buffer says so.
  plat::WCHAR buffer[5] = {1, 1, 1, 1, 1};
  EXPECT_EQ(plat::GetModuleFileNameW(nullptr, buffer, 5), 5U);
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(narrow(Units(buffer)), program.substr(0, 4));
  EXPECT_EQ(plat::GetModuleFileNameW(nullptr, buffer, 0), 0U);

  // A Windows name stands for lib<stem>.so, versioned or not; with a directory, only that
  // directory counts.
  void* libc = loadedHandle("libc.so.6");
  ASSERT_NE(libc, nullptr);
  const std::string libcPath = fileNameOf(libc);
  ScratchDirectory elsewhere;
  const struct {
    std::string name;
    plat::HMODULE module;
  } cases[] = {{"platform_tests", main},
               {"platform_tests.exe", main},
               {"libc.so.6", libc},
               {"c.dll", libc},
               {"c", libc},
               {"libc.so", libc},
               {libcPath, libc},
               {elsewhere.library("libc.so.6"), nullptr},
               {"no_such_module", nullptr},
               {"", nullptr},
               {"libc.so.6.1", nullptr}};
  for (const auto& c : cases) {
    plat::SetLastError(0);
    EXPECT_EQ(handleOf(c.name), c.module) << c.name;
    EXPECT_EQ(plat::GetLastError(), c.module == nullptr ? plat::ERROR_MOD_NOT_FOUND : 0) << c.name;
  }
  // Linked into this test, the library's own code lives in the executable. (Once loaded, the
  // shared library stays: dlclose can't unload it, and the locator's test finds it then.)
  if (loadedHandle(BASALT_BINARY_DIR "/basalt/libbasalt.so") == nullptr) {
    EXPECT_EQ(handleOf("basalt.dll"), main);
  }
}

TEST(LoadLibrary, OneFileOneHandleCountedWhateverItsSpelling) {
  ScratchDirectory dir;
  const std::string file = copyModule(dir, "strings_201_ENU.dll", "sub/strings.dll");
  const plat::HMODULE first = load(file);
  ASSERT_NE(first, nullptr);
  // The library's own spelling: '\' separators and a detour.
  EXPECT_EQ(load(dir.library("sub/../sub/strings.dll")), first);
  // The modules of the process include it now, also by name and path.
  EXPECT_EQ(handleOf("strings.dll"), first);
  EXPECT_EQ(handleOf("strings"), first);

  EXPECT_TRUE(plat::FreeLibrary(first));
  EXPECT_EQ(string1(first), u"Hello");
  EXPECT_TRUE(plat::FreeLibrary(first));
  EXPECT_EQ(handleOf("strings.dll"), nullptr);
  EXPECT_FALSE(plat::FreeLibrary(first));

  // LoadLibraryA's name is in the process's ANSI code page (it once took CP_ACP's default).
  if (plat::GetACP() == plat::CP_UTF8) {
    const std::string path =
        copyModule(dir, "strings_201_ENU.dll", "gr\xC3\xBC\xC3\x9F\xE2\x82\xAC.dll");
    const plat::HMODULE narrowName = plat::LoadLibraryA(path.c_str());
    ASSERT_NE(narrowName, nullptr);
    EXPECT_EQ(load(libraryForm(path)), narrowName);
    EXPECT_TRUE(plat::FreeLibrary(narrowName));
    EXPECT_TRUE(plat::FreeLibrary(narrowName));
  }
}

TEST(LoadLibrary, RefusesWhatIsNoModule) {
  ScratchDirectory dir;
  std::string otherClass = basalt::test::fileBytes(modulePath("test_plugin.so"));
  otherClass[4] = otherClass[4] == 2 ? 1 : 2; // EI_CLASS
  dir.write("other.so", otherClass);
  dir.write("text.dll", "MZ is not enough");
  dir.write("empty.dll", "");
  fs::create_directory(dir.path() / "folder.dll");
  const struct {
    const char* name;
    plat::DWORD error;
  } cases[] = {
      {"missing.dll", plat::ERROR_MOD_NOT_FOUND}, {"no/such.dll", plat::ERROR_MOD_NOT_FOUND},
      {"text.dll", plat::ERROR_BAD_EXE_FORMAT},   {"empty.dll", plat::ERROR_BAD_EXE_FORMAT},
      {"other.so", plat::ERROR_BAD_EXE_FORMAT},   {"folder.dll", plat::ERROR_ACCESS_DENIED},
  };
  for (const auto& c : cases) {
    plat::SetLastError(0);
    EXPECT_EQ(load(dir.os(c.name)), nullptr) << c.name;
    EXPECT_EQ(plat::GetLastError(), c.error) << c.name;
  }
}

TEST(LoadLibrary, ThreadsShareOneCountedModule) {
  const std::string path = modulePath("strings_201_ENU.dll");
  const plat::HMODULE held = load(path);
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 500; ++i) {
        const plat::HMODULE module = load(path);
        if (module == nullptr || string1(module) != u"Hello" || !plat::FreeLibrary(module)) {
          ++wrong;
        }
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(wrong, 0);
  EXPECT_TRUE(plat::FreeLibrary(held));
  EXPECT_EQ(plat::findLoadedModule(held), nullptr);
}

} // namespace
