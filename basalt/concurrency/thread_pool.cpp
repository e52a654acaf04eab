#include "basalt/concurrency/thread_pool.h"

#include "basalt/concurrency/flag.h"
#include "basalt/concurrency/pavane_condition.h"

#include <algorithm>
#include <exception>

namespace basalt {

namespace plat = platform;

WorkerThread::WorkerThread(ThreadPool* pool, unsigned short index, int temporary)
    : PavaneThread(nullptr, plat::JTCInitialize::getTermGroup()), pool(pool), index(index),
      flag(new Flag(&handleLock, 0)), temporary(temporary) {
  try {
    start();
  } catch (...) {
    delete flag;
    throw;
  }
}

WorkerThread::~WorkerThread() {
  delete flag;
}

int WorkerThread::workingFor(const ThreadRequester* candidate) const {
  return requester == candidate ? 1 : 0;
}

int WorkerThread::doingRequest(std::uint32_t id) const {
  return requestId == id ? 1 : 0;
}

void WorkerThread::stopItNow(int value) {
  flag->set(value);
}

void WorkerThread::lockHandle() {
  plat::EnterCriticalSection(handleLock.criticalSection());
}

void WorkerThread::unlockHandle() {
  plat::LeaveCriticalSection(handleLock.criticalSection());
}

void WorkerThread::record(const ThreadRequester* owner, std::uint32_t id) {
  PavaneSynchronized guard(handleLock);
  requester = owner;
  requestId = id;
}

void* WorkerThread::work(void* /*unused*/) {
  for (;;) {
    Request request;
    {
      PavaneSynchronized guard(pool->poolLock);
      RequestQueue& queue = *pool->queue;
      if (temporary != 0 && queue.Empty() != 0) {
        break;
      }
      while (pool->shutdown == 0 && queue.Empty() != 0) {
        pool->requestAvailable->wait();
      }
      if (pool->shutdown != 0) {
        return nullptr;
      }
      request = queue.GetRequest();
      if (queue.Empty() != 0) {
        pool->drained->signal();
      }
      // Callers wait only on a full queue, so each place freed while one waits wakes one:
      // however they interleave, no caller sleeps beside a free place.
      if (pool->waitingForRoom != 0) {
        pool->spaceAvailable->signal();
      }
      // Recorded before poolLock goes, so that a clear finds the request in the queue or
      // here, never in neither.
      record(request.requester, request.id);
    }
    runRequest(request);
    // Under the lock that raises it, so that a stop meant for this request can't fall on
    // the next.
    PavaneSynchronized guard(handleLock);
    requester = nullptr;
    requestId = 0;
    flag->set(0);
  }
  // A temporary worker with nothing to do leaves. The thread's own count on this object
  // keeps it alive after its handle in the pool is gone.
  PavaneSynchronized guard(pool->threadsLock);
  auto& threads = pool->threads;
  threads.erase(std::find_if(threads.begin(), threads.end(),
                             [this](const auto& worker) { return worker.get() == this; }));
  if (--pool->currentThreads == pool->initialThreads) {
    pool->workersGone->signal();
  }
  return nullptr;
}

void WorkerThread::runRequest(const Request& request) {
  request.arg->flag = flag;
  try {
    request.function(request.arg); // the result is dropped; arg is the function's now
  } catch (...) {
    if (request.cleanup != nullptr) {
      try {
        request.cleanup(request.cleanupArg);
      } catch (...) {
        // Nobody to tell: the worker goes on with the next request.
      }
    }
  }
}

namespace {

// What idle workers wait on: a request usually comes within a moment of the last, so a worker
// looks for a while before it sleeps, and the caller seldom has to wake it.
class RequestCondition : public PavaneCondition {
public:
  explicit RequestCondition(PavaneMutex* mutex) : PavaneCondition(mutex) {
    spinBeforeSleeping(100);
  }
};

} // namespace

ThreadPool::ThreadPool() : ThreadPool(20, 10, 50) {}

ThreadPool::ThreadPool(unsigned short threadCount, unsigned short queueSize,
                       unsigned short maxThreads) {
  create_pool(threadCount, queueSize, maxThreads);
}

void ThreadPool::create_pool(unsigned short threadCount, unsigned short queueSize,
                             unsigned short maxThreads) {
  // Without a core worker nothing would empty a queue that isn't full, and a queue without
  // places would make every request wait for good.
  threadCount = std::max<unsigned short>(threadCount, 1);
  queueSize = std::max<unsigned short>(queueSize, 1);
  queue = new RequestQueue(queueSize);
  initialThreads = threadCount;
  currentThreads = threadCount;
  this->maxThreads = maxThreads;
  drained = new PavaneCondition(&poolLock);
  requestAvailable = new RequestCondition(&poolLock);
  spaceAvailable = new PavaneCondition(&poolLock);
  workersGone = new PavaneCondition(&threadsLock);
  try {
    threads.reserve(threadCount);
    for (unsigned short i = 0; i < threadCount; ++i) {
      threads.emplace_back(new WorkerThread(this, i, 0));
    }
  } catch (...) {
    // The workers already running leave and are joined, as at shutdown.
    initialThreads = currentThreads = static_cast<unsigned short>(threads.size());
    stop_and_join();
    throw;
  }
}

ThreadPool::~ThreadPool() {
  {
    PavaneSynchronized guard(poolLock);
    closing = 1;
    // Every queued request still runs. A clear may empty the queue as well; it wakes this
    // wait as it leaves, and the pool isn't taken down under it.
    while (queue->Empty() == 0 || clearing != 0) {
      drained->wait();
    }
  }
  stop_and_join();
}

void ThreadPool::stop_and_join() {
  {
    PavaneSynchronized guard(poolLock);
    shutdown = 1;
    requestAvailable->broadcast(); // idle core workers leave
    spaceAvailable->broadcast();   // blocked callers get 0
    // They must be out of spaceAvailable before it goes.
    while (waitingForRoom != 0) {
      drained->wait();
    }
  }
  {
    PavaneSynchronized guard(threadsLock);
    while (currentThreads > initialThreads) {
      workersGone->wait();
    }
    for (auto worker = threads.rbegin(); worker != threads.rend(); ++worker) {
      (*worker)->join(nullptr);
    }
    delete drained;
    delete requestAvailable;
    delete spaceAvailable;
  }
  delete workersGone;
  delete queue;
  threads.clear();
}

std::uint32_t ThreadPool::addRequestToPool(WorkFunction function, FlaggedArg* arg,
                                           const ThreadRequester* requester,
                                           CleanupFunction cleanup, void* cleanupArg) {
  if (function == nullptr || arg == nullptr) {
    return 0; // nothing a worker could run
  }
  PavaneSynchronized guard(poolLock);
  for (;;) {
    if (closing != 0 || shutdown != 0) {
      return 0;
    }
    if (queue->Full() == 0) {
      break;
    }
    {
      PavaneSynchronized threadsGuard(threadsLock);
      if (currentThreads < maxThreads) {
        threads.reserve(threads.size() + 1); // so that the started worker is always recorded
        threads.emplace_back(new WorkerThread(this, currentThreads, 1));
        ++currentThreads;
      }
    }
    ++waitingForRoom;
    spaceAvailable->wait();
    if (--waitingForRoom == 0 && shutdown != 0) {
      drained->signal(); // the destructor may delete spaceAvailable now
    }
  }
  const std::uint32_t id = queue->PutRequestInQueue(function, arg, requester, cleanup, cleanupArg);
  requestAvailable->signal();
  return id;
}

void ThreadPool::make_room_known() {
  if (waitingForRoom != 0 && queue->Full() == 0) {
    spaceAvailable->broadcast(); // a clear may have freed more than one place
  }
}

void ThreadPool::end_clear() {
  PavaneSynchronized guard(poolLock);
  if (--clearing == 0 && closing != 0) {
    drained->signal();
  }
}

template <class Predicate> void ThreadPool::stop_workers(Predicate stops) {
  PavaneSynchronized guard(threadsLock);
  for (const auto& worker : threads) {
    worker->lockHandle();
  }
  for (const auto& worker : threads) {
    if (stops(*worker)) {
      worker->stopItNow(1);
    }
    worker->unlockHandle();
  }
}

void ThreadPool::ClearRequests(ThreadRequester* requester) {
  std::exception_ptr failure;
  {
    PavaneSynchronized guard(poolLock);
    ++clearing; // until end_clear: the destructor doesn't take the pool down under a clear
    try {
      queue->RemoveRequestsFromQueue(requester);
    } catch (...) {
      failure = std::current_exception(); // every request of requester is gone all the same
    }
    make_room_known();
  }
  // Idle workers have a null requester too.
  if (requester != nullptr) {
    stop_workers(
        [requester](const WorkerThread& worker) { return worker.workingFor(requester) != 0; });
  }
  end_clear();
  if (failure) {
    std::rethrow_exception(failure);
  }
}

void ThreadPool::ClearThisRequest(std::uint32_t id) {
  if (id == 0) {
    return;
  }
  bool removed = false;
  {
    PavaneSynchronized guard(poolLock);
    ++clearing;
    removed = queue->RemoveRequestFromQueue(id) != 0; // ids are unique: it doesn't throw here
    make_room_known();
  }
  if (!removed) {
    stop_workers([id](const WorkerThread& worker) { return worker.doingRequest(id) != 0; });
  }
  end_clear();
}

ThreadRequester::ThreadRequester(ThreadPool* pool) : pool(pool) {}

ThreadRequester::~ThreadRequester() {
  if (pool != nullptr) {
    try {
      pool->ClearRequests(this);
    } catch (...) {
      // A clean-up function's exception can't leave a destructor; the clear itself is done.
    }
  }
}

std::uint32_t ThreadRequester::request(WorkFunction function, FlaggedArg* arg,
                                       CleanupFunction cleanup, void* cleanupArg) {
  return pool == nullptr ? 0 : pool->addRequestToPool(function, arg, this, cleanup, cleanupArg);
}

void ThreadRequester::clearRequests() {
  if (pool != nullptr) {
    pool->ClearRequests(this);
  }
}

void ThreadRequester::clearSingleRequest(std::uint32_t id) {
  if (pool != nullptr) {
    pool->ClearThisRequest(id);
  }
}

ThreadPool* ThreadRequester::setThreadPool(ThreadPool* newPool) {
  ThreadPool* const earlier = pool;
  pool = newPool;
  return earlier;
}

} // namespace basalt
