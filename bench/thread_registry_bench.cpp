// The registry's read of a thread's depth: the NOVI thread, found without a search, and a
// thread behind 63 others in the list, against what a client would otherwise write, a hash
// map from thread number to record under a std::mutex.

#include "basalt/concurrency/thread_registry.h"

#include <benchmark/benchmark.h>
#include <cstdint>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <vector>

namespace {

using basalt::ThreadRegistry;

// 63 other threads register first, so that the calling thread's own record is the last.
void fillWithOtherThreads(ThreadRegistry& registry) {
  std::vector<std::thread> others;
  for (int i = 0; i < 63; ++i) {
    others.emplace_back([&registry] { registry.registerThread(); });
    others.back().join();
  }
}

void RegistryNoviThreadDepth(benchmark::State& state) {
  ThreadRegistry registry;
  registry.registerNOVIThread();
  fillWithOtherThreads(registry);
  for (auto _ : state) {
    benchmark::DoNotOptimize(registry.depth());
  }
}
BENCHMARK(RegistryNoviThreadDepth);

void RegistryLastOf64Depth(benchmark::State& state) {
  ThreadRegistry registry;
  fillWithOtherThreads(registry);
  registry.registerThread();
  for (auto _ : state) {
    benchmark::DoNotOptimize(registry.depth());
  }
}
BENCHMARK(RegistryLastOf64Depth);

void HashMapUnderMutexDepth(benchmark::State& state) {
  struct Record {
    std::uint32_t depth = 0;
  };
  std::mutex lock;
  std::unordered_map<std::thread::id, Record> records;
  for (int i = 0; i < 63; ++i) {
    std::thread([&] { records[std::this_thread::get_id()].depth = 1; }).join();
  }
  records[std::this_thread::get_id()].depth = 1;
  for (auto _ : state) {
    std::lock_guard<std::mutex> guard(lock);
    benchmark::DoNotOptimize(records.find(std::this_thread::get_id())->second.depth);
  }
}
BENCHMARK(HashMapUnderMutexDepth);

} // namespace

BENCHMARK_MAIN();
