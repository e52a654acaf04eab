#include "basalt/concurrency/flag.h"
#include "basalt/concurrency/thread_pool.h"
#include "basalt/errors/base_error.h"

#include <atomic>
#include <chrono>
#include <deque>
#include <future>
#include <gtest/gtest.h>
#include <thread>

namespace {

namespace plat = basalt::platform;
using basalt::FlaggedArg;
using basalt::ThreadPool;
using basalt::ThreadRequester;
using basalt::WorkerThread;

// One request of a test: what its function is to do, and what it saw.
struct Job {
  std::shared_future<void> gate; // waited for, when set
  bool untilStopped = false;     // polls the stop flag until it is raised
  int throwKind = 0;             // 1: a BaseError, 2: an int
  bool cleanupThrows = false;

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
  while (job->untilStopped && arg->flag->value() == 0) {
    std::this_thread::yield();
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
  if (job->cleanupThrows) {
    throw 3;
  }
  return nullptr;
}

std::uint32_t submit(ThreadRequester& requester, Job& job) {
  return requester.request(runJob, new FlaggedArg(&job), cleanJob, &job);
}

template <class Condition> void await(Condition condition) {
  while (!condition()) {
    std::this_thread::yield();
  }
}

// Submits a job held at the gate of open and waits until its worker has it.
std::uint32_t occupy(ThreadRequester& requester, Job& job, std::promise<void>& open) {
  job.gate = open.get_future().share();
  const std::uint32_t id = submit(requester, job);
  await([&] { return job.started == 1; });
  return id;
}

TEST(ThreadPool, QueuedWorkStillRunsAtShutdownAndLaterRequestsGetZero) {
  std::promise<void> open;
  auto* pool = new ThreadPool(1, 60000, 1);
  ThreadRequester requester(pool);
  std::deque<Job> jobs(4);
  occupy(requester, jobs[0], open);
  for (int i = 1; i < 4; ++i) {
    EXPECT_NE(submit(requester, jobs[i]), 0u);
  }

  std::thread destroyer([pool] { delete pool; });
  // Accepted until the destructor closes the pool; each one accepted must still run.
  for (;;) {
    Job& job = jobs.emplace_back();
    auto* arg = new FlaggedArg(&job);
    if (requester.request(runJob, arg, cleanJob, &job) == 0) {
      delete arg;
      jobs.pop_back();
      break;
    }
    std::this_thread::yield();
  }
  requester.setThreadPool(nullptr);
  open.set_value();
  destroyer.join();
  for (const Job& job : jobs) {
    EXPECT_EQ(job.finished, 1);
    EXPECT_EQ(job.cleanups, 0);
  }
}

// Of two callers waiting for room when the pool goes, one may get the place that the worker
// frees; the other is woken by the shutdown. Either way a request that got an id ran.
TEST(ThreadPool, CallersWaitingForRoomAtShutdownGetZeroOrRun) {
  std::promise<void> open;
  auto* pool = new ThreadPool(1, 1, 1);
  ThreadRequester requester(pool);
  Job jobs[4];
  occupy(requester, jobs[0], open);
  submit(requester, jobs[1]);
  std::uint32_t ids[2] = {};
  std::thread callers[2];
  for (int i = 0; i < 2; ++i) { // these wait for room
    callers[i] = std::thread([&, i] {
      auto* arg = new FlaggedArg(&jobs[2 + i]);
      ids[i] = requester.request(runJob, arg, nullptr, nullptr);
      if (ids[i] == 0) {
        delete arg;
      }
    });
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(20)); // let them wait for room
  std::thread destroyer([pool] { delete pool; });
  std::this_thread::sleep_for(std::chrono::milliseconds(20)); // let it close the pool
  open.set_value();
  for (std::thread& caller : callers) {
    caller.join();
  }
  destroyer.join();
  requester.setThreadPool(nullptr);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(jobs[2 + i].finished, ids[i] != 0 ? 1 : 0);
  }
  EXPECT_EQ(jobs[1].finished, 1);
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
  std::thread([&] { submit(requester, jobs[2]); }).join();
  await([&] { return jobs[1].started == 1; });
  EXPECT_EQ(jobs[0].worker, 0);
  EXPECT_EQ(jobs[1].worker, 1);
  // At the limit now: this one waits for room, however long the gate stays shut.
  std::atomic<bool> returned{false};
  std::thread blocked([&] {
    submit(requester, jobs[3]);
    returned = true;
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(20)); // let it get to the wait
  EXPECT_FALSE(returned);
  open.set_value();
  blocked.join();
  for (Job& job : jobs) {
    await([&] { return job.finished == 1; });
  }
  jobs[1].thread->join(); // the temporary worker is gone while the pool lives on
  Job later;
  submit(requester, later);
  await([&] { return later.finished == 1; });
  EXPECT_EQ(later.worker, 0);
}

TEST(ThreadPool, ClearingARequesterRemovesItsQueuedWorkAndStopsItsRunningWork) {
  ThreadPool pool(1, 4, 1);
  ThreadRequester requester(&pool);
  ThreadRequester copy(requester); // a key of its own
  Job jobs[5];
  jobs[0].untilStopped = true;
  submit(requester, jobs[0]);
  await([&] { return jobs[0].started == 1; });
  submit(requester, jobs[1]);
  submit(requester, jobs[2]);
  submit(copy, jobs[3]);
  {
    ThreadRequester passing(&pool);
    submit(passing, jobs[4]);
  }
  EXPECT_EQ(jobs[4].cleanups, 1); // cleared by the requester's destructor

  requester.clearRequests();
  for (int i = 1; i <= 2; ++i) {
    EXPECT_EQ(jobs[i].cleanups, 1);
    EXPECT_EQ(jobs[i].cleanupThread, std::this_thread::get_id());
  }
  await([&] { return jobs[3].finished == 1; }); // after jobs[0], on the one worker
  EXPECT_EQ(jobs[0].lastLook, 1);
  EXPECT_EQ(jobs[1].started + jobs[2].started + jobs[4].started, 0);
  EXPECT_EQ(jobs[3].firstLook, 0); // the stop stayed with the request it was meant for

  FlaggedArg arg(nullptr);
  EXPECT_EQ(ThreadRequester(nullptr).request(runJob, &arg, nullptr, nullptr), 0u);
}

TEST(ThreadPool, ClearingOneRequestRemovesItWithoutCleanupOrStopsItsWorker) {
  std::promise<void> open;
  ThreadPool pool(1, 4, 1);
  ThreadRequester requester(&pool);
  Job jobs[3];
  const std::uint32_t running = occupy(requester, jobs[0], open); // looks at the flag after
  const std::uint32_t queued = submit(requester, jobs[1]);
  submit(requester, jobs[2]);

  requester.clearSingleRequest(queued);
  EXPECT_EQ(jobs[1].cleanups, 0); // its arg is gone, its clean-up not called
  requester.clearSingleRequest(0);
  requester.clearSingleRequest(queued + 100);
  requester.clearSingleRequest(running);
  open.set_value();
  await([&] { return jobs[2].finished == 1; });
  EXPECT_EQ(jobs[0].lastLook, 1);
  EXPECT_EQ(jobs[2].firstLook, 0);
  EXPECT_EQ(jobs[2].lastLook, 0);
  EXPECT_EQ(jobs[1].started, 0);
}

// Thrown: a BaseError, an int, an int whose clean-up throws too, an int without a clean-up.
TEST(ThreadPool, AThrowingFunctionRunsItsCleanupAndTheWorkerGoesOn) {
  ThreadPool pool(1, 8, 1);
  ThreadRequester requester(&pool);
  Job jobs[5];
  jobs[0].throwKind = 1;
  jobs[1].throwKind = jobs[2].throwKind = jobs[3].throwKind = 2;
  jobs[2].cleanupThrows = true;
  for (Job& job : jobs) {
    &job == &jobs[3] ? requester.request(runJob, new FlaggedArg(&job), nullptr, nullptr)
                     : submit(requester, job);
  }
  await([&] { return jobs[4].finished == 1; });
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(jobs[i].cleanups, i < 3 ? 1 : 0) << i;
  }
}

TEST(ThreadPool, AClearThatMakesRoomWakesACallerWaitingForIt) {
  std::promise<void> open;
  ThreadPool pool(1, 1, 1);
  ThreadRequester waiting(&pool);
  ThreadRequester cleared(&pool);
  Job jobs[3];
  occupy(waiting, jobs[0], open);
  submit(cleared, jobs[1]); // the queue is full and the pool can't grow
  std::thread caller([&] { EXPECT_NE(submit(waiting, jobs[2]), 0u); });
  std::this_thread::sleep_for(std::chrono::milliseconds(20)); // let it block
  cleared.clearRequests();
  caller.join(); // before the gate opens
  EXPECT_EQ(jobs[1].cleanups, 1);
  open.set_value();
  await([&] { return jobs[2].finished == 1; });
}

TEST(ThreadPool, NullArgumentsAreRefusedAndZeroCountsStillGiveAWorkingPool) {
  ThreadPool pool(0, 0, 0);
  ThreadRequester requester(&pool);
  Job job;
  EXPECT_EQ(requester.request(runJob, nullptr, nullptr, nullptr), 0u);
  FlaggedArg arg(&job);
  EXPECT_EQ(requester.request(nullptr, &arg, nullptr, nullptr), 0u);
  pool.ClearRequests(nullptr); // must not raise the flag of an idle worker
  EXPECT_NE(submit(requester, job), 0u);
  await([&] { return job.finished == 1; });
  EXPECT_EQ(job.firstLook, 0);
}

} // namespace
