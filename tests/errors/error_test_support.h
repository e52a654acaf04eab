#ifndef BASALT_TESTS_ERRORS_ERROR_TEST_SUPPORT_H
#define BASALT_TESTS_ERRORS_ERROR_TEST_SUPPORT_H

#include "basalt/errors/any_error.h"

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace errors_test {

// An insert of a client's own making, whose clone fails once a shared budget is spent.
class ClientInsert : public TRELL_o::AnyErrorInsert {
public:
  explicit ClientInsert(const char* text, int* budget = nullptr) : text(text), budget(budget) {}
  unsigned int code() const override { return 0; }
  const unsigned short* getText(basalt::CoreLog*) override { return text.c_str(); }
  int isCoded() const override { return 0; }
  int numInserts() const override { return 0; }
  TRELL_o::AnyErrorInsert* getInsert(int) const override { return nullptr; }
  TRELL_o::AnyErrorInsert* clone() const override {
    if (budget != nullptr && (*budget)-- <= 0) {
      throw std::runtime_error("clone refused");
    }
    return new ClientInsert(*this);
  }

private:
  KELPString text;
  int* budget;
};

// An error of another family than BaseError, with words and an hResult of its own.
class ClientError : public TRELL_o::AnyError {
public:
  explicit ClientError(unsigned int code) : number(code) {}
  // Takes ownership; null stands for a hole in the list.
  void add(TRELL_o::AnyErrorInsert* insert) { inserts.emplace_back(insert); }
  unsigned int code() const override { return number; }
  Severity level() const override { return SeverityCritical; }
  Completed status() const override { return static_cast<Completed>(7); }
  const KELPString& module() const override { return moduleName; }
  std::uint32_t hResult() const override { return 0x80004005; }
  const KELPString& getText(basalt::CoreLog*) override { return text; }
  int numInserts() const override { return static_cast<int>(inserts.size()); }
  TRELL_o::AnyErrorInsert* getInsert(int index) const override {
    return index >= 0 && index < numInserts() ? inserts[index].get() : nullptr;
  }
  void log(basalt::CoreLog*) const override {}

private:
  unsigned int number;
  KELPString moduleName{"CLIENT"};
  KELPString text{"the client's own words"};
  std::vector<std::unique_ptr<TRELL_o::AnyErrorInsert>> inserts;
};

// An error's inserts as text, nested errors in brackets: 1['a',2['b'],#9,null] is error 1
// with a text, a nested error 2, a handle 9 and a missing insert.
inline std::string describe(TRELL_o::AnyErrorInsert* insert);

template <typename Node> std::string describeNode(const Node& node) {
  std::string out = std::to_string(node.code()) + "[";
  for (int i = 0; i < node.numInserts(); ++i) {
    out += (i == 0 ? "" : ",") + describe(node.getInsert(i));
  }
  return out + "]";
}

inline std::string describe(const TRELL_o::AnyError& error) {
  return describeNode(error);
}

inline std::string describe(TRELL_o::AnyErrorInsert* insert) {
  if (insert == nullptr) {
    return "null";
  }
  const unsigned short* text = insert->getText(nullptr);
  if (insert->isCoded() == 0) {
    return "'" + KELPString(text).string() + "'";
  }
  return text == nullptr ? "#" + std::to_string(insert->code()) : describeNode(*insert);
}

} // namespace errors_test

#endif
