#include "basalt/errors/error_info.h"

#include "basalt/errors/base_error.h"
#include "basalt/errors/log_arguments.h"
#include "basalt/logging/core_log.h"

#include <memory>
#include <new>

namespace common {
namespace {

std::unique_ptr<BaseError> copyOf(const TRELL_o::AnyError& error) {
  if (const auto* base = dynamic_cast<const BaseError*>(&error)) {
    return std::make_unique<BaseError>(*base);
  }
  auto copy =
      std::make_unique<BaseError>(error.code(), error.module(), error.level(), error.status());
  for (const unsigned short* text : basalt::insertTexts(error, basalt::getLogObject())) {
    copy->addInsert(text);
  }
  return copy;
}

} // namespace

ErrorInfo::~ErrorInfo() = default;

ErrorInfoBase::ErrorInfoBase() : lastError(nullptr) {}

ErrorInfoBase::ErrorInfoBase(const ErrorInfoBase& other)
    : ErrorInfo(other),
      lastError(other.lastError != nullptr ? copyOf(*other.lastError).release() : nullptr) {}

ErrorInfoBase& ErrorInfoBase::operator=(const ErrorInfoBase& other) {
  if (this != &other) {
    std::unique_ptr<BaseError> copy;
    if (other.lastError != nullptr) {
      copy = copyOf(*other.lastError);
    }
    delete lastError;
    lastError = copy.release();
  }
  return *this;
}

ErrorInfoBase::~ErrorInfoBase() {
  delete lastError;
}

TRELL_o::AnyError* ErrorInfoBase::GetLastError() const {
  return lastError;
}

void ErrorInfoBase::SetLastError(const TRELL_o::AnyError* error) const {
  // The copy is made before the stored error goes, in case error is that one.
  std::unique_ptr<BaseError> copy;
  if (error != nullptr) {
    try {
      copy = copyOf(*error);
    } catch (const std::bad_alloc&) {
      // The channel ends up empty.
    }
  }
  ClearLastError();
  lastError = copy.release();
}

void ErrorInfoBase::ClearLastError() const {
  delete lastError;
  lastError = nullptr;
}

} // namespace common
