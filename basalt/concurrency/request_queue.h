#ifndef BASALT_CONCURRENCY_REQUEST_QUEUE_H
#define BASALT_CONCURRENCY_REQUEST_QUEUE_H

#include "basalt/concurrency/pavane_mutex.h"
#include "basalt/export.h"

#include <cstdint>
#include <vector>

namespace basalt {

class FlaggedArg;
class ThreadRequester;

using WorkFunction = void* (*)(FlaggedArg*);
using CleanupFunction = void* (*)(void*);

// One call of a worker function, as it waits in a RequestQueue. A free place of the queue has
// requester and id 0.
// A value: one thread at a time, or under the lock of the queue that holds it.
class BASALT_API Request {
public:
  Request() = default;

  // orderKey alone takes part; both give 1 or 0.
  int operator<(const Request& other) const;
  int operator==(const Request& other) const;

  WorkFunction function = nullptr;
  FlaggedArg* arg = nullptr; // made with new by the caller; owned by the queue while queued
  CleanupFunction cleanup = nullptr;
  void* cleanupArg = nullptr;
  const ThreadRequester* requester = nullptr; // only compared, never followed
  std::uint32_t id = 0;
  std::uint32_t orderKey = 0;
};

// Matches a request by its id.
// One object belongs to one thread at a time.
class BASALT_API ReqIdMatcher {
public:
  ReqIdMatcher() = default;
  explicit ReqIdMatcher(std::uint32_t value) : id(value) {}

  void setId(std::uint32_t value) { id = value; }
  int operator()(const Request& request) const { return request.id == id ? 1 : 0; }

private:
  std::uint32_t id = 0;
};

// Matches a request by the requester that made it.
// One object belongs to one thread at a time.
class BASALT_API RequesterMatcher {
public:
  RequesterMatcher() = default;
  explicit RequesterMatcher(ThreadRequester* value) : requester(value) {}

  void setHandle(ThreadRequester* value) { requester = value; }
  int operator()(const Request& request) const { return request.requester == requester ? 1 : 0; }

private:
  ThreadRequester* requester = nullptr;
};

// A bounded ring of requests with its own lock, fixed in size at construction, which also
// hands out the request ids: 1, 2, ... and on at 1 after the largest 32-bit number. It never
// blocks: a put on a full ring and a get on an empty one throw BaseError (module "Thread"),
// and waiting for room or work is the caller's business.
//
// Empty and Full read the count without the lock; their answer holds only under a lock of
// the caller's that also covers every change, as a ThreadPool's does.
// May be shared between threads.
class BASALT_API RequestQueue {
public:
  explicit RequestQueue(unsigned short capacity);
  // The args of requests still queued are left alone.
  ~RequestQueue();
  RequestQueue(const RequestQueue&) = delete;
  RequestQueue& operator=(const RequestQueue&) = delete;

  int Empty() const { return count == 0 ? 1 : 0; }
  int Full() const { return count == capacity ? 1 : 0; }

  // Queues a request and returns its id. On a full ring: the debug text "ThreadPool queue is
  // FULL!!!!!!" and BaseError 0x2017054; arg stays with the caller.
  std::uint32_t PutRequestInQueue(WorkFunction function, FlaggedArg* arg,
                                  const ThreadRequester* requester, CleanupFunction cleanup,
                                  void* cleanupArg);
  // Takes the oldest request, and with it its arg. BaseError 0x2017056 when empty.
  Request GetRequest();
  // Removes the queued request with this id and deletes its arg without calling its clean-up;
  // the others keep their order. 1 if removed, 0 if no queued request has the id (or it is
  // 0). BaseError 0x2017055 when two have it.
  int RemoveRequestFromQueue(std::uint32_t id);
  // Removes every queued request of requester, calling its clean-up function (under the
  // queue's lock) and deleting its arg. The request at the back fills each gap, so the order
  // of the rest changes. A clean-up function that throws doesn't stop the walk: the first
  // exception is thrown again once every request of requester is gone.
  void RemoveRequestsFromQueue(ThreadRequester* requester);

private:
  unsigned short next(unsigned short place) const;
  unsigned short previous(unsigned short place) const;
  static void freePlace(Request& request);

  unsigned short head = 0;
  unsigned short tail = 0;
  std::vector<Request> slots;
  unsigned short capacity;
  unsigned short count = 0;
  std::uint32_t lastId = 0;
  PavaneMutex lock;
};

} // namespace basalt

#endif
