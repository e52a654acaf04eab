#ifndef BASALT_ERRORS_ERROR_INFO_H
#define BASALT_ERRORS_ERROR_INFO_H

#include "basalt/errors/any_error.h"
#include "basalt/export.h"

namespace common {

// How an object tells callers that don't take exceptions what went wrong in its last
// operation: it keeps a copy of the error, and the caller fetches it after a call reported
// failure. The channel belongs to the object; nothing is kept per thread or per process.
// One object belongs to one thread at a time.
class BASALT_API ErrorInfo {
public:
  ErrorInfo(const ErrorInfo&) = default;
  ErrorInfo& operator=(const ErrorInfo&) = default;

  // The stored error, or null. It stays owned by the channel and good until the next
  // SetLastError or ClearLastError, or until the object goes.
  virtual TRELL_o::AnyError* GetLastError() const = 0;
  // Stores a copy of error in place of the one stored.
  virtual void SetLastError(const TRELL_o::AnyError* error) const = 0;
  virtual void ClearLastError() const = 0;

protected:
  ErrorInfo() = default;
  virtual ~ErrorInfo();
};

// The channel to derive from. Its operations are const so that a const operation can record
// a failure. It has no lock: an object with a channel belongs to one thread at a time.
class BASALT_API ErrorInfoBase : public ErrorInfo {
public:
  // A copy holds a copy of the stored error, so each channel owns its own.
  ErrorInfoBase(const ErrorInfoBase& other);
  ErrorInfoBase& operator=(const ErrorInfoBase& other);

  TRELL_o::AnyError* GetLastError() const override;
  // Stores a BaseError: a BaseError, or the BaseError in a class derived from it, is copied
  // with its inserts; any other error becomes one with its number, module, severity and
  // status, and its inserts as texts made through the process's log now. The cached text is
  // not copied. error may die right after the call, and may be what GetLastError returned; a
  // null error, or one that can't be copied for want of memory, leaves the channel empty. An
  // exception from a client's insert passes on and leaves the stored error as it was.
  void SetLastError(const TRELL_o::AnyError* error) const override;
  void ClearLastError() const override;

protected:
  ErrorInfoBase();
  ~ErrorInfoBase() override;

private:
  mutable TRELL_o::AnyError* lastError; // owned
};

} // namespace common

#endif
