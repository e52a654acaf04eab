#ifndef BASALT_TESTS_ERRORS_CLIENT_ERROR_H
#define BASALT_TESTS_ERRORS_CLIENT_ERROR_H

// An error of a client's own making: a TRELL_o::AnyError that is no BaseError, with inserts of
// its own kind, as components hand them to one another.

#include "basalt/errors/any_error.h"

#include <memory>
#include <stdexcept>
#include <vector>

namespace errors_test {

// A text insert whose clone fails once a shared budget of clones is spent, as a client's
// allocation might.
class ClientInsert : public TRELL_o::AnyErrorInsert {
public:
  explicit ClientInsert(const char* text, int* cloneBudget = nullptr)
      : text(text), cloneBudget(cloneBudget) {}

  unsigned int code() const override { return 0; }
  const unsigned short* getText(basalt::CoreLog* /*log*/) override { return text.c_str(); }
  int isCoded() const override { return 0; }
  int numInserts() const override { return 0; }
  TRELL_o::AnyErrorInsert* getInsert(int /*index*/) const override { return nullptr; }
  TRELL_o::AnyErrorInsert* clone() const override {
    if (cloneBudget != nullptr && (*cloneBudget)-- <= 0) {
      throw std::runtime_error("clone refused");
    }
    return new ClientInsert(*this);
  }

private:
  KELPString text;
  int* cloneBudget;
};

class ClientError : public TRELL_o::AnyError {
public:
  ClientError(unsigned int code, Severity severity) : number(code), severity(severity) {}

  // Takes ownership; a null insert stands for a hole in the client's list.
  void add(TRELL_o::AnyErrorInsert* insert) { inserts.emplace_back(insert); }

  unsigned int code() const override { return number; }
  Severity level() const override { return severity; }
  Completed status() const override { return static_cast<Completed>(7); }
  const KELPString& module() const override { return moduleName; }
  std::uint32_t hResult() const override { return 0x80004005; }
  const KELPString& getText(basalt::CoreLog* /*log*/) override { return text; }
  int numInserts() const override { return static_cast<int>(inserts.size()); }
  TRELL_o::AnyErrorInsert* getInsert(int index) const override {
    return index >= 0 && index < numInserts() ? inserts[index].get() : nullptr;
  }
  void log(basalt::CoreLog* /*log*/) const override {}

private:
  unsigned int number;
  Severity severity;
  KELPString moduleName{"CLIENT"};
  KELPString text{"the client's own words"};
  std::vector<std::unique_ptr<TRELL_o::AnyErrorInsert>> inserts;
};

} // namespace errors_test

#endif
