// One crash report of a 20-frame stack whose frames each have locals, appended to a file in a
// scratch directory. The reference is glibc's backtrace() with backtrace_symbols_fd() into a
// file: addresses and exported names only, where the report also lists the modules, reads full
// symbol tables and the DWARF of the frames' module, and prints the frames' variables.
// Built with -g: the variables' lines are part of the report measured.

#include "basalt/crash/stack_report.h"
#include "basalt/platform/runtime/structured_exceptions.h"

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <execinfo.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace plat = basalt::platform;

constexpr int depth = 20;

// A report is skipped for the context of the last one: two contexts take turns.
plat::CONTEXT contexts[2];
int turn = 0;

__attribute__((noinline)) void reportAtBottom() {
  plat::CONTEXT& context = contexts[turn ^= 1];
  plat::RtlCaptureContext(&context);
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

// Each level keeps two locals in its frame for the report to show.
template <class Bottom> __attribute__((noinline)) void descend(int level, const Bottom& bottom) {
  volatile int depth = level;
  volatile double share = level / 20.0;
  if (depth == 0) {
    bottom();
  } else {
    descend(level - 1, bottom);
  }
  asm volatile("" : : "r"(share));
}

std::size_t countOf(const std::string& text, const char* part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++count;
  }
  return count;
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

// A new modification time makes the next report read this program's symbol table and DWARF
// again, as the first report of a process does.
void touchProgram() {
  const timespec now[2] = {{0, UTIME_NOW}, {0, UTIME_NOW}};
  ::utimensat(AT_FDCWD, "/proc/self/exe", now, 0);
}

// The frames of the stack that the report shows are counted in "frames". Argument 1: every
// report is a first.
void BasaltStackReport(benchmark::State& state) {
  const ScratchTemp temp;
  for (auto _ : state) {
    if (state.range(0) != 0) {
      state.PauseTiming();
      touchProgram();
      state.ResumeTiming();
    }
    descend(depth - 3, [] { reportAtBottom(); });
  }
  std::ifstream file(temp.file("LowmarshTrace.log"), std::ios::binary);
  const std::string report((std::istreambuf_iterator<char>(file)),
                           std::istreambuf_iterator<char>());
  const std::size_t frames = countOf(report, "\nFrame FV IP");
  const auto iterations = static_cast<double>(state.iterations());
  state.counters["bytes"] = static_cast<double>(report.size()) / iterations;
  state.counters["frames"] = static_cast<double>(frames) / iterations;
  state.counters["variables"] = static_cast<double>(countOf(report, "\n\t\t")) / iterations;
}
BENCHMARK(BasaltStackReport)->ArgName("first")->Arg(0)->Arg(1);

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
