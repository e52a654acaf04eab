// SharedLibrary and StringResourceLibrary on real message libraries and a real plugin.

#include "basalt/platform/images/loaded_modules.h"
#include "basalt/system/file_locator.h"
#include "basalt/system/shared_library.h"
#include "basalt/system/string_resource_library.h"
#include "modules/test_modules.h"
#include "tests/support/scratch_directory.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <unistd.h>

namespace plat = basalt::platform;
namespace fs = std::filesystem;
using basalt::FileLocator;
using basalt::test::libraryForm;

namespace {

FileLocator locator(const char* fileName,
                    const std::string& location = basalt::test::modulesDirectory()) {
  FileLocator place;
  place.setLocation(KELPString(libraryForm(location).c_str()));
  place.setFileName(KELPString(fileName));
  return place;
}

constexpr plat::LONG modNotFound = static_cast<plat::LONG>(0x8007007Eu);
constexpr plat::LONG procNotFound = static_cast<plat::LONG>(0x8007007Fu);

TEST(SharedLibrary, LoadAddsDllOnlyWithoutExtensionAndKeepsTheLastFailure) {
  const basalt::test::ScratchDirectory dir;
  fs::copy_file(basalt::test::modulePath("strings_201_ENU.dll"), dir.os("renamed.bin"));
  StringResourceLibrary renamed;
  EXPECT_TRUE(renamed.load(locator("renamed.bin", dir.os(""))));

  StringResourceLibrary library;
  EXPECT_FALSE(library.load(locator("renamed", dir.os(""))));
  EXPECT_FALSE(library.isLoaded());
  EXPECT_EQ(library.hrLastError(), modNotFound);
  EXPECT_EQ(library.lastError(), "The specified module could not be found.");

  // A success leaves the failure as it was; a second load is refused and keeps the first.
  ASSERT_TRUE(library.load(locator("strings_201_xx")));
  EXPECT_EQ(library.hrLastError(), modNotFound);
  EXPECT_FALSE(library.load(locator("strings_201_ENU")));
  EXPECT_EQ(library.lastError(), "Library already loaded");
  EXPECT_EQ(library.hrLastError(), static_cast<plat::LONG>(0x80004005u));
  KELPString neutral;
  EXPECT_TRUE(library.getString(1, neutral));
  EXPECT_EQ(neutral, "Neutral hello");
  library.unload();
  library.unload();
}

// The second try, by the bare name, looks in the program's directory, the current one,
// LD_LIBRARY_PATH and then PATH; each directory holds a library of other texts.
TEST(SharedLibrary, SecondTrySearchesProgramCurrentLibraryPathThenPath) {
  const basalt::test::ScratchDirectory dir;
  const std::string name = "basalt_search_" + std::to_string(::getpid()) + ".dll";
  const fs::path program = fs::canonical("/proc/self/exe").parent_path() / name;
  const auto place = [&](const char* module, const std::string& directory) {
    fs::create_directories(dir.os(directory));
    fs::copy_file(basalt::test::modulePath(module), dir.os(directory + "/" + name));
    return fs::path(dir.os(directory + "/" + name));
  };
  const fs::path current = place("strings_201_xx.dll", "current");
  const fs::path library = place("strings_201_DEU.dll", "library");
  const fs::path path = place("languages.dll", "path");
  const basalt::test::EnvironmentVariable libraryPath(
      "LD_LIBRARY_PATH", ("/nonexistent::" + library.parent_path().string()).c_str());
  const basalt::test::EnvironmentVariable searchPath("PATH", path.parent_path().c_str());
  const fs::path before = fs::current_path();
  fs::current_path(current.parent_path());

  // String 1 of the library found, or string 16, which only the last one has.
  const auto found = [&](plat::UINT id) {
    StringResourceLibrary loaded;
    KELPString text("<none>");
    if (loaded.load(locator(name.c_str(), "/nowhere"))) {
      loaded.getString(id, text);
    }
    return basalt::test::narrow(text);
  };
  fs::copy_file(basalt::test::modulePath("strings_201_ENU.dll"), program);
  EXPECT_EQ(found(1), "Hello");
  fs::remove(program);
  EXPECT_EQ(found(1), "Neutral hello");
  fs::remove(current);
  EXPECT_EQ(found(1), "Sch\xC3\xB6ne Gr\xC3\xBC\xC3\x9F"
                      "e");
  fs::remove(library);
  EXPECT_EQ(found(16), "neutral");
  fs::remove(path);
  EXPECT_EQ(found(1), "<none>");
  fs::current_path(before);
}

TEST(SharedLibrary, FindSymbolFindsTheModulesOwnSymbolsOnlyAndRecordsTheMiss) {
  SharedLibrary plugin;
  EXPECT_EQ(plugin.findSymbol(KELPString("basalt_test_plugin_answer")), nullptr);
  EXPECT_EQ(plugin.hrLastError(), procNotFound);
  EXPECT_EQ(plugin.lastError(), "The specified procedure could not be found.");

  ASSERT_TRUE(plugin.load(locator("test_plugin.so"))); // what it has the examples find
  EXPECT_EQ(plugin.findSymbol(KELPString("no_such_symbol")), nullptr);
  EXPECT_EQ(plugin.hrLastError(), procNotFound);
  EXPECT_EQ(plugin.findSymbol(KELPString("abs")), nullptr); // libc's, a dependency's
  SharedLibrary libm; // in no directory searched here: dlopen's own search finds it
  ASSERT_TRUE(libm.load(locator("libm.so.6", "/nowhere")));
  EXPECT_NE(libm.findSymbol(KELPString("cos")), nullptr);

  // Its dependency lies beside it, where only the search from the module's directory looks.
  SharedLibrary dependent;
  ASSERT_TRUE(dependent.load(
      locator("libtest_dependent.so", basalt::test::modulesDirectory() + "/with_dependency")));
  using Answer = int (*)();
  const auto answer =
      reinterpret_cast<Answer>(dependent.findSymbol(KELPString("basalt_test_dependent_answer")));
  ASSERT_NE(answer, nullptr);
  EXPECT_EQ(answer(), 43);
}

TEST(StringResourceLibrary, GetStringCutsAt511AndEmptiesTheTextOnFailure) {
  StringResourceLibrary library;
  ASSERT_TRUE(library.load(locator("strings_201_ENU.dll")));
  KELPString found("old");
  EXPECT_TRUE(library.getString(100, found));
  EXPECT_EQ(found.size(), 511u);
  EXPECT_TRUE(library.getString(101, found));
  EXPECT_EQ(found.size(), 511u);
  EXPECT_NE(found.back(), 'Z');
  EXPECT_FALSE(library.getString(2, found)); // empty in the table
  EXPECT_TRUE(found.empty());
  EXPECT_EQ(library.findSymbol(KELPString("basalt_test_plugin_answer")), nullptr);
  // UTF-8 in the source, UTF-16 in the table, a surrogate pair kept as two units.
  EXPECT_TRUE(library.getString(17, found));
  EXPECT_EQ(found, KELPString(reinterpret_cast<const unsigned short*>(u"Größe: 5 €, 漢字, 😀")));

  StringResourceLibrary unloaded;
  found = "old";
  EXPECT_FALSE(unloaded.getString(1, found));
  EXPECT_TRUE(found.empty());
}

// A message library replaced or cut short on disk while a component has it loaded must not
// take the component down: the module keeps the contents it read. (Mapped, it once did.)
TEST(StringResourceLibrary, SurvivesTheFileShrinkingUnderIt) {
  const basalt::test::ScratchDirectory dir;
  fs::copy_file(basalt::test::modulePath("strings_201_ENU.dll"), dir.os("shrinking.dll"));
  StringResourceLibrary library;
  ASSERT_TRUE(library.load(locator("shrinking.dll", dir.os(""))));
  fs::resize_file(dir.os("shrinking.dll"), 64);
  KELPString text;
  EXPECT_TRUE(library.getString(1, text));
  EXPECT_EQ(text, "Hello");
}

TEST(StringResourceLibrary, DeletingThroughTheBaseUnloads) {
  const plat::HMODULE held =
      plat::LoadLibraryW(basalt::test::units(basalt::test::modulePath("languages.dll")).c_str());
  std::unique_ptr<SharedLibrary> library = std::make_unique<StringResourceLibrary>();
  ASSERT_TRUE(library->load(locator("languages")));
  // A copy doesn't take the module, so it is given back once.
  SharedLibrary copy(*library);
  EXPECT_FALSE(copy.isLoaded());
  library.reset();
  EXPECT_TRUE(plat::FreeLibrary(held));
  EXPECT_FALSE(plat::FreeLibrary(held)); // the library gave back exactly its one load
}

} // namespace
