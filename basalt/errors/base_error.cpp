#include "basalt/errors/base_error.h"

#include "basalt/errors/error_inserts.h"
#include "basalt/errors/log_arguments.h"
#include "basalt/logging/core_log.h"
#include "basalt/text/formatted_text.h"

#include <cstddef>

namespace {

using Inserts = std::vector<TRELL_o::AnyErrorInsert*>;

void deleteAll(Inserts& inserts) {
  for (TRELL_o::AnyErrorInsert* insert : inserts) {
    delete insert;
  }
  inserts.clear();
}

// A clone of each insert, in order; a failing clone leaves nothing behind.
Inserts cloneAll(const Inserts& source) {
  Inserts clones;
  clones.reserve(source.size());
  try {
    for (const TRELL_o::AnyErrorInsert* insert : source) {
      clones.push_back(insert->clone());
    }
  } catch (...) {
    deleteAll(clones);
    throw;
  }
  return clones;
}

} // namespace

BaseError::BaseError(unsigned int code, const KELPString& module, Severity severity,
                     Completed completed)
    : errorCode(code), completed(completed), severity(severity), moduleName(module) {}

BaseError::BaseError(unsigned int code, const char* module, Severity severity, Completed completed)
    : errorCode(code), completed(completed), severity(severity), moduleName(module) {}

BaseError::BaseError(const BaseError& other)
    : AnyError(other), errorCode(other.errorCode), completed(other.completed),
      severity(other.severity), moduleName(other.moduleName), inserts(cloneAll(other.inserts)) {}

BaseError& BaseError::operator=(const BaseError& other) {
  // Everything that can fail is made before the target changes, which also makes
  // self-assignment safe.
  KELPString module(other.moduleName);
  Inserts clones = cloneAll(other.inserts);
  errorCode = other.errorCode;
  completed = other.completed;
  severity = other.severity;
  moduleName.swap(module);
  inserts.swap(clones);
  deleteAll(clones);
  text.clear();
  return *this;
}

BaseError::~BaseError() {
  deleteAll(inserts);
}

unsigned int BaseError::code() const {
  return errorCode;
}

TRELL_o::AnyError::Severity BaseError::level() const {
  return severity;
}

TRELL_o::AnyError::Completed BaseError::status() const {
  return completed;
}

const KELPString& BaseError::module() const {
  return moduleName;
}

std::uint32_t BaseError::hResult() const {
  return 0;
}

const KELPString& BaseError::getText(basalt::CoreLog* log) {
  if (!text.empty() || log == nullptr) {
    return text;
  }
  std::vector<const unsigned short*> texts = basalt::insertTexts(*this, log);
  log->get(text, errorCode, static_cast<int>(texts.size()), texts.data());
  return text;
}

int BaseError::numInserts() const {
  return static_cast<int>(inserts.size());
}

TRELL_o::AnyErrorInsert* BaseError::getInsert(int index) const {
  if (index < 0 || static_cast<std::size_t>(index) >= inserts.size()) {
    return nullptr;
  }
  return inserts[static_cast<std::size_t>(index)];
}

void BaseError::log(basalt::CoreLog* log) const {
  if (log == nullptr) {
    return;
  }
  std::vector<const unsigned short*> texts = basalt::insertTexts(*this, log);
  log->log(errorCode, basalt::verbosityOf(severity), moduleName, KELPString(),
           static_cast<int>(texts.size()), texts.data());
}

void BaseError::addInsert(const unsigned short* text) {
  adopt(std::make_unique<AnyErrorStringInsert>(KELPString(text)));
}

void BaseError::addInsert(const TRELL_o::AnyError& error) {
  adopt(std::make_unique<AnyErrorErrorInsert>(error));
}

void BaseError::addInsert(unsigned int number) {
  adopt(std::make_unique<AnyErrorHandleInsert>(number));
}

void BaseError::addNumInsert(int value) {
  unsigned short buffer[64] = {};
  suprintf(buffer, 63, "%d", value);
  addInsert(buffer);
}

void BaseError::adopt(std::unique_ptr<TRELL_o::AnyErrorInsert> insert) {
  inserts.push_back(insert.get());
  static_cast<void>(insert.release()); // the vector owns it now
}
