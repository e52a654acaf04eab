// One crash report of a 20-frame stack, appended to a file in a scratch directory. The
// reference is glibc's backtrace() with backtrace_symbols_fd() into a file: addresses and
// exported names only, where the report also lists the modules and reads full symbol tables.

#include "basalt/crash/stack_report.h"

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <execinfo.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>

namespace {

namespace plat = basalt::platform;

constexpr int depth = 20;

// A report is skipped for the context of the last one: two contexts take turns.
plat::CONTEXT contexts[2];
int turn = 0;

__attribute__((noinline)) void reportAtBottom() {
  plat::CONTEXT& context = contexts[turn ^= 1];
  context.Rip = reinterpret_cast<plat::DWORD64>(&reportAtBottom);
  context.Rbp = reinterpret_cast<plat::DWORD64>(__builtin_frame_address(0));
  context.Rsp = context.Rbp;
  basalt::crash::writeStackReport(&context);
  asm volatile("");
}

int backtraceFrames = 0;

__attribute__((noinline)) void backtraceAtBottom(int fd) {
  void* frames[64];
  backtraceFrames = backtrace(frames, 64);
  backtrace_symbols_fd(frames, backtraceFrames, fd);
  asm volatile("");
}

template <class Bottom> __attribute__((noinline)) void descend(int level, const Bottom& bottom) {
  if (level == 0) {
    bottom();
  } else {
    descend(level - 1, bottom);
  }
  asm volatile("");
}

class ScratchTemp {
public:
  ScratchTemp() {
    std::string pattern = (std::filesystem::temp_directory_path() / "crash-bench-XXXXXX").string();
    directory = ::mkdtemp(pattern.data());
    previous = std::getenv("TMPDIR") != nullptr ? std::getenv("TMPDIR") : "";
    ::setenv("TMPDIR", directory.c_str(), 1);
  }
  ~ScratchTemp() {
    previous.empty() ? ::unsetenv("TMPDIR") : ::setenv("TMPDIR", previous.c_str(), 1);
    std::filesystem::remove_all(directory);
  }
  ScratchTemp(const ScratchTemp&) = delete;
  ScratchTemp& operator=(const ScratchTemp&) = delete;
  std::string file(const char* name) const { return directory + "/" + name; }

private:
  std::string directory;
  std::string previous;
};

// The report's walk ends in the benchmark library, which has no frame pointers; the frames
// of the stack both sides see are counted in "frames".
void BasaltStackReport(benchmark::State& state) {
  const ScratchTemp temp;
  for (auto _ : state) {
    descend(depth - 3, [] { reportAtBottom(); });
  }
  std::ifstream file(temp.file("LowmarshTrace.log"), std::ios::binary);
  const std::string report((std::istreambuf_iterator<char>(file)),
                           std::istreambuf_iterator<char>());
  std::size_t frames = 0;
  for (std::size_t at = report.find("\nFrame FV IP"); at != std::string::npos;
       at = report.find("\nFrame FV IP", at + 1)) {
    ++frames;
  }
  const auto iterations = static_cast<double>(state.iterations());
  state.counters["bytes"] = static_cast<double>(report.size()) / iterations;
  state.counters["frames"] = static_cast<double>(frames) / iterations;
}
BENCHMARK(BasaltStackReport);

void GlibcBacktraceSymbols(benchmark::State& state) {
  const ScratchTemp temp;
  const int fd = ::open(temp.file("backtrace.log").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
  for (auto _ : state) {
    descend(depth - 3, [fd] { backtraceAtBottom(fd); });
  }
  ::close(fd);
  state.counters["bytes"] =
      static_cast<double>(std::filesystem::file_size(temp.file("backtrace.log"))) /
      static_cast<double>(state.iterations());
  state.counters["frames"] = backtraceFrames;
}
BENCHMARK(GlibcBacktraceSymbols);

} // namespace
