// Work on a thread pool, and a request cancelled through its requester: the worker function
// watches its stop flag.
#include <atomic>
#include <basalt/basalt.h>
#include <cstdio>
#include <thread>

namespace {

std::atomic<long long> total{0};
std::atomic<bool> waiting{false};

void* add(basalt::FlaggedArg* arg) {
  total += reinterpret_cast<long long>(arg->data);
  delete arg; // the worker function owns its argument
  return nullptr;
}

void* waitForStop(basalt::FlaggedArg* arg) {
  waiting = true;
  while (arg->flag->value() == 0) { // 1 once the request is cancelled
    std::this_thread::yield();
  }
  delete arg;
  return nullptr;
}

} // namespace

int main() {
  basalt::ThreadPool pool(2, 8, 4); // 2 workers, 8 queued requests, at most 4 workers
  {
    basalt::ThreadRequester requester(&pool);
    requester.request(waitForStop, new basalt::FlaggedArg(nullptr), nullptr, nullptr);
    while (!waiting) {
      std::this_thread::yield();
    }
    requester.clearRequests(); // raises the stop flag of its running request
  }
  basalt::ThreadRequester adder(&pool);
  for (long long n = 1; n <= 100; ++n) {
    adder.request(add, new basalt::FlaggedArg(reinterpret_cast<void*>(n)), nullptr, nullptr);
  }
  while (total < 5050) {
    std::this_thread::yield();
  }
  std::printf("the cancelled request stopped; 1 + ... + 100 = %lld\n", total.load());
  return 0;
}
