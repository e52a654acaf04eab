#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/registry/registry.h"
#include "basalt/platform/registry/registry_store.h"
#include "support/registry_sandbox.h"

#include <atomic>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>

namespace basalt::platform {
namespace {

using basalt::testing::RegistrySandbox;

using basalt::test::w;

std::string v5(const std::string& body) {
  return "Windows Registry Editor Version 5.00\r\n\r\n" + body;
}

std::u16string code(LONG status) {
  const std::string text = "<code " + std::to_string(status) + ">";
  return {text.begin(), text.end()};
}

// The text of a value read through key; "<code N>" when the read fails.
std::u16string textOf(HKEY key, const char16_t* value) {
  WCHAR buffer[64] = {};
  DWORD size = sizeof(buffer);
  const LONG status =
      RegQueryValueExW(key, w(value), nullptr, nullptr, reinterpret_cast<BYTE*>(buffer), &size);
  return status == ERROR_SUCCESS ? reinterpret_cast<const char16_t*>(buffer) : code(status);
}

// The same through a fresh open of HKLM\path; "<code N>" when the open fails.
std::u16string readText(const char16_t* path, const char16_t* value) {
  HKEY key = nullptr;
  const LONG status = RegOpenKeyExW(HKEY_LOCAL_MACHINE, w(path), 0, KEY_READ, &key);
  if (status != ERROR_SUCCESS) {
    return code(status);
  }
  std::u16string text = textOf(key, value);
  RegCloseKey(key);
  return text;
}

TEST(Registry, FailuresGiveWindowsCodes) {
  RegistrySandbox sandbox;
  // No source is an empty registry, and so are the default files where there are none.
  EXPECT_EQ(readText(u"A", u""), u"<code 2>");
  struct stat status {};
  if (::stat("/etc/basalt", &status) != 0) {
    ::unsetenv("BASALT_REGISTRY");
    EXPECT_EQ(readText(u"A", u""), u"<code 2>");
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
  HKEY key = nullptr;
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
  EXPECT_EQ(RegCloseKey(HKEY_LOCAL_MACHINE), ERROR_SUCCESS);
  EXPECT_TRUE(sandbox.events().empty());
}

// Events go out once per version of a file; the tools' inspection tells the problems every
// time it is asked.
TEST(Registry, BadLinesAndUnreadableFilesAreReportedOnceAndListedEachTime) {
  RegistrySandbox sandbox;
  const std::string bad = sandbox.write(
      "bad.reg", v5("[HKLM\\R]\r\n\"v\"=\"kept\"\r\n\"w\"=dword:xyz\r\n\"u\"=\"also kept\"\r\n"));
  sandbox.write("conf.d/10-good.reg", v5("[HKLM\\R]\r\n\"g\"=\"good\"\r\n"));
  const std::string plain = sandbox.write("conf.d/20-plain.reg", "[HKLM\\R]\r\n\"v\"=\"lost\"\r\n");
  ASSERT_EQ(::mkfifo(sandbox.path("pipe.reg").c_str(), 0600), 0);
  sandbox.useSources("bad.reg:missing.reg:pipe.reg:conf.d");

  EXPECT_EQ(readText(u"R", u"v"), u"kept");
  EXPECT_EQ(readText(u"R", u"u"), u"also kept");
  const std::string notRegistry = "not a registry file: the first line must be \"Windows "
                                  "Registry Editor Version 5.00\" or \"REGEDIT4\"";
  const std::string cantOpen = "the file can't be opened: No such file or directory";
  const std::vector<std::optional<std::string>> strings[] = {
      {bad, "5", "dword: needs 1 to 8 hexadecimal digits"},
      {sandbox.path("missing.reg"), cantOpen},
      {sandbox.path("pipe.reg"), "not a regular file"},
      {plain, "1", notRegistry}};
  const auto events = sandbox.events();
  ASSERT_EQ(events.size(), 4u);
  for (std::size_t i = 0; i < events.size(); ++i) {
    const bool line = events[i].strings.size() == 3;
    EXPECT_EQ(events[i].source, "basalt registry");
    EXPECT_EQ(events[i].type, line ? "warning" : "error");
    EXPECT_EQ(events[i].category, 0u);
    EXPECT_EQ(events[i].event, line ? registryLineSkippedEvent : registryFileUnreadableEvent);
    EXPECT_EQ(events[i].strings, strings[i]);
  }

  // The inspection lists the same problems however often it is asked.
  for (int i = 0; i < 2; ++i) {
    std::size_t problems = 0;
    for (const RegistrySource& source : inspectRegistry().sources) {
      problems += source.problems.size();
    }
    EXPECT_EQ(problems, 4u);
  }
  EXPECT_EQ(sandbox.events().size(), 4u);
}

TEST(Registry, ReadersOnManyThreadsSeeWholeVersionsWhileTheFileIsReplaced) {
  RegistrySandbox sandbox;
  const auto version = [](int n) {
    std::string body = "[HKLM\\Shared]\r\n";
    for (int i = 0; i < 10; ++i) {
      body += "\"v" + std::to_string(i) + "\"=\"" + std::to_string(n) + "\"\r\n";
    }
    return v5(body);
  };
  sandbox.write("r.reg", version(0), 1);
  sandbox.useSources("r.reg");
  std::atomic<bool> stop{false};
  std::atomic<int> failures{0};
  std::vector<std::thread> readers;
  readers.reserve(4);
  for (int t = 0; t < 4; ++t) {
    readers.emplace_back([&] {
      while (!stop) {
        HKEY key = nullptr;
        if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, w(u"Shared"), 0, KEY_READ, &key) != ERROR_SUCCESS) {
          ++failures;
          continue;
        }
        // One handle, one version.
        const std::u16string first = textOf(key, u"v0");
        failures += textOf(key, u"v5") != first || textOf(key, u"v9") != first ? 1 : 0;
        RegCloseKey(key);
      }
    });
  }
  for (int n = 1; n <= 40; ++n) {
    // Replaced whole, as an editor saves, so a reader never meets half a file.
    sandbox.write("next.reg", version(n), n + 1);
    std::filesystem::rename(sandbox.path("next.reg"), sandbox.path("r.reg"));
  }
  stop = true;
  for (auto& reader : readers) {
    reader.join();
  }
  EXPECT_EQ(failures, 0);
  EXPECT_EQ(readText(u"Shared", u"v9"), u"40");
  EXPECT_TRUE(sandbox.events().empty());
}

} // namespace
} // namespace basalt::platform
