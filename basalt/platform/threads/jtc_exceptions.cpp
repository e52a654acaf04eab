#include "basalt/platform/threads/jtc_exceptions.h"

#include <cstring>
#include <utility>

namespace basalt::platform {

JTCException::JTCException(std::string message) : message(std::move(message)) {}

const char* JTCException::what() const noexcept {
  return message.c_str();
}

JTCInterruptedException::JTCInterruptedException() : JTCException("the thread was interrupted") {}

namespace {

std::string failure(const char* call, int error) {
  const char* description = ::strerrordesc_np(error);
  return std::string(call) +
         " failed: " + (description != nullptr ? description : "error " + std::to_string(error));
}

} // namespace

JTCSystemCallException::JTCSystemCallException(const char* call, int error)
    : JTCException(failure(call, error)), error(error) {}

JTCIllegalThreadStateException::JTCIllegalThreadStateException(const char* what)
    : JTCException(what) {}

JTCIllegalMonitorStateException::JTCIllegalMonitorStateException(const char* what)
    : JTCException(what) {}

JTCIllegalArgumentException::JTCIllegalArgumentException(const char* what) : JTCException(what) {}

} // namespace basalt::platform
