// One crash report of a 20-frame stack, appended to a file in a scratch directory. The
// reference is glibc's backtrace() with backtrace_symbols_fd() into a file: addresses and
// exported names only, where the report also lists the modules and reads full symbol tables.

#include "basalt/crash/stack_report.h"

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <execinfo.h>
#include <fcntl.h>
#include <filesystem>
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

__attribute__((noinline)) void backtraceAtBottom(int fd) {
  void* frames[64];
  const int count = backtrace(frames, 64);
  backtrace_symbols_fd(frames, count, fd);
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

// The frames below main's: the benchmark's own callers count towards the 20.
void BasaltStackReport(benchmark::State& state) {
  const ScratchTemp temp;
  for (auto _ : state) {
    descend(depth - 8, [] { reportAtBottom(); });
  }
  state.counters["bytes"] =
      static_cast<double>(std::filesystem::file_size(temp.file("LowmarshTrace.log"))) /
      static_cast<double>(state.iterations());
}
BENCHMARK(BasaltStackReport);

void GlibcBacktraceSymbols(benchmark::State& state) {
  const ScratchTemp temp;
  const int fd = ::open(temp.file("backtrace.log").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
  for (auto _ : state) {
    descend(depth - 8, [fd] { backtraceAtBottom(fd); });
  }
  ::close(fd);
  state.counters["bytes"] =
      static_cast<double>(std::filesystem::file_size(temp.file("backtrace.log"))) /
      static_cast<double>(state.iterations());
}
BENCHMARK(GlibcBacktraceSymbols);

} // namespace
