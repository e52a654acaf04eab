#include "demo_threads.h"

#include "basalt/basalt.h"
#include "demo_environment.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <thread>

// How many faults the demo has caused: a global whose name begins with 'g' shows in the
// crash report's module block.
int gDemoFaults = 0;

namespace {

using basalt::FlaggedArg;

struct Range {
  long long first;
  long long last;
  std::atomic<long long> sum{0};
};

void* sumRange(FlaggedArg* arg) {
  auto* range = static_cast<Range*>(arg->data);
  long long sum = 0;
  for (long long n = range->first; n <= range->last; ++n) {
    sum += n;
  }
  range->sum = sum;
  delete arg; // a worker function owns its argument
  return nullptr;
}

// Runs until its worker's stop flag goes up.
void* waitForStop(FlaggedArg* arg) {
  std::atomic<bool>* started = static_cast<std::atomic<bool>*>(arg->data);
  *started = true;
  while (arg->flag->value() == 0) {
    std::this_thread::yield();
  }
  delete arg;
  return nullptr;
}

// Called through a pointer, so that the caller's call may throw whatever the compiler knows
// of the function: the fault leaves it as an exception. Sanitizer builds would report the
// write themselves before the processor faults. Its locals and the global below show in the
// report.
__attribute__((noinline, no_sanitize("address", "undefined"))) void writeThrough(int* target,
                                                                                 int attempt) {
  const char* what = "a write through a null pointer";
  double share = attempt / 4.0;
  *target = attempt + static_cast<int>(share) + what[0];
}
void (*volatile faultingWrite)(int*, int) = writeThrough;

class FaultingThread : public basalt::PavaneThread {
public:
  void* work(void*) override {
    try {
      ++gDemoFaults;
      faultingWrite(nullptr, 3);
      std::printf("the write went through?\n");
    } catch (const TRELL_o::AnyError& error) {
      caughtCode = error.code();
    }
    return nullptr;
  }

  unsigned int caughtCode = 0;
};

} // namespace

namespace demo {

void showThreadPool() {
  std::printf("\n== Thread pool ==\n");
  Range ranges[3];
  ranges[0].first = 1;
  ranges[0].last = 1000;
  ranges[1].first = 1001;
  ranges[1].last = 2000000;
  ranges[2].first = -50;
  ranges[2].last = 50;
  std::atomic<bool> started{false};
  {
    basalt::ThreadPool pool(2, 4, 3);
    basalt::ThreadRequester requester(&pool);
    for (Range& range : ranges) {
      requester.request(sumRange, new FlaggedArg(&range), nullptr, nullptr);
    }
    const std::uint32_t endless =
        requester.request(waitForStop, new FlaggedArg(&started), nullptr, nullptr);
    while (!started) {
      std::this_thread::yield();
    }
    requester.clearSingleRequest(endless); // raises the stop flag of its worker
    std::printf("request %u ran until it was cancelled\n", endless);
  } // the pool runs what is queued and waits for its workers
  for (const Range& range : ranges) {
    std::printf("sum of %lld..%lld = %lld\n", range.first, range.last, range.sum.load());
  }
}

void showCrashTranslation() {
  std::printf("\n== Crash translation ==\n");
  basalt::platform::JTCHandleT<FaultingThread> thread(new FaultingThread);
  thread->start_undetached();
  thread->join(nullptr);
  if (thread->caughtCode == 0) {
    std::printf("no error arrived: tracing is off (DoTrace under ...\\TRELL(o)\\Trace)\n");
    return;
  }
  std::printf("a write through a null pointer arrived as error 0x%08X\n", thread->caughtCode);
  const char* directory = std::getenv("TMPDIR");
  const std::string report =
      std::string(directory != nullptr ? directory : "/tmp") + "/LowmarshTrace.log";
  std::string contents;
  if (!readWholeFile(report, contents)) {
    std::printf("no report in %s\n", report.c_str());
    return;
  }
  std::printf("the frames of its report in %s, with their variables:\n", report.c_str());
  std::istringstream lines(contents);
  bool inFrames = false;
  for (std::string line; std::getline(lines, line);) {
    // The walk goes on into the C library's frames and globals: the demo's own part is enough.
    const std::size_t module = line.find("Module:  ");
    if (inFrames && module != std::string::npos) {
      const std::size_t name = module + std::strlen("Module:  ");
      std::printf("  (and on through the frames of %s)\n",
                  line.substr(name, line.find('[', name) - name).c_str());
      break;
    }
    if (line.find("Symbol:  ") != std::string::npos) {
      inFrames = true;
      std::printf("  %s\n", line.c_str() + line.find_first_not_of(' '));
    } else if (line.compare(0, 2, "\t\t") == 0 && line[2] != '\t') {
      std::printf("      %s\n", line.c_str() + 2);
    }
  }
}

} // namespace demo
