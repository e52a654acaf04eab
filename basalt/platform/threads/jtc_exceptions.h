#ifndef BASALT_PLATFORM_THREADS_JTC_EXCEPTIONS_H
#define BASALT_PLATFORM_THREADS_JTC_EXCEPTIONS_H

// What the thread library throws. Every exception carries a sentence for people; a failed
// system call also carries its error number.

#include "basalt/export.h"

#include <exception>
#include <string>

namespace basalt::platform {

// The thread library's exceptions. Each is a value of the thread that caught it.
class BASALT_API JTCException : public std::exception {
public:
  explicit JTCException(std::string message);
  const char* what() const noexcept override;
  const std::string& getMessage() const { return message; }

private:
  std::string message;
};

// A wait or join ended before its time because the thread was interrupted.
class BASALT_API JTCInterruptedException : public JTCException {
public:
  JTCInterruptedException();
};

// The system refused a call; getError() is the error number it gave.
class BASALT_API JTCSystemCallException : public JTCException {
public:
  JTCSystemCallException(const char* call, int error);
  int getError() const { return error; }

private:
  int error;
};

// An operation that the thread's state doesn't allow: starting it twice, joining itself.
class BASALT_API JTCIllegalThreadStateException : public JTCException {
public:
  explicit JTCIllegalThreadStateException(const char* what);
};

// A wait, notify or unlock by a thread that doesn't hold the lock.
class BASALT_API JTCIllegalMonitorStateException : public JTCException {
public:
  explicit JTCIllegalMonitorStateException(const char* what);
};

// An argument outside what the operation takes, such as a negative time-out.
class BASALT_API JTCIllegalArgumentException : public JTCException {
public:
  explicit JTCIllegalArgumentException(const char* what);
};

} // namespace basalt::platform

#endif
