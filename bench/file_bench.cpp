// Text files and directory listings of the library against C stdio, glibc's own wide reading
// and std::filesystem, on the same files.

#include "basalt/system/file.h"
#include "basalt/system/file_locator.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <clocale>
#include <cstdio>
#include <cwchar>
#include <filesystem>
#include <fstream>
#include <locale.h>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

// One directory for the whole run: a log to write, a text to read, files to list.
class Scratch {
public:
  Scratch() {
    std::string pattern = (fs::temp_directory_path() / "basalt-bench-XXXXXX").string();
    root = ::mkdtemp(pattern.data());
    std::ofstream text(root / "text.txt", std::ios::binary);
    for (int i = 0; i < 20000; ++i) {
      text << "Line " << i << ": caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80 plain ASCII text\n";
    }
    fs::create_directory(root / "list");
    for (int i = 0; i < 1000; ++i) {
      std::ofstream(root / "list" / ("file" + std::to_string(i) + (i % 2 == 0 ? ".txt" : ".log")));
    }
  }
  ~Scratch() { fs::remove_all(root); }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  // The path in the library's form.
  static KELPString library(const fs::path& path) {
    std::string text = path.string();
    std::replace(text.begin(), text.end(), '/', '\\');
    return KELPString(text.c_str());
  }

  fs::path root;
};

Scratch& scratch() {
  static Scratch instance;
  return instance;
}

const char* const lineUtf8 =
    "Wed Jan 01 12:00:00.000: basalt: caf\xC3\xA9 message text with inserts 42";

void BM_FileWriteLine(benchmark::State& state) {
  File file(basalt::FileLocator(Scratch::library(scratch().root / "basalt.log")));
  file.open("w+");
  const KELPString line(lineUtf8);
  while (state.KeepRunning()) {
    file.writeLine(line);
  }
}
BENCHMARK(BM_FileWriteLine);

void BM_StdioFputsFlush(benchmark::State& state) {
  std::FILE* file = std::fopen((scratch().root / "stdio.log").c_str(), "w+");
  const std::string line = std::string(lineUtf8) + "\n";
  while (state.KeepRunning()) {
    std::fputs(line.c_str(), file);
    std::fflush(file);
  }
  std::fclose(file);
}
BENCHMARK(BM_StdioFputsFlush);

void BM_FileReadToEOF(benchmark::State& state) {
  while (state.KeepRunning()) {
    File file(basalt::FileLocator(Scratch::library(scratch().root / "text.txt")));
    file.open("r");
    KELPString text;
    file.readToEOF(text);
    benchmark::DoNotOptimize(text.data());
  }
}
BENCHMARK(BM_FileReadToEOF)->Unit(benchmark::kMillisecond);

void BM_GlibcFgetwc(benchmark::State& state) {
  const locale_t utf8 = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  const locale_t previous = ::uselocale(utf8);
  while (state.KeepRunning()) {
    std::FILE* file = std::fopen((scratch().root / "text.txt").c_str(), "r");
    std::wstring text;
    for (std::wint_t c = std::fgetwc(file); c != WEOF; c = std::fgetwc(file)) {
      text.push_back(static_cast<wchar_t>(c));
    }
    std::fclose(file);
    benchmark::DoNotOptimize(text.data());
  }
  ::uselocale(previous);
  ::freelocale(utf8);
}
BENCHMARK(BM_GlibcFgetwc)->Unit(benchmark::kMillisecond);

void BM_FileLocatorListFiles(benchmark::State& state) {
  const basalt::FileLocator locator(Scratch::library(scratch().root / "list" / "*.txt"));
  while (state.KeepRunning()) {
    std::vector<KELPString> names;
    locator.listFiles(names, 1);
    benchmark::DoNotOptimize(names.data());
  }
}
BENCHMARK(BM_FileLocatorListFiles)->Unit(benchmark::kMicrosecond);

void BM_FilesystemDirectoryIterator(benchmark::State& state) {
  const fs::path directory = scratch().root / "list";
  while (state.KeepRunning()) {
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
      if (entry.path().extension() == ".txt") {
        names.push_back(entry.path().stem().string());
      }
    }
    std::sort(names.begin(), names.end());
    benchmark::DoNotOptimize(names.data());
  }
}
BENCHMARK(BM_FilesystemDirectoryIterator)->Unit(benchmark::kMicrosecond);

} // namespace
