#include "basalt/errors/error_inserts.h"

AnyErrorContainer::AnyErrorContainer(const TRELL_o::AnyError& error)
    : BaseError(error.code(), "COMMONMODULE", error.level(), error.status()) {
  const int count = error.numInserts();
  for (int i = 0; i < count; ++i) {
    if (const TRELL_o::AnyErrorInsert* insert = error.getInsert(i)) {
      adopt(std::unique_ptr<TRELL_o::AnyErrorInsert>(insert->clone()));
    }
  }
}

AnyErrorContainer::~AnyErrorContainer() = default;

AnyErrorStringInsert::AnyErrorStringInsert(const KELPString& text) : text(text) {}

AnyErrorStringInsert::~AnyErrorStringInsert() = default;

unsigned int AnyErrorStringInsert::code() const {
  return 0;
}

const unsigned short* AnyErrorStringInsert::getText(basalt::CoreLog* /*log*/) {
  return text.c_str();
}

int AnyErrorStringInsert::isCoded() const {
  return 0;
}

int AnyErrorStringInsert::numInserts() const {
  return 0;
}

TRELL_o::AnyErrorInsert* AnyErrorStringInsert::getInsert(int /*index*/) const {
  return nullptr;
}

TRELL_o::AnyErrorInsert* AnyErrorStringInsert::clone() const {
  return new AnyErrorStringInsert(text);
}

AnyErrorErrorInsert::AnyErrorErrorInsert(const TRELL_o::AnyError& nested) : error(nested) {}

AnyErrorErrorInsert::~AnyErrorErrorInsert() = default;

unsigned int AnyErrorErrorInsert::code() const {
  return error.code();
}

const unsigned short* AnyErrorErrorInsert::getText(basalt::CoreLog* log) {
  return error.getText(log).c_str();
}

int AnyErrorErrorInsert::isCoded() const {
  return 1;
}

int AnyErrorErrorInsert::numInserts() const {
  return error.numInserts();
}

TRELL_o::AnyErrorInsert* AnyErrorErrorInsert::getInsert(int index) const {
  return error.getInsert(index);
}

TRELL_o::AnyErrorInsert* AnyErrorErrorInsert::clone() const {
  return new AnyErrorErrorInsert(error);
}

AnyErrorHandleInsert::AnyErrorHandleInsert(unsigned int number) : number(number) {}

AnyErrorHandleInsert::~AnyErrorHandleInsert() = default;

unsigned int AnyErrorHandleInsert::code() const {
  return number;
}

const unsigned short* AnyErrorHandleInsert::getText(basalt::CoreLog* /*log*/) {
  return nullptr;
}

int AnyErrorHandleInsert::isCoded() const {
  return 1;
}

int AnyErrorHandleInsert::numInserts() const {
  return 0;
}

TRELL_o::AnyErrorInsert* AnyErrorHandleInsert::getInsert(int /*index*/) const {
  return nullptr;
}

TRELL_o::AnyErrorInsert* AnyErrorHandleInsert::clone() const {
  return new AnyErrorHandleInsert(number);
}
