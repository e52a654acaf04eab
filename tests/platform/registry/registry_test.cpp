// What RegistryWrapper can't ask for: its opens are all from a root, for reading.

#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/registry/registry.h"
#include "support/registry_sandbox.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace basalt::platform {
namespace {

using basalt::test::w;

std::string v5(const std::string& body) {
  return "Windows Registry Editor Version 5.00\r\n\r\n" + body;
}

TEST(Registry, FailuresGiveWindowsCodes) {
  basalt::testing::RegistrySandbox sandbox;
  // No source is an empty registry, and so are the default files where there are none.
  HKEY key = nullptr;
  EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, w(u"A"), 0, KEY_READ, &key), ERROR_FILE_NOT_FOUND);
  struct stat status {};
  if (::stat("/etc/basalt", &status) != 0) {
    ::unsetenv("BASALT_REGISTRY");
    EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, w(u"A"), 0, KEY_READ, &key), ERROR_FILE_NOT_FOUND);
  }
  sandbox.write("r.reg", v5("[HKLM\\A\\B]\r\n\"v\"=\"x\"\r\n"));
  sandbox.useSources("r.reg");
  const HKEY badRoot = reinterpret_cast<HKEY>(std::uintptr_t{0x80000004});
  const struct {
    HKEY root;
    const char16_t* path;
    DWORD options;
    REGSAM access;
    LONG code;
  } opens[] = {
      {HKEY_LOCAL_MACHINE, u"A\\\\B", 0, KEY_READ, ERROR_INVALID_PARAMETER},
      {HKEY_LOCAL_MACHINE, u"A", 0, KEY_SET_VALUE, ERROR_ACCESS_DENIED},
      {HKEY_LOCAL_MACHINE, u"A", 1, KEY_READ, ERROR_INVALID_PARAMETER},
      {badRoot, nullptr, 0, KEY_READ, ERROR_INVALID_HANDLE},
  };
  for (const auto& o : opens) {
    key = reinterpret_cast<HKEY>(1);
    EXPECT_EQ(RegOpenKeyExW(o.root, w(o.path), o.options, o.access, &key), o.code) << o.code;
  }
  EXPECT_EQ(key, nullptr);
  EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, w(u"A"), 0, KEY_READ, nullptr),
            ERROR_INVALID_PARAMETER);

  ASSERT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, w(u"A\\B\\"), 0, KEY_READ, &key), ERROR_SUCCESS);
  DWORD size = 16;
  DWORD reserved = 0;
  EXPECT_EQ(RegQueryValueExW(key, w(u"v"), &reserved, nullptr, nullptr, &size),
            ERROR_INVALID_PARAMETER);
  EXPECT_EQ(RegQueryValueExW(key, w(u"v"), nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
  HKEY sub = nullptr;
  sandbox.write("r.reg", v5("[HKLM\\Other]\r\n"));
  EXPECT_EQ(RegOpenKeyExW(key, w(u"C"), 0, KEY_READ, &sub), ERROR_KEY_DELETED);
  EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);

  EXPECT_EQ(RegCloseKey(key), ERROR_INVALID_HANDLE);
  EXPECT_EQ(RegQueryValueExW(key, w(u"v"), nullptr, nullptr, nullptr, &size), ERROR_INVALID_HANDLE);
  EXPECT_TRUE(sandbox.events().empty());
}

} // namespace
} // namespace basalt::platform
