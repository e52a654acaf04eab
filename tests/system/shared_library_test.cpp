// SharedLibrary and StringResourceLibrary on real message libraries and a real plugin.

#include "../modules/test_modules.h"
#include "basalt/platform/loaded_modules.h"
#include "basalt/system/file_locator.h"
#include "basalt/system/shared_library.h"
#include "basalt/system/string_resource_library.h"

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <unistd.h>

namespace plat = basalt::platform;
namespace fs = std::filesystem;
using basalt::FileLocator;

namespace {

// The modules' directory as the library writes paths, with '\'.
KELPString libraryDirectory() {
  std::string path = basalt::test::modulesDirectory();
  std::replace(path.begin(), path.end(), '/', '\\');
  return KELPString(path.c_str());
}

FileLocator locator(const char* fileName, const KELPString& location = libraryDirectory()) {
  FileLocator place;
  place.setLocation(location);
  place.setFileName(KELPString(fileName));
  return place;
}

KELPString text(const char* ascii) {
  return KELPString(ascii);
}

constexpr plat::LONG modNotFound = static_cast<plat::LONG>(0x8007007Eu);
constexpr plat::LONG procNotFound = static_cast<plat::LONG>(0x8007007Fu);

TEST(SharedLibrary, LoadAddsDllOnlyWithoutExtension) {
  StringResourceLibrary library;
  ASSERT_TRUE(library.load(locator("strings_201_ENU")));
  KELPString hello;
  EXPECT_TRUE(library.getString(1, hello));
  EXPECT_EQ(hello, text("Hello"));

  // "strings_201_ENU.bin" is that very name: no ".dll" behind it.
  fs::copy_file(basalt::test::modulePath("strings_201_ENU.dll"),
                basalt::test::modulePath("renamed.bin"), fs::copy_options::overwrite_existing);
  StringResourceLibrary renamed;
  EXPECT_TRUE(renamed.load(locator("renamed.bin")));
  StringResourceLibrary missing;
  EXPECT_FALSE(missing.load(locator("renamed")));
  EXPECT_EQ(missing.hrLastError(), modNotFound);
  fs::remove(basalt::test::modulePath("renamed.bin"));
}

TEST(SharedLibrary, LastFailureStaysUntilTheNextFailure) {
  StringResourceLibrary library;
  EXPECT_FALSE(library.load(locator("strings_201_FRA")));
  EXPECT_FALSE(library.isLoaded());
  EXPECT_EQ(library.hrLastError(), modNotFound);
  const KELPString notFound = library.lastError();
  EXPECT_EQ(notFound, text("The specified module could not be found."));

  ASSERT_TRUE(library.load(locator("strings_201_xx")));
  EXPECT_EQ(library.lastError(), notFound);
  EXPECT_EQ(library.hrLastError(), modNotFound);

  EXPECT_FALSE(library.load(locator("strings_201_ENU")));
  EXPECT_EQ(library.lastError(), text("Library already loaded"));
  EXPECT_EQ(library.hrLastError(), static_cast<plat::LONG>(0x80004005u));
  KELPString neutral;
  EXPECT_TRUE(library.getString(1, neutral)); // still the first module
  EXPECT_EQ(neutral, text("Neutral hello"));

  library.unload();
  library.unload();
  EXPECT_FALSE(library.isLoaded());
  EXPECT_EQ(library.lastError(), text("Library already loaded"));
}

TEST(SharedLibrary, SecondTryFindsTheBareNameThroughTheSearch) {
  const fs::path before = fs::current_path();
  fs::current_path(basalt::test::modulesDirectory());
  StringResourceLibrary library;
  const bool loaded = library.load(locator("strings_201_DEU", text("C:\\nowhere")));
  fs::current_path(before);
  ASSERT_TRUE(loaded);
  KELPString german;
  EXPECT_TRUE(library.getString(1, german));
  EXPECT_EQ(german, KELPString(reinterpret_cast<const unsigned short*>(u"Schöne Grüße")));
}

TEST(SharedLibrary, FindSymbolRecordsTheMiss) {
  SharedLibrary plugin;
  EXPECT_EQ(plugin.findSymbol(text("basalt_test_plugin_answer")), nullptr);
  EXPECT_EQ(plugin.hrLastError(), procNotFound);
  EXPECT_EQ(plugin.lastError(), text("The specified procedure could not be found."));

  ASSERT_TRUE(plugin.load(locator("test_plugin.so")));
  using Answer = int (*)();
  const auto answer =
      reinterpret_cast<Answer>(plugin.findSymbol(text("basalt_test_plugin_answer")));
  ASSERT_NE(answer, nullptr);
  EXPECT_EQ(answer(), 42);
  EXPECT_EQ(plugin.findSymbol(text("no_such_symbol")), nullptr);
  EXPECT_EQ(plugin.hrLastError(), procNotFound);
}

TEST(StringResourceLibrary, GetStringCutsAt511) {
  StringResourceLibrary library;
  ASSERT_TRUE(library.load(locator("strings_201_ENU.dll")));
  KELPString found(text("old"));
  EXPECT_TRUE(library.getString(100, found));
  EXPECT_EQ(found.size(), 511u);
  EXPECT_TRUE(library.getString(101, found));
  EXPECT_EQ(found.size(), 511u);
  EXPECT_NE(found.back(), 'Z');
  EXPECT_TRUE(library.getString(0xC2011F00u, found));
  EXPECT_EQ(found, text("Structured exception in %1"));
  EXPECT_FALSE(library.getString(2, found)); // empty in the table
  EXPECT_TRUE(found.empty());

  StringResourceLibrary unloaded;
  found = text("old");
  EXPECT_FALSE(unloaded.getString(1, found));
  EXPECT_TRUE(found.empty());
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
