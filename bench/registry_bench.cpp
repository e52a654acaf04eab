// The registry's costs against the floors they stand on: a cached open-read-close against
// the open and fstat that the cache check needs, and parsing against splitting into lines.

#include "basalt/platform/registry/reg_file_parser.h"
#include "basalt/platform/registry/registry.h"

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace plat = basalt::platform;

namespace {

// A log configuration of the usual shape: a few dozen modules with a few components each.
std::string configuration(int modules) {
  std::string text = "Windows Registry Editor Version 5.00\r\n\r\n"
                     "[HKEY_LOCAL_MACHINE\\Software\\Corvane Holdings\\10.0\\TRELL(o)\\Log]\r\n"
                     "\"LogFile\"=\"basalt.log\"\r\n\"Overwrite\"=dword:00000001\r\n";
  for (int m = 0; m < modules; ++m) {
    const std::string module = "[HKEY_LOCAL_MACHINE\\Software\\Corvane Holdings\\10.0\\TRELL(o)"
                               "\\Log\\Modules\\Module" +
                               std::to_string(m);
    text += module + "]\r\n\"Verbosity\"=dword:00000004\r\n";
    for (int c = 0; c < 4; ++c) {
      text += module + "\\Components\\Component" + std::to_string(c) +
              "]\r\n\"Verbosity\"=dword:00000003\r\n\"Note\"=\"text with \\\\ and \\\" in it\"\r\n"
              "\"Data\"=hex:00,01,02,03,04,05,06,07,08,09,0a,0b,0c,0d,0e,0f,\\\r\n  10,11\r\n";
    }
  }
  return text;
}

class RegistryFile {
public:
  RegistryFile() {
    path = (std::filesystem::temp_directory_path() / "basalt-bench-registry.reg").string();
    std::ofstream(path, std::ios::binary) << configuration(40);
    ::setenv("BASALT_REGISTRY", path.c_str(), 1);
    ::setenv("BASALT_EVENTLOG", "", 1);
  }
  ~RegistryFile() { std::filesystem::remove(path); }
  std::string path;
};

const RegistryFile& registryFile() {
  static const RegistryFile file;
  return file;
}

const plat::WCHAR* wide(const char16_t* text) {
  return reinterpret_cast<const plat::WCHAR*>(text);
}

void BM_RegistryOpenQueryClose(benchmark::State& state) {
  registryFile();
  const auto* path = wide(u"Software\\Corvane Holdings\\10.0\\TRELL(o)\\Log\\Modules\\Module17"
                          u"\\Components\\Component2");
  for (auto _ : state) {
    plat::HKEY key = nullptr;
    plat::RegOpenKeyExW(plat::HKEY_LOCAL_MACHINE, path, 0, plat::KEY_READ, &key);
    plat::DWORD value = 0;
    plat::DWORD size = sizeof(value);
    plat::RegQueryValueExW(key, wide(u"verbosity"), nullptr, nullptr,
                           reinterpret_cast<plat::BYTE*>(&value), &size);
    plat::RegCloseKey(key);
    benchmark::DoNotOptimize(value);
  }
}
BENCHMARK(BM_RegistryOpenQueryClose);

// The floor of a cached open: the file is opened and its status read to see if it changed.
void BM_OpenFstatClose(benchmark::State& state) {
  const std::string& path = registryFile().path;
  for (auto _ : state) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    struct stat status {};
    ::fstat(fd, &status);
    ::close(fd);
    benchmark::DoNotOptimize(status.st_size);
  }
}
BENCHMARK(BM_OpenFstatClose);

void BM_ParseRegFile(benchmark::State& state) {
  const std::string text = configuration(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    benchmark::DoNotOptimize(plat::parseRegFile(text, 1252));
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_ParseRegFile)->Arg(40)->Arg(400);

// The floor of parsing: the same bytes split into lines by the standard library.
void BM_SplitLines(benchmark::State& state) {
  const std::string text = configuration(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    std::istringstream stream(text);
    std::size_t count = 0;
    for (std::string line; std::getline(stream, line);) {
      count += line.size();
    }
    benchmark::DoNotOptimize(count);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_SplitLines)->Arg(40)->Arg(400);

} // namespace

BENCHMARK_MAIN();
