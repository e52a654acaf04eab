#include "basalt/concurrency/flag.h"
#include "basalt/concurrency/thread_pool.h"
#include "basalt/errors/base_error.h"
#include "support/bounded_wait.h"

#include <atomic>
#include <deque>
#include <future>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace {

namespace plat = basalt::platform;
using basalt::FlaggedArg;
using basalt::ThreadPool;
using basalt::ThreadRequester;
using basalt::WorkerThread;
using basalt::test::await;
using basalt::test::finish;
using basalt::test::startBlocked;

// One request of a test: what its function is to do, and what it saw.
struct Job {
  std::shared_future<void> gate; // waited for, when set
  int throwKind = 0;             // 1: a BaseError, 2: an int
  bool cleanupThrows = false;
  std::promise<void>* opens = nullptr; // set by the clean-up, when given

  std::atomic<int> started{0};
  std::atomic<int> finished{0};
  std::atomic<int> cleanups{0};
  std::atomic<int> firstLook{-1}; // the stop flag at the start
  std::atomic<int> lastLook{-1};  // and at the end
  std::atomic<int> worker{-1};    // thisThread() of its worker
  plat::JTCHandleT<plat::JTCThread> thread;
  std::thread::id cleanupThread;
};

void* runJob(FlaggedArg* arg) {
  auto* job = static_cast<Job*>(arg->data);
  job->firstLook = arg->flag->value();
  job->thread = WorkerThread::self();
  job->worker = dynamic_cast<WorkerThread&>(*WorkerThread::self()).thisThread();
  ++job->started;
  if (job->gate.valid()) {
    job->gate.wait();
  }
  job->lastLook = arg->flag->value();
  delete arg;
  ++job->finished;
  if (job->throwKind == 1) {
    throw BaseError(1, "Test", BaseError::SeverityError, BaseError::CompletedDefault);
  }
  if (job->throwKind == 2) {
    throw 2;
  }
  return nullptr;
}

void* cleanJob(void* data) {
  auto* job = static_cast<Job*>(data);
  job->cleanupThread = std::this_thread::get_id();
  ++job->cleanups;
  if (job->opens != nullptr) {
    job->opens->set_value();
  }
  if (job->cleanupThrows) {
    throw 3;
  }
  return nullptr;
}

// The request's id; a refused request's arg stays with the caller, which deletes it.
std::uint32_t submit(ThreadRequester& requester, Job& job,
                     basalt::CleanupFunction cleanup = cleanJob) {
  auto* arg = new FlaggedArg(&job);
  const std::uint32_t id = requester.request(runJob, arg, cleanup, &job);
  if (id == 0) {
    delete arg;
  }
  return id;
}

// Submits a job held at the gate of open and waits until its worker has it.
std::uint32_t occupy(ThreadRequester& requester, Job& job, std::promise<void>& open) {
  job.gate = open.get_future().share();
  const std::uint32_t id = submit(requester, job);
  await([&] { return job.started == 1; });
  return id;
}

// The destructor lets every queued request run, and refuses requests while it waits for them.
// Of two callers waiting for room when the pool goes, one may get the place that the worker
// frees; the other is woken by the shutdown. Either way a request that got an id ran.
TEST(ThreadPool, QueuedWorkStillRunsAtShutdownAndLaterRequestsGetZero) {
  std::promise<void> open;
  auto* pool = new ThreadPool(1, 2, 1);
  ThreadRequester requester(pool);
  Job jobs[6];
  occupy(requester, jobs[0], open);
  EXPECT_NE(submit(requester, jobs[1]), 0u);
  EXPECT_NE(submit(requester, jobs[2]), 0u);
  std::uint32_t ids[2] = {};
  std::future<void> callers[2];
  for (int i = 0; i < 2; ++i) { // these wait for room
    callers[i] = startBlocked([&, i] { ids[i] = submit(requester, jobs[3 + i], nullptr); });
  }
  auto destroyer = startBlocked([pool] { delete pool; });
  EXPECT_EQ(submit(requester, jobs[5]), 0u);
  open.set_value();
  finish("a caller or the destructor", [&] {
    for (auto& caller : callers) {
      caller.get();
    }
    destroyer.get();
  });
  requester.setThreadPool(nullptr);
  for (int i = 0; i < 6; ++i) {
    const bool ran = i < 3 || (i < 5 && ids[i - 3] != 0);
    EXPECT_EQ(jobs[i].finished, ran ? 1 : 0) << i;
    EXPECT_EQ(jobs[i].cleanups, 0) << i;
  }
}

TEST(ThreadPool, AFullQueueGrowsATemporaryWorkerThatLeavesWhenTheQueueEmpties) {
  std::promise<void> open;
  ThreadPool pool(1, 1, 2);
  ThreadRequester requester(&pool);
  Job jobs[4];
  occupy(requester, jobs[0], open);
  for (int i = 1; i < 4; ++i) {
    jobs[i].gate = jobs[0].gate;
  }
  submit(requester, jobs[1]); // fills the queue
  // The core worker is busy and the queue full: this one makes a temporary worker, which
  // takes jobs[1] and so makes room.
  finish("a caller that grows the pool", [&] { submit(requester, jobs[2]); });
  await([&] { return jobs[1].started == 1; });
  EXPECT_EQ(jobs[0].worker, 0);
  EXPECT_EQ(jobs[1].worker, 1);
  // At the limit now: this one waits for room, however long the gate stays shut.
  auto blocked = startBlocked([&] { submit(requester, jobs[3]); });
  open.set_value();
  finish("a caller waiting for room", [&] { blocked.get(); });
  for (Job& job : jobs) {
    await([&] { return job.finished == 1; });
  }
  // The temporary worker is gone while the pool lives on.
  finish("the temporary worker", [&] { jobs[1].thread->join(); });
  Job later;
  submit(requester, later);
  await([&] { return later.finished == 1; });
  EXPECT_EQ(later.worker, 0);
}

// Thrown: a BaseError, an int, an int whose clean-up throws too, an int without a clean-up.
// Null arguments are refused, and zero counts still give a working pool.
TEST(ThreadPool, AThrowingFunctionRunsItsCleanupAndTheWorkerGoesOn) {
  ThreadPool pool(0, 0, 0);
  ThreadRequester requester(&pool);
  Job jobs[5];
  FlaggedArg arg(&jobs[0]);
  EXPECT_EQ(requester.request(runJob, nullptr, nullptr, nullptr), 0u);
  EXPECT_EQ(requester.request(nullptr, &arg, nullptr, nullptr), 0u);
  EXPECT_EQ(ThreadRequester(nullptr).request(runJob, &arg, nullptr, nullptr), 0u);
  pool.ClearRequests(nullptr); // must not raise the flag of an idle worker
  jobs[0].throwKind = 1;
  jobs[1].throwKind = jobs[2].throwKind = jobs[3].throwKind = 2;
  jobs[2].cleanupThrows = true;
  for (Job& job : jobs) {
    submit(requester, job, &job == &jobs[3] ? nullptr : cleanJob);
  }
  await([&] { return jobs[4].finished == 1; });
  EXPECT_EQ(jobs[0].firstLook, 0);
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(jobs[i].cleanups, i < 3 ? 1 : 0) << i;
  }
}

// One request of the stress test below: which request it was, and when it ran.
struct Numbered {
  std::atomic<int>* runs;
  int ranAs = -1;
};

void* runNumbered(FlaggedArg* arg) {
  auto* request = static_cast<Numbered*>(arg->data);
  request->ranAs = (*request->runs)++;
  delete arg;
  return nullptr;
}

// Three callers, each with a requester of its own, race for a few places: every freed place
// must reach a caller that waits for it. With one worker, requests run in the order of their
// ids; with a growing pool they all run.
TEST(ThreadPool, CallersRacingForAFullQueueAllGetThrough) {
  struct Shape {
    unsigned short core, places, limit;
  };
  constexpr int callerCount = 3;
  constexpr int perCaller = 10000;
  for (const Shape shape : {Shape{1, 4, 1}, Shape{1, 2, 4}}) {
    std::atomic<int> runs{0};
    std::vector<Numbered> requests(callerCount * perCaller, Numbered{&runs});
    std::vector<std::uint32_t> ids(requests.size());
    finish("a caller of a full pool", [&] {
      ThreadPool pool(shape.core, shape.places, shape.limit);
      std::deque<ThreadRequester> requesters(callerCount, ThreadRequester(&pool));
      std::thread callers[callerCount];
      for (int c = 0; c < callerCount; ++c) {
        callers[c] = std::thread([&, c] {
          for (int i = c * perCaller; i < (c + 1) * perCaller; ++i) {
            ids[i] =
                requesters[c].request(runNumbered, new FlaggedArg(&requests[i]), nullptr, nullptr);
          }
        });
      }
      for (std::thread& caller : callers) {
        caller.join();
      }
      await([&] { return runs == callerCount * perCaller; });
    });
    // One id each, from 1 on; with one worker they ran in the order of their ids.
    std::vector<int> ranAs(requests.size() + 1, -1);
    for (std::size_t i = 0; i < requests.size(); ++i) {
      ASSERT_TRUE(ids[i] >= 1 && ids[i] <= requests.size() && ranAs[ids[i]] == -1) << ids[i];
      ranAs[ids[i]] = requests[i].ranAs;
    }
    for (std::size_t id = 1; shape.limit == 1 && id < ranAs.size(); ++id) {
      ASSERT_EQ(ranAs[id], static_cast<int>(id) - 1);
    }
  }
}

// A clear by requester runs the clean-ups of its queued requests on the clearing thread; one
// by id runs none. Either stops the running request, and releases the callers waiting for
// room, both of them when it frees two places.
TEST(ThreadPool, AClearRemovesQueuedWorkStopsRunningWorkAndReleasesCallersWaitingForRoom) {
  for (const bool byRequester : {true, false}) {
    std::promise<void> open;
    ThreadPool pool(1, 2, 1);
    ThreadRequester cleared(&pool);
    ThreadRequester waiting(cleared);
    Job jobs[6];
    const std::uint32_t running = occupy(cleared, jobs[0], open); // looks at the flag after
    {
      ThreadRequester passing(&pool);
      submit(passing, jobs[5]);
    }
    EXPECT_EQ(jobs[5].cleanups, 1); // cleared by the requester's destructor
    const std::uint32_t ids[] = {submit(cleared, jobs[1]), submit(cleared, jobs[2])};
    auto first = startBlocked([&] { EXPECT_NE(submit(waiting, jobs[3]), 0u); });
    auto second = startBlocked([&] { EXPECT_NE(submit(waiting, jobs[4]), 0u); });
    if (byRequester) {
      cleared.clearRequests();
    } else {
      cleared.clearSingleRequest(ids[0]);
      cleared.clearSingleRequest(ids[1]);
      cleared.clearSingleRequest(running);
    }
    finish("a caller released by a clear", [&] {
      first.get();
      second.get();
    }); // before the gate opens
    // The callers' requests stay: a copy has a key of its own; 0 and unknown ids match none.
    if (byRequester) {
      cleared.clearRequests();
    } else {
      cleared.clearSingleRequest(0);
      cleared.clearSingleRequest(ids[1] + 100);
    }
    for (int i = 1; i <= 2; ++i) {
      EXPECT_EQ(jobs[i].cleanups, byRequester ? 1 : 0);
      EXPECT_EQ(jobs[i].cleanupThread,
                byRequester ? std::this_thread::get_id() : std::thread::id());
    }
    open.set_value();
    await([&] { return jobs[3].finished + jobs[4].finished == 2; });
    EXPECT_EQ(jobs[0].lastLook, 1);
    EXPECT_EQ(jobs[1].started + jobs[2].started + jobs[5].started, 0);
    EXPECT_EQ(jobs[3].firstLook + jobs[4].firstLook, 0); // the stop stayed with its request
  }
}

// The destructor waits for the queue to drain; a clear that empties it lets the destructor go
// on, though no worker took anything. The gate of the running request opens when the clear is
// made: by the clean-up of the request that a clear by requester removes, or after a clear by
// id, which runs none.
TEST(ThreadPool, AClearThatEmptiesTheQueueLetsTheDestructorGoOn) {
  for (const bool byRequester : {true, false}) {
    std::promise<void> open;
    auto* pool = new ThreadPool(1, 1, 1);
    ThreadRequester running(pool);
    ThreadRequester cleared(pool);
    Job jobs[2];
    occupy(running, jobs[0], open);
    jobs[1].opens = &open;
    const std::uint32_t queued = submit(cleared, jobs[1]);
    running.setThreadPool(nullptr);
    cleared.setThreadPool(nullptr);
    auto destroyer = startBlocked([pool] { delete pool; });
    if (byRequester) {
      pool->ClearRequests(&cleared);
    } else {
      pool->ClearThisRequest(queued);
      open.set_value();
    }
    finish("the destructor", [&] { destroyer.get(); });
    EXPECT_EQ(jobs[0].finished, 1);
    EXPECT_EQ(jobs[1].started, 0);
  }
}

} // namespace
