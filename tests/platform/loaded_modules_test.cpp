// Loading real modules: resource DLLs as data, an ELF plugin with dlopen, and files that are
// neither.

#include "../modules/test_modules.h"
#include "basalt/platform/code_pages.h"
#include "basalt/platform/loaded_modules.h"
#include "basalt/platform/locale.h"
#include "basalt/platform/modules.h"
#include "basalt/platform/string_resources.h"
#include "basalt/platform/thread_state.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace plat = basalt::platform;
namespace fs = std::filesystem;
using basalt::test::modulePath;
using basalt::test::units;

namespace {

plat::HMODULE load(const std::string& name) {
  return plat::LoadLibraryW(units(name).c_str());
}

std::u16string string1(plat::HMODULE module) {
  plat::WCHAR buffer[64];
  const int length = plat::LoadStringW(module, 1, buffer, 64);
  return {buffer, buffer + length};
}

// A scratch directory that goes with the test.
class Scratch {
public:
  Scratch() {
    std::string pattern = (fs::temp_directory_path() / "basalt-modules-XXXXXX").string();
    path = ::mkdtemp(pattern.data());
  }
  ~Scratch() { fs::remove_all(path); }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  fs::path copy(const std::string& module, const std::string& as) const {
    fs::create_directories(fs::path(path / as).parent_path());
    fs::copy_file(modulePath(module), path / as, fs::copy_options::overwrite_existing);
    return path / as;
  }
  fs::path write(const std::string& name, const std::string& bytes) const {
    std::ofstream(path / name, std::ios::binary) << bytes;
    return path / name;
  }

  fs::path path;
};

// Sets an environment variable and the working directory for one test, then puts them back.
class Environment {
public:
  Environment() : directory(fs::current_path()) {}
  ~Environment() {
    fs::current_path(directory);
    for (const auto& [name, value] : saved) {
      value ? ::setenv(name.c_str(), value->c_str(), 1) : ::unsetenv(name.c_str());
    }
  }
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;

  void set(const std::string& name, const std::string& value) {
    const char* old = std::getenv(name.c_str());
    saved.emplace_back(name, old ? std::optional<std::string>(old) : std::nullopt);
    ::setenv(name.c_str(), value.c_str(), 1);
  }

private:
  fs::path directory;
  std::vector<std::pair<std::string, std::optional<std::string>>> saved;
};

TEST(LoadLibrary, OneFileOneHandleCounted) {
  Scratch scratch;
  const fs::path file = scratch.copy("strings_201_ENU.dll", "sub/strings.dll");
  const plat::HMODULE first = load(file.string());
  ASSERT_NE(first, nullptr);
  // The library's own spelling: '\' separators, a detour and no extension.
  std::string other = (scratch.path / "sub" / ".." / "sub" / "strings").string();
  std::replace(other.begin(), other.end(), '/', '\\');
  EXPECT_EQ(load(other), first);
  // The modules of the process include it now, also by name and path.
  EXPECT_EQ(plat::GetModuleHandleW(units("strings.dll").c_str()), first);
  plat::WCHAR path[1024];
  const plat::DWORD length = plat::GetModuleFileNameW(first, path, 1024);
  std::string expected = fs::canonical(file).string();
  std::replace(expected.begin(), expected.end(), '/', '\\');
  EXPECT_EQ(std::basic_string<plat::WCHAR>(path, length), units(expected));

  EXPECT_TRUE(plat::FreeLibrary(first));
  EXPECT_EQ(string1(first), u"Hello");
  EXPECT_TRUE(plat::FreeLibrary(first));
  EXPECT_EQ(plat::findLoadedModule(first), nullptr);
  EXPECT_EQ(plat::GetModuleHandleW(units("strings.dll").c_str()), nullptr);
  EXPECT_FALSE(plat::FreeLibrary(first));
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_INVALID_HANDLE);
}

TEST(LoadLibrary, RefusesWhatIsNoModule) {
  Scratch scratch;
  std::string plugin;
  {
    std::ifstream in(modulePath("test_plugin.so"), std::ios::binary);
    plugin.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  std::string otherClass = plugin;
  otherClass[4] = otherClass[4] == 2 ? 1 : 2; // EI_CLASS
  std::string dll;
  {
    std::ifstream in(modulePath("strings_201_ENU.dll"), std::ios::binary);
    dll.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  fs::create_directory(scratch.path / "folder.dll");
  const struct {
    const char* what;
    std::string path;
    plat::DWORD error;
  } cases[] = {
      {"missing file", (scratch.path / "missing.dll").string(), plat::ERROR_MOD_NOT_FOUND},
      {"missing directory", (scratch.path / "no/such.dll").string(), plat::ERROR_MOD_NOT_FOUND},
      {"text", scratch.write("text.dll", "MZ is not enough").string(), plat::ERROR_BAD_EXE_FORMAT},
      {"empty", scratch.write("empty.dll", "").string(), plat::ERROR_BAD_EXE_FORMAT},
      {"truncated image", scratch.write("cut.dll", dll.substr(0, dll.size() / 2)).string(),
       plat::ERROR_BAD_EXE_FORMAT},
      {"ELF of the other class", scratch.write("other.so", otherClass).string(),
       plat::ERROR_BAD_EXE_FORMAT},
      {"directory", (scratch.path / "folder.dll").string(), plat::ERROR_ACCESS_DENIED},
  };
  for (const auto& c : cases) {
    plat::SetLastError(0);
    EXPECT_EQ(load(c.path), nullptr) << c.what;
    EXPECT_EQ(plat::GetLastError(), c.error) << c.what;
  }
  EXPECT_EQ(plat::LoadLibraryW(nullptr), nullptr);
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_INVALID_PARAMETER);
  EXPECT_EQ(plat::LoadLibraryExW(units(modulePath("strings_201_ENU.dll")).c_str(), nullptr, 0x2),
            nullptr);
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_INVALID_PARAMETER);
}

TEST(LoadLibrary, DefaultExtensionAndTrailingDot) {
  Scratch scratch;
  scratch.copy("strings_201_ENU.dll", "plain.dll");
  scratch.copy("strings_201_xx.dll", "plain");
  const plat::HMODULE withDll = load((scratch.path / "plain").string());
  const plat::HMODULE bare = load((scratch.path / "plain.").string());
  ASSERT_NE(withDll, nullptr);
  ASSERT_NE(bare, nullptr);
  EXPECT_EQ(string1(withDll), u"Hello");
  EXPECT_EQ(string1(bare), u"Neutral hello");
  plat::FreeLibrary(withDll);
  plat::FreeLibrary(bare);
}

TEST(LoadLibrary, NonAsciiNamesReachTheFile) {
  if (plat::GetACP() != plat::CP_UTF8) {
    GTEST_SKIP() << "needs a UTF-8 locale";
  }
  Scratch scratch;
  const std::string path = scratch.copy("strings_201_ENU.dll", "grüße €.dll").string();
  const plat::HMODULE narrow = plat::LoadLibraryA(path.c_str());
  ASSERT_NE(narrow, nullptr);
  std::u16string wide(scratch.path.u16string() + u"\\grüße €.dll");
  EXPECT_EQ(plat::LoadLibraryW(reinterpret_cast<const plat::WCHAR*>(wide.c_str())), narrow);
  EXPECT_TRUE(plat::FreeLibrary(narrow));
  EXPECT_TRUE(plat::FreeLibrary(narrow));
}

TEST(LoadLibrary, SearchesProgramCurrentLibraryPathThenPath) {
  Scratch scratch;
  Environment environment;
  const std::string name = "basalt_search_" + std::to_string(::getpid()) + ".dll";
  const fs::path program = fs::canonical("/proc/self/exe").parent_path() / name;
  const fs::path current = scratch.copy("strings_201_xx.dll", "current/" + name);
  const fs::path library = scratch.copy("strings_201_DEU.dll", "library/" + name);
  const fs::path path = scratch.copy("strings_201_ENU.dll", "path/" + name);
  environment.set("LD_LIBRARY_PATH", "/nonexistent::" + library.parent_path().string());
  environment.set("PATH", path.parent_path().string());
  fs::current_path(current.parent_path());

  const auto foundAt = [&] {
    const plat::HMODULE module = load(name);
    std::string at = module == nullptr ? "" : plat::findLoadedModule(module)->path();
    plat::FreeLibrary(module);
    return at;
  };
  fs::copy_file(modulePath("languages.dll"), program);
  EXPECT_EQ(foundAt(), program.string());
  fs::remove(program);
  EXPECT_EQ(foundAt(), fs::canonical(current).string());
  fs::remove(current);
  EXPECT_EQ(foundAt(), fs::canonical(library).string());
  fs::remove(library);
  EXPECT_EQ(foundAt(), fs::canonical(path).string());
  fs::remove(path);
  EXPECT_EQ(load(name), nullptr);
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_MOD_NOT_FOUND);
}

TEST(LoadLibrary, ElfObjectsLoadWithDlopenAndLendNoSymbols) {
  const plat::HMODULE plugin = load(modulePath("test_plugin.so"));
  ASSERT_NE(plugin, nullptr);
  using Answer = int (*)();
  const auto answer =
      reinterpret_cast<Answer>(plat::GetProcAddress(plugin, "basalt_test_plugin_answer"));
  ASSERT_NE(answer, nullptr);
  EXPECT_EQ(answer(), 42);
  // libc is the plugin's dependency, not the plugin.
  EXPECT_EQ(plat::GetProcAddress(plugin, "abs"), nullptr);
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_PROC_NOT_FOUND);
  EXPECT_EQ(plat::GetProcAddress(plugin, reinterpret_cast<const char*>(1)), nullptr);
  EXPECT_EQ(plat::GetProcAddress(nullptr, "basalt_test_plugin_answer"), nullptr);
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_PROC_NOT_FOUND);
  // A shared object the process had without us, by the handle GetModuleHandleW gives.
  EXPECT_NE(plat::GetProcAddress(plat::GetModuleHandleW(units("libc.so.6").c_str()), "abs"),
            nullptr);
  int notAModule = 0;
  EXPECT_EQ(plat::GetProcAddress(&notAModule, "x"), nullptr);
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_INVALID_HANDLE);
  EXPECT_TRUE(plat::FreeLibrary(plugin));

  const plat::HMODULE data = load(modulePath("strings_201_ENU.dll"));
  EXPECT_EQ(plat::GetProcAddress(data, "basalt_test_plugin_answer"), nullptr);
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_PROC_NOT_FOUND);
  plat::FreeLibrary(data);

  // Not in any directory searched here: dlopen's own search finds it, and loading it again
  // by its path counts the same module.
  const plat::HMODULE libm = load("libm.so.6");
  ASSERT_NE(libm, nullptr);
  EXPECT_NE(plat::GetProcAddress(libm, "cos"), nullptr);
  EXPECT_EQ(load(plat::findLoadedModule(libm)->path()), libm);
  EXPECT_TRUE(plat::FreeLibrary(libm));
  EXPECT_TRUE(plat::FreeLibrary(libm));
}

TEST(LoadLibrary, AlteredSearchTakesDependenciesFromTheModulesDirectory) {
  Scratch scratch;
  scratch.copy("with_dependency/libtest_dependency.so", "plugin/libtest_dependency.so");
  const std::string plugin =
      scratch.copy("with_dependency/libtest_dependent.so", "plugin/libtest_dependent.so").string();
  EXPECT_EQ(plat::LoadLibraryExW(units(plugin).c_str(), nullptr, 0), nullptr);
  EXPECT_EQ(plat::GetLastError(), plat::ERROR_MOD_NOT_FOUND);

  const plat::HMODULE module =
      plat::LoadLibraryExW(units(plugin).c_str(), nullptr, plat::LOAD_WITH_ALTERED_SEARCH_PATH);
  ASSERT_NE(module, nullptr);
  using Answer = int (*)();
  const auto answer =
      reinterpret_cast<Answer>(plat::GetProcAddress(module, "basalt_test_dependent_answer"));
  ASSERT_NE(answer, nullptr);
  EXPECT_EQ(answer(), 43);
  EXPECT_TRUE(plat::FreeLibrary(module));
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
