// The request queue against a std::deque under a std::mutex, and the thread pool against a
// plain pool of std::thread workers on a std::queue and a std::condition_variable, both with
// four workers, running the same tiny requests.

#include "basalt/concurrency/flag.h"
#include "basalt/concurrency/request_queue.h"
#include "basalt/concurrency/thread_pool.h"

#include <atomic>
#include <benchmark/benchmark.h>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <queue>
#include <thread>
#include <vector>

namespace {

constexpr int requestCount = 10000;
constexpr unsigned short workerCount = 4;

void* doNothing(basalt::FlaggedArg* /*arg*/) {
  return nullptr;
}

void BM_RequestQueuePutGet(benchmark::State& state) {
  basalt::RequestQueue queue(64);
  basalt::FlaggedArg arg(nullptr);
  for (auto _ : state) {
    queue.PutRequestInQueue(doNothing, &arg, nullptr, nullptr, nullptr);
    benchmark::DoNotOptimize(queue.GetRequest());
  }
}
BENCHMARK(BM_RequestQueuePutGet);

void BM_DequeUnderMutexPushPop(benchmark::State& state) {
  std::deque<basalt::Request> queue;
  std::mutex lock;
  basalt::FlaggedArg arg(nullptr);
  std::uint32_t lastId = 0;
  for (auto _ : state) {
    {
      const std::lock_guard<std::mutex> guard(lock);
      basalt::Request& request = queue.emplace_back();
      request.function = doNothing;
      request.arg = &arg;
      request.id = ++lastId;
    }
    basalt::Request oldest;
    {
      const std::lock_guard<std::mutex> guard(lock);
      oldest = queue.front();
      queue.pop_front();
    }
    benchmark::DoNotOptimize(oldest);
  }
}
BENCHMARK(BM_DequeUnderMutexPushPop);

// Counts finished requests down; the last one wakes the poster.
class Countdown {
public:
  void reset(int count) { left.store(count); }
  void done() {
    if (left.fetch_sub(1) == 1) {
      const std::lock_guard<std::mutex> guard(lock);
      finished.notify_one();
    }
  }
  void wait() {
    std::unique_lock<std::mutex> guard(lock);
    finished.wait(guard, [this] { return left.load() == 0; });
  }

private:
  std::atomic<int> left{0};
  std::mutex lock;
  std::condition_variable finished;
};

void* countDown(basalt::FlaggedArg* arg) {
  auto* countdown = static_cast<Countdown*>(arg->data);
  delete arg;
  countdown->done();
  return nullptr;
}

void BM_ThreadPoolTinyRequests(benchmark::State& state) {
  basalt::ThreadPool pool(workerCount, requestCount, workerCount);
  basalt::ThreadRequester requester(&pool);
  Countdown countdown;
  for (auto _ : state) {
    countdown.reset(requestCount);
    for (int i = 0; i < requestCount; ++i) {
      requester.request(countDown, new basalt::FlaggedArg(&countdown), nullptr, nullptr);
    }
    countdown.wait();
  }
  state.SetItemsProcessed(state.iterations() * requestCount);
}
BENCHMARK(BM_ThreadPoolTinyRequests)->Unit(benchmark::kMillisecond)->UseRealTime();

// The reference: workers that take std::function tasks from one locked queue.
class ReferencePool {
public:
  explicit ReferencePool(unsigned count) {
    for (unsigned i = 0; i < count; ++i) {
      workers.emplace_back([this] { serve(); });
    }
  }
  ~ReferencePool() {
    {
      const std::lock_guard<std::mutex> guard(lock);
      stopping = true;
    }
    available.notify_all();
    for (std::thread& worker : workers) {
      worker.join();
    }
  }
  ReferencePool(const ReferencePool&) = delete;
  ReferencePool& operator=(const ReferencePool&) = delete;

  void post(std::function<void()> task) {
    {
      const std::lock_guard<std::mutex> guard(lock);
      tasks.push(std::move(task));
    }
    available.notify_one();
  }

private:
  void serve() {
    for (;;) {
      std::function<void()> task;
      {
        std::unique_lock<std::mutex> guard(lock);
        available.wait(guard, [this] { return stopping || !tasks.empty(); });
        if (tasks.empty()) {
          return;
        }
        task = std::move(tasks.front());
        tasks.pop();
      }
      task();
    }
  }

  std::mutex lock;
  std::condition_variable available;
  std::queue<std::function<void()>> tasks;
  bool stopping = false;
  std::vector<std::thread> workers;
};

void BM_ReferencePoolTinyRequests(benchmark::State& state) {
  ReferencePool pool(workerCount);
  Countdown countdown;
  for (auto _ : state) {
    countdown.reset(requestCount);
    for (int i = 0; i < requestCount; ++i) {
      pool.post([&countdown] { countdown.done(); });
    }
    countdown.wait();
  }
  state.SetItemsProcessed(state.iterations() * requestCount);
}
BENCHMARK(BM_ReferencePoolTinyRequests)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
