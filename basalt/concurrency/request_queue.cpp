#include "basalt/concurrency/request_queue.h"

#include "basalt/concurrency/flag.h"
#include "basalt/errors/base_error.h"
#include "basalt/platform/base/debug_output.h"

#include <exception>

namespace basalt {

namespace plat = platform;

namespace {

[[noreturn]] void throwQueueError(unsigned int code) {
  throw BaseError(code, "Thread", BaseError::SeverityWarning, BaseError::CompletedDefault);
}

} // namespace

int Request::operator<(const Request& other) const {
  return orderKey < other.orderKey ? 1 : 0;
}

int Request::operator==(const Request& other) const {
  return orderKey == other.orderKey ? 1 : 0;
}

RequestQueue::RequestQueue(unsigned short capacity) : slots(capacity), capacity(capacity) {}

RequestQueue::~RequestQueue() = default;

unsigned short RequestQueue::next(unsigned short place) const {
  return place + 1 == capacity ? 0 : place + 1;
}

unsigned short RequestQueue::previous(unsigned short place) const {
  return place == 0 ? capacity - 1 : place - 1;
}

void RequestQueue::freePlace(Request& request) {
  request = Request();
}

std::uint32_t RequestQueue::PutRequestInQueue(WorkFunction function, FlaggedArg* arg,
                                              const ThreadRequester* requester,
                                              CleanupFunction cleanup, void* cleanupArg) {
  PavaneSynchronized guard(lock);
  if (count == capacity) {
    plat::OutputDebugStringW(KELPString("ThreadPool queue is FULL!!!!!!").c_str());
    throwQueueError(0x2017054);
  }
  if (++lastId == 0) {
    lastId = 1; // 0 marks a free place
  }
  Request& place = slots[tail];
  place.id = lastId;
  place.function = function;
  place.arg = arg;
  place.requester = requester;
  place.cleanup = cleanup;
  place.cleanupArg = cleanupArg;
  tail = next(tail);
  ++count;
  return lastId;
}

Request RequestQueue::GetRequest() {
  PavaneSynchronized guard(lock);
  if (count == 0) {
    throwQueueError(0x2017056);
  }
  Request oldest = slots[head];
  freePlace(slots[head]);
  head = next(head);
  --count;
  return oldest;
}

int RequestQueue::RemoveRequestFromQueue(std::uint32_t id) {
  if (id == 0) {
    return 0;
  }
  PavaneSynchronized guard(lock);
  const ReqIdMatcher matches(id);
  unsigned short found = 0;
  unsigned short matchCount = 0;
  for (unsigned short i = head, left = count; left > 0; i = next(i), --left) {
    if (matches(slots[i]) != 0) {
      found = i;
      ++matchCount;
    }
  }
  if (matchCount == 0) {
    return 0;
  }
  if (matchCount > 1) {
    throwQueueError(0x2017055);
  }
  delete slots[found].arg;
  const unsigned short last = previous(tail);
  for (unsigned short i = found; i != last; i = next(i)) {
    slots[i] = slots[next(i)];
  }
  freePlace(slots[last]);
  tail = last;
  --count;
  return 1;
}

void RequestQueue::RemoveRequestsFromQueue(ThreadRequester* requester) {
  std::exception_ptr failure;
  {
    PavaneSynchronized guard(lock);
    const RequesterMatcher matches(requester);
    // The count, not a comparison with tail, ends the walk: head equals tail on a full ring.
    for (unsigned short i = head, left = count; left > 0; --left) {
      Request& request = slots[i];
      if (matches(request) == 0) {
        i = next(i);
        continue;
      }
      if (request.cleanup != nullptr) {
        try {
          request.cleanup(request.cleanupArg);
        } catch (...) {
          if (!failure) {
            failure = std::current_exception();
          }
        }
      }
      delete request.arg;
      // The request at the back moves into the gap and is looked at next.
      const unsigned short last = previous(tail);
      if (i != last) {
        request = slots[last];
      }
      freePlace(slots[last]);
      --count;
      tail = last;
    }
  }
  if (failure) {
    std::rethrow_exception(failure);
  }
}

} // namespace basalt
