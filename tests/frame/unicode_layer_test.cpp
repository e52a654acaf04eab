// The Unicode layer is looked for under the product's registered root first, then by the
// default search, with real registry files and a real module file named unicows.dll.

#include "basalt/frame/unicode_layer.h"
#include "basalt/platform/images/loaded_modules.h"
#include "modules/test_modules.h"
#include "support/registry_sandbox.h"
#include "tests/support/scratch_directory.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <string>

namespace plat = basalt::platform;
using basalt::test::libraryForm;

namespace {

class UnicodeLayer : public ::testing::Test {
protected:
  void placeLayer(const std::string& directory) const {
    std::filesystem::create_directories(sandbox.path(directory));
    std::filesystem::copy_file(basalt::test::modulePath("strings_201_ENU.dll"),
                               sandbox.path(directory) + "/unicows.dll");
  }

  // The file the layer loaded from, in the system's form; empty for none.
  std::string loadedWithRoot(const std::string& root) const {
    std::string escaped;
    for (const char c : libraryForm(root)) {
      escaped += c == '\\' ? std::string("\\\\") : std::string(1, c);
    }
    sandbox.write("product.reg",
                  "REGEDIT4\n\n[HKEY_LOCAL_MACHINE\\Software\\Corvane Holdings\\10.0\\Corvane "
                  "Cubeview Professional\\Common]\n\"root\"=\"" +
                      escaped + "\"\n");
    sandbox.useSources("product.reg");
    const plat::HMODULE layer = basalt::frame::loadUnicodeLayer();
    if (layer == nullptr) {
      return {};
    }
    std::string path = plat::findLoadedModule(layer)->path();
    plat::FreeLibrary(layer);
    return path;
  }

  basalt::testing::RegistrySandbox sandbox;
  const basalt::test::EnvironmentVariable libraryPath{"LD_LIBRARY_PATH",
                                                      sandbox.path("searched").c_str()};
};

// The root is joined to the name with nothing between: without its separator it names
// "rootunicows.dll", which isn't there, and the search takes over as it does for a root
// without the layer.
TEST_F(UnicodeLayer, RootWinsOverTheSearchOnlyWithItsSeparatorAndItsLayer) {
  EXPECT_EQ(basalt::frame::loadUnicodeLayer(), nullptr); // no root and no layer
  placeLayer("root");
  placeLayer("searched");
  EXPECT_EQ(loadedWithRoot(sandbox.path("root") + "/"), sandbox.path("root") + "/unicows.dll");
  EXPECT_EQ(loadedWithRoot(sandbox.path("root")), sandbox.path("searched") + "/unicows.dll");
  EXPECT_EQ(loadedWithRoot(sandbox.path("searched") + "/../empty/"),
            sandbox.path("searched") + "/unicows.dll");
}

} // namespace
