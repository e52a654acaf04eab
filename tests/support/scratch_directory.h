#ifndef BASALT_TESTS_SUPPORT_SCRATCH_DIRECTORY_H
#define BASALT_TESTS_SUPPORT_SCRATCH_DIRECTORY_H

// A fresh directory under the system's temporary directory, removed with everything in it
// when the object goes, and the few helpers that tests of files need around it.

#include "basalt/platform/base/utf8.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>

namespace basalt::test {

// A path with '\' for '/', as the library spells paths.
inline std::string libraryForm(std::string path) {
  for (char& c : path) {
    c = c == '/' ? '\\' : c;
  }
  return path;
}

inline std::string fileBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

class ScratchDirectory {
public:
  ScratchDirectory() {
    std::string pattern = (std::filesystem::temp_directory_path() / "basalt-XXXXXX").string();
    if (::mkdtemp(pattern.data()) != nullptr) {
      path_ = pattern;
    }
  }
  ~ScratchDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;

  const std::filesystem::path& path() const { return path_; }

  // The path of name inside the directory, as the OS spells it.
  std::string os(std::string_view name) const { return (path_ / name).string(); }

  // The same path in the library's form: '\' for '/'.
  std::string library(std::string_view name) const { return libraryForm(os(name)); }

  void write(std::string_view name, std::string_view bytes) const {
    std::ofstream(path_ / name, std::ios::binary) << bytes;
  }

  std::string read(std::string_view name) const { return fileBytes(os(name)); }

private:
  std::filesystem::path path_;
};

// Sets or removes an environment variable for one test and puts back what was there.
class EnvironmentVariable {
public:
  EnvironmentVariable(const char* name, const char* value) : name(name) {
    if (const char* old = std::getenv(name)) {
      saved = old;
    }
    set(value);
  }
  ~EnvironmentVariable() { set(saved ? saved->c_str() : nullptr); }
  EnvironmentVariable(const EnvironmentVariable&) = delete;
  EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;

private:
  void set(const char* value) const {
    value != nullptr ? ::setenv(name.c_str(), value, 1) : ::unsetenv(name.c_str());
  }

  std::string name;
  std::optional<std::string> saved;
};

using Units = std::basic_string<unsigned short>;

// Wide text from a UTF-16 literal, for the library's 16-bit units.
inline Units units(std::u16string_view text) {
  return Units(text.begin(), text.end());
}

// A UTF-16 literal as the 16-bit units the layer takes, for the length of the call.
inline const unsigned short* w(const char16_t* text) {
  return reinterpret_cast<const unsigned short*>(text);
}

// Wide text from UTF-8, and back; for names and paths that tests spell in UTF-8.
inline Units wide(const std::string& utf8) {
  Units out;
  basalt::platform::utf8::decodeAll(utf8, out);
  return out;
}

inline std::string narrow(const Units& text) {
  return basalt::platform::utf8::encode(text);
}

} // namespace basalt::test

#endif
