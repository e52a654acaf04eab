#ifndef BASALT_CONCURRENCY_THREAD_POOL_H
#define BASALT_CONCURRENCY_THREAD_POOL_H

#include "basalt/concurrency/pavane_mutex.h"
#include "basalt/concurrency/pavane_thread.h"
#include "basalt/concurrency/request_queue.h"
#include "basalt/export.h"

#include <cstdint>
#include <vector>

namespace basalt {

class Flag;
class PavaneCondition;
class ThreadPool;

// One worker of a ThreadPool. It starts running in its constructor and takes requests from
// the pool's queue until the pool shuts down; a temporary worker leaves as soon as it finds
// the queue empty. Its stop flag serves every request it runs and goes back to 0 after each.
// Only its pool calls it; its stop flag is shared as Flag says.
class BASALT_API WorkerThread : public PavaneThread {
public:
  WorkerThread(ThreadPool* pool, unsigned short index, int temporary);
  ~WorkerThread() override;

  // These three don't lock: the caller holds lockHandle().
  int workingFor(const ThreadRequester* candidate) const;
  int doingRequest(std::uint32_t id) const;
  void stopItNow(int value);

  void lockHandle();
  void unlockHandle();
  unsigned short thisThread() const { return index; }

private:
  void* work(void* unused) override;
  // Runs one request that this worker has taken; exceptions of the function end here.
  void runRequest(const Request& request);
  void record(const ThreadRequester* requester, std::uint32_t id);

  ThreadPool* pool;
  unsigned short index;
  const ThreadRequester* requester = nullptr; // null while idle
  std::uint32_t requestId = 0;                // 0 while idle
  PavaneMutex handleLock;                     // guards the two above and the flag's value
  Flag* flag;                                 // owned
  int temporary;
};

// Runs caller-supplied functions on worker threads. The core of threadCount workers lives as
// long as the pool; when a caller finds the queue full, the pool grows by one temporary
// worker per wait up to maxThreads, and temporary workers leave when the queue is empty.
// Cancelling is cooperative: queued requests are removed, running ones get their worker's
// stop flag raised. A pool has at least one core worker and one place in its queue: a count
// of 0 for either is taken as 1.
//
// Wake-ups: every place that a worker frees while callers wait for room wakes one of them, and
// a clear that frees places wakes them all, so a caller never sleeps beside a free place.
//
// The destructor refuses new requests, lets every queued request run, then waits for running
// ones to end: it raises no stop flag. Requests made meanwhile get 0. A clear may run while the
// destructor waits for the queue to drain: the destructor goes on only once the queue is empty
// and no clear is inside the pool, and a clear wakes it as it leaves, so a clear that empties
// the queue ends that wait. No clear may start once the queue has drained (it would wait for
// the joins, which wait for the workers), and once the pool is gone no thread may still be
// inside it nor hold a ThreadRequester on it.
// May be shared between threads. Any thread may make and clear requests.
class BASALT_API ThreadPool {
public:
  ThreadPool();
  ThreadPool(unsigned short threadCount, unsigned short queueSize, unsigned short maxThreads);
  ~ThreadPool();
  ThreadPool(const ThreadPool&) = delete;
  ThreadPool& operator=(const ThreadPool&) = delete;

  // Queues function(arg) and returns its id, or 0 once the pool is closing (arg then stays
  // with the caller). Blocks while the queue is full. arg must not be null: the worker puts
  // its stop flag in it. cleanup(cleanupArg), if not null, runs when the request is cleared
  // while queued or when function throws.
  std::uint32_t addRequestToPool(WorkFunction function, FlaggedArg* arg,
                                 const ThreadRequester* requester, CleanupFunction cleanup,
                                 void* cleanupArg);
  // Removes requester's queued requests, running their clean-up on this thread, and raises
  // the stop flag of its running ones. requester must not be null. An exception of a
  // clean-up function comes out here once all of that is done.
  void ClearRequests(ThreadRequester* requester);
  // Removes the queued request with this id without running its clean-up, or else raises the
  // stop flag of the worker that runs it. Any other id, 0 included, changes nothing.
  void ClearThisRequest(std::uint32_t id);

private:
  friend class WorkerThread;

  void create_pool(unsigned short threadCount, unsigned short queueSize, unsigned short maxThreads);
  // Under poolLock, after a clear took requests out: wakes the callers waiting for room.
  void make_room_known();
  // The end of a clear, which wakes the destructor waiting for the queue to drain.
  void end_clear();
  // Raises the stop flag of every worker for which stops(worker) is true.
  template <class Predicate> void stop_workers(Predicate stops);
  // Shuts the core down and deletes what create_pool made; the destructor's last steps.
  void stop_and_join();

  PavaneMutex poolLock;
  // Also: a clear, or the last caller waiting for room at shutdown, has left.
  PavaneCondition* drained = nullptr;
  PavaneCondition* requestAvailable = nullptr;
  PavaneCondition* spaceAvailable = nullptr;
  PavaneMutex threadsLock;
  PavaneCondition* workersGone = nullptr;
  RequestQueue* queue = nullptr;
  unsigned short initialThreads = 0;
  unsigned short currentThreads = 0;
  unsigned short maxThreads = 0;
  std::vector<platform::JTCHandleT<WorkerThread>> threads;
  int closing = 0;
  int shutdown = 0;
  unsigned int waitingForRoom = 0; // callers in spaceAvailable->wait(), under poolLock
  unsigned int clearing = 0;       // clears inside the pool, under poolLock
};

// A client's handle on a pool, and the key under which its requests are cancelled together:
// its address, which is only compared. A copy is a requester of its own. The destructor
// clears this requester's requests, so a requester must not outlive its pool unless
// setThreadPool(nullptr) was called.
// Any thread may make and clear requests through it; change its pool only while no other thread
// uses it.
class BASALT_API ThreadRequester {
public:
  explicit ThreadRequester(ThreadPool* pool);
  ThreadRequester(const ThreadRequester& other) = default;
  ThreadRequester& operator=(const ThreadRequester& other) = default;
  // Clears as clearRequests does; an exception of a clean-up function is dropped here.
  virtual ~ThreadRequester();

  // 0 without a pool; otherwise as ThreadPool::addRequestToPool, so it may block.
  std::uint32_t request(WorkFunction function, FlaggedArg* arg, CleanupFunction cleanup,
                        void* cleanupArg);
  void clearRequests();
  // The id need not be one of this requester's.
  void clearSingleRequest(std::uint32_t id);
  // Returns the earlier pool; requests already given to it stay there.
  ThreadPool* setThreadPool(ThreadPool* newPool);

private:
  ThreadPool* pool;
};

} // namespace basalt

#endif
