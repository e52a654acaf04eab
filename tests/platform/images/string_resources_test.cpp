// LoadStringW on real resource DLLs built by llvm-rc, llvm-cvtres and lld-link: what
// StringResourceLibrary can't show of it. The rest is checked through it in tests/system.

#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/images/loaded_modules.h"
#include "basalt/platform/images/string_resources.h"
#include "modules/test_modules.h"

#include <gtest/gtest.h>
#include <string>

namespace plat = basalt::platform;
using basalt::test::modulePath;
using basalt::test::units;

namespace {

plat::HMODULE load(const std::string& path) {
  return plat::LoadLibraryW(units(path).c_str());
}

// StringResourceLibrary turns each of these into a plain failure.
TEST(LoadStringW, ReportsWhatIsMissing) {
  const plat::HMODULE messages = load(modulePath("strings_201_ENU.dll"));
  const plat::HMODULE noStrings = load(modulePath("no_strings.dll"));
  const plat::HMODULE plugin = load(modulePath("test_plugin.so"));
  ASSERT_TRUE(messages != nullptr && noStrings != nullptr && plugin != nullptr);
  plat::WCHAR buffer[8];
  const struct {
    const char* what;
    plat::HMODULE module;
    plat::UINT id;
    plat::DWORD error;
  } cases[] = {
      {"gap in a block", messages, 4, plat::ERROR_RESOURCE_NAME_NOT_FOUND},
      {"empty string", messages, 2, plat::ERROR_RESOURCE_NAME_NOT_FOUND},
      {"missing block", messages, 50, plat::ERROR_RESOURCE_NAME_NOT_FOUND},
      {"no string tables", noStrings, 1, plat::ERROR_RESOURCE_TYPE_NOT_FOUND},
      {"main program", nullptr, 1, plat::ERROR_RESOURCE_DATA_NOT_FOUND},
      {"ELF object", plugin, 1, plat::ERROR_RESOURCE_DATA_NOT_FOUND},
      {"not a module", reinterpret_cast<plat::HMODULE>(buffer), 1, plat::ERROR_INVALID_HANDLE},
  };
  for (const auto& c : cases) {
    plat::SetLastError(0);
    buffer[0] = 'x';
    EXPECT_EQ(plat::LoadStringW(c.module, c.id, buffer, 8), 0) << c.what;
    EXPECT_EQ(buffer[0], 0) << c.what;
    EXPECT_EQ(plat::GetLastError(), c.error) << c.what;
  }
  for (const plat::HMODULE module : {messages, noStrings, plugin}) {
    plat::FreeLibrary(module);
  }
}

TEST(LoadStringW, ChoosesNeutralThenUserThenUsEnglishThenFirst) {
  const plat::HMODULE library = load(modulePath("languages.dll"));
  ASSERT_NE(library, nullptr);
  const plat::PeImage& image = *plat::findLoadedModule(library)->image();
  const auto lookUp = [&](plat::UINT id, plat::LANGID user) {
    const plat::WCHAR* text = nullptr;
    std::size_t length = 0;
    EXPECT_EQ(plat::findStringResource(image, id, user, text, length), plat::ERROR_SUCCESS);
    return std::u16string(text, text + length);
  };
  EXPECT_EQ(lookUp(1, 0x0407), u"de");
  EXPECT_EQ(lookUp(1, 0x040C), u"fr");
  EXPECT_EQ(lookUp(1, 0x0C0C), u"en"); // French (Canada) isn't there
  EXPECT_EQ(lookUp(16, 0x0407), u"neutral");
  EXPECT_EQ(lookUp(32, 0x0411), u"ja");
  EXPECT_EQ(lookUp(32, 0x0407), u"fr"); // the table with the lowest language comes first
  plat::FreeLibrary(library);
}

} // namespace
