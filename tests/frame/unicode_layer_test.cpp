// The Unicode layer is looked for under the product's registered root first, then by the
// default search, with real registry files and a real module file named unicows.dll.

#include "../modules/test_modules.h"
#include "../support/registry_sandbox.h"
#include "basalt/frame/unicode_layer.h"
#include "basalt/platform/loaded_modules.h"

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>

namespace plat = basalt::platform;

namespace {

class UnicodeLayer : public ::testing::Test {
protected:
  UnicodeLayer() {
    const char* saved = std::getenv("LD_LIBRARY_PATH");
    savedLibraryPath = saved != nullptr ? saved : "";
    std::filesystem::create_directories(sandbox.path("root"));
    std::filesystem::create_directories(sandbox.path("searched"));
    ::setenv("LD_LIBRARY_PATH", sandbox.path("searched").c_str(), 1);
  }
  ~UnicodeLayer() override { ::setenv("LD_LIBRARY_PATH", savedLibraryPath.c_str(), 1); }

  void placeLayer(const std::string& directory) const {
    std::filesystem::copy_file(basalt::test::modulePath("strings_201_ENU.dll"),
                               sandbox.path(directory) + "/unicows.dll");
  }

  void registerRoot(const std::string& root) const {
    std::string escaped;
    for (const char c : root) {
      escaped += c == '\\' ? std::string("\\\\") : std::string(1, c);
    }
    sandbox.write("product.reg",
                  "REGEDIT4\n\n[HKEY_LOCAL_MACHINE\\Software\\Corvane Holdings\\10.0\\Corvane "
                  "Cubeview Professional\\Common]\n\"root\"=\"" +
                      escaped + "\"\n");
    sandbox.useSources("product.reg");
  }

  // The file a loaded layer came from, in the system's form; empty for none.
  static std::string loadedFrom(plat::HMODULE layer) {
    if (layer == nullptr) {
      return {};
    }
    const std::string path = plat::findLoadedModule(layer)->path();
    plat::FreeLibrary(layer);
    return path;
  }

  static std::string libraryForm(std::string path) {
    for (char& c : path) {
      c = c == '/' ? '\\' : c;
    }
    return path;
  }

  basalt::testing::RegistrySandbox sandbox;
  std::string savedLibraryPath;
};

TEST_F(UnicodeLayer, RootWithItsSeparatorWinsOverTheSearch) {
  placeLayer("root");
  placeLayer("searched");
  registerRoot(libraryForm(sandbox.path("root")) + "\\");
  EXPECT_EQ(loadedFrom(basalt::frame::loadUnicodeLayer()), sandbox.path("root") + "/unicows.dll");
}

TEST_F(UnicodeLayer, RootWithoutSeparatorOrWithoutLayerFallsBackToTheSearch) {
  placeLayer("root");
  placeLayer("searched");
  // Joined with nothing between, so this names "rootunicows.dll", which isn't there.
  registerRoot(libraryForm(sandbox.path("root")));
  EXPECT_EQ(loadedFrom(basalt::frame::loadUnicodeLayer()),
            sandbox.path("searched") + "/unicows.dll");

  registerRoot(libraryForm(sandbox.path("searched")) + "\\..\\empty\\");
  EXPECT_EQ(loadedFrom(basalt::frame::loadUnicodeLayer()),
            sandbox.path("searched") + "/unicows.dll");
}

TEST_F(UnicodeLayer, NothingFoundGivesNull) {
  sandbox.useSources("");
  EXPECT_EQ(basalt::frame::loadUnicodeLayer(), nullptr);
}

} // namespace
