#ifndef BASALT_CONCURRENCY_FLAG_H
#define BASALT_CONCURRENCY_FLAG_H

#include "basalt/concurrency/pavane_mutex.h"
#include "basalt/export.h"

namespace basalt {

// An integer read under somebody else's mutex: a pool worker's stop flag. value() takes the
// mutex; set() expects the writer to hold it already.
// May be shared between threads on those terms.
class BASALT_API Flag {
public:
  Flag(PavaneMutex* mutex, int value);
  ~Flag() = default;
  Flag(const Flag& other) = default;
  Flag& operator=(const Flag& other) = default;

  int value() const;
  void set(int value);

private:
  int flagValue;
  PavaneMutex* mutex;
};

// The argument of a pool's worker function: the caller's data, and the stop flag of the worker
// that runs it (0: go on; 1: stop as soon as you can). flag is null until a worker has taken
// the request. The fields' order is fixed: the worker writes the first.
// One thread at a time: the requester's until a worker takes it, then that worker's.
class BASALT_API FlaggedArg {
public:
  explicit FlaggedArg(void* data);
  FlaggedArg(const FlaggedArg& other) = default;
  FlaggedArg& operator=(const FlaggedArg& other) = default;

  Flag* flag;
  void* data;
};

} // namespace basalt

#endif
