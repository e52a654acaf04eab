#include "basalt/concurrency/flag.h"
#include "basalt/concurrency/request_queue.h"
#include "basalt/errors/base_error.h"
#include "basalt/platform/base/debug_output.h"
#include "support/bounded_wait.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

namespace plat = basalt::platform;
using basalt::FlaggedArg;
using basalt::Request;
using basalt::RequestQueue;
using basalt::ThreadRequester;

void* doNothing(FlaggedArg* /*arg*/) {
  return nullptr;
}

// Counts its calls in the int that its argument points to.
void* countCall(void* calls) {
  ++*static_cast<int*>(calls);
  return nullptr;
}

void* throwFromCleanup(void* calls) {
  countCall(calls);
  throw 7;
}

// Takes the queue's lock again from inside a removal, on the same thread.
void* lookAgain(void* queue) {
  EXPECT_EQ(static_cast<RequestQueue*>(queue)->RemoveRequestFromQueue(99), 0);
  return nullptr;
}

std::string debugText;
void keepDebugText(const char* text) {
  debugText = text;
}

// Requesters are only compared, so any distinct addresses serve.
const auto* const requesterA = reinterpret_cast<ThreadRequester*>(0x10);
const auto* const requesterB = reinterpret_cast<ThreadRequester*>(0x20);

// Queues one request per tag; each arg's data is the tag, for checking the order later.
void put(RequestQueue& queue, const std::string& tags, const ThreadRequester* requester,
         basalt::CleanupFunction cleanup = nullptr, void* cleanupArg = nullptr) {
  for (const char tag : tags) {
    queue.PutRequestInQueue(
        doNothing, new FlaggedArg(reinterpret_cast<void*>(static_cast<std::intptr_t>(tag))),
        requester, cleanup, cleanupArg);
  }
}

// Empties the queue and gives the tags in the order they came out.
std::string drain(RequestQueue& queue) {
  std::string tags;
  while (queue.Empty() == 0) {
    const Request request = queue.GetRequest();
    tags += static_cast<char>(reinterpret_cast<std::intptr_t>(request.arg->data));
    delete request.arg;
  }
  return tags;
}

// The BaseError that call throws, as "code module level"; empty when it throws none.
template <class Call> std::string thrown(Call call) {
  try {
    call();
  } catch (const BaseError& error) {
    return std::to_string(error.code()) + " " + error.module().string() + " " +
           std::to_string(error.level());
  }
  return "";
}

TEST(RequestQueue, FullPutAndEmptyGetThrowAndLeaveTheRingAsItWas) {
  RequestQueue queue(2);
  put(queue, "ab", requesterA);
  EXPECT_EQ(queue.Full(), 1);

  plat::setDebugOutputHook(keepDebugText);
  FlaggedArg refused(nullptr);
  const auto putRefused = [&] {
    queue.PutRequestInQueue(doNothing, &refused, requesterA, nullptr, nullptr);
  };
  EXPECT_EQ(thrown(putRefused), std::to_string(0x2017054) + " Thread 1");
  plat::setDebugOutputHook(nullptr);
  EXPECT_EQ(debugText, "ThreadPool queue is FULL!!!!!!");

  const Request oldest = queue.GetRequest();
  EXPECT_EQ(oldest.id, 1u);
  EXPECT_EQ(oldest.requester, requesterA);
  delete oldest.arg;
  put(queue, "c", requesterA); // into the place the first one left
  EXPECT_EQ(drain(queue), "bc");

  EXPECT_EQ(thrown([&] { queue.GetRequest(); }), std::to_string(0x2017056) + " Thread 1");

  RequestQueue none(0);
  EXPECT_THROW(none.PutRequestInQueue(doNothing, &refused, requesterA, nullptr, nullptr),
               BaseError);
}

TEST(RequestQueue, RemovalByIdKeepsTheOrderOfTheRestOnAWrappedRing) {
  RequestQueue queue(5);
  put(queue, "xyz", requesterA);
  EXPECT_EQ(drain(queue), "xyz"); // head now stands at place 3: the next five wrap
  int cleanups = 0;
  put(queue, "abcde", requesterA, countCall, &cleanups); // ids 4 to 8

  EXPECT_EQ(queue.RemoveRequestFromQueue(0), 0);
  EXPECT_EQ(queue.RemoveRequestFromQueue(99), 0);
  EXPECT_EQ(queue.RemoveRequestFromQueue(5), 1); // b, across the end of the ring from d
  EXPECT_EQ(queue.RemoveRequestFromQueue(8), 1); // e, the last
  EXPECT_EQ(cleanups, 0);                        // removal by id runs no clean-up
  put(queue, "fg", requesterA);
  EXPECT_EQ(drain(queue), "acdfg");
}

TEST(RequestQueue, RemovalByRequesterFillsGapsFromTheBackOfAFullRing) {
  RequestQueue queue(5);
  put(queue, "xy", requesterA);
  EXPECT_EQ(drain(queue), "xy");
  int cleanups = 0;
  put(queue, "a", requesterA);
  put(queue, "b", requesterB, countCall, &cleanups);
  put(queue, "c", requesterA);
  put(queue, "d", requesterB); // no clean-up: its arg goes all the same
  put(queue, "e", requesterA);

  queue.RemoveRequestsFromQueue(const_cast<ThreadRequester*>(requesterB));
  EXPECT_EQ(cleanups, 1);
  put(queue, "fg", requesterB, countCall, &cleanups);
  queue.RemoveRequestsFromQueue(nullptr); // nobody's
  EXPECT_EQ(drain(queue), "aecfg");
  EXPECT_EQ(cleanups, 1);
}

// A clean-up that throws stops no other removal; one that calls back into the queue finds its
// lock re-entrant.
TEST(RequestQueue, CleanupsThatThrowOrCallBackStopNoOtherRemoval) {
  RequestQueue queue(5);
  int calls = 0;
  put(queue, "ab", requesterA, throwFromCleanup, &calls);
  put(queue, "c", requesterB);
  put(queue, "d", requesterA, countCall, &calls);
  put(queue, "e", requesterA, lookAgain, &queue);
  basalt::test::finish("a removal", [&] {
    EXPECT_THROW(queue.RemoveRequestsFromQueue(const_cast<ThreadRequester*>(requesterA)), int);
  });
  EXPECT_EQ(calls, 3); // each clean-up once
  EXPECT_EQ(drain(queue), "c");
}

} // namespace
