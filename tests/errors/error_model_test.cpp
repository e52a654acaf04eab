// The error model: BaseError and its inserts, errors of other families, and the last-error
// channel that client classes keep their failures in.

#include "basalt/errors/any_error.h"
#include "basalt/errors/base_error.h"
#include "basalt/errors/error_info.h"
#include "basalt/errors/error_inserts.h"
#include "basalt/errors/log_arguments.h"
#include "basalt/logging/core_log.h"

#include <atomic>
#include <climits>
#include <exception>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using basalt::CoreLog;
using TRELL_o::AnyError;
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
std::string describe(TRELL_o::AnyErrorInsert* insert);

template <typename Node> std::string describe(const Node& node) {
  std::string out = std::to_string(node.code()) + "[";
  for (int i = 0; i < node.numInserts(); ++i) {
    out += (i == 0 ? "" : ",") + describe(node.getInsert(i));
  }
  return out + "]";
}

std::string describe(TRELL_o::AnyErrorInsert* insert) {
  if (insert == nullptr) {
    return "null";
  }
  const unsigned short* text = insert->getText(nullptr);
  if (insert->isCoded() == 0) {
    return "'" + KELPString(text).string() + "'";
  }
  return text == nullptr ? "#" + std::to_string(insert->code()) : describe(*insert);
}

constexpr auto severityError = AnyError::SeverityError;
constexpr auto completedDefault = AnyError::CompletedDefault;
const char* const tree = "1['file.txt',2['x',3['deep']],#9]";

void addText(BaseError& target, const char* text) {
  target.addInsert(KELPString(text).c_str());
}

// The error that tree describes, with code in place of 1.
BaseError makeTree(unsigned int code = 1) {
  BaseError deep(3, "Deep", AnyError::SeverityCritical, completedDefault);
  addText(deep, "deep");
  BaseError inner(2, "Inner", AnyError::SeverityWarning, completedDefault);
  addText(inner, "x");
  inner.addInsert(deep);
  BaseError outer(code, "Outer", severityError, completedDefault);
  addText(outer, "file.txt");
  outer.addInsert(inner);
  outer.addInsert(9u);
  return outer;
}

// The array the log receives: entry i is insert i + 1, past %9 too, and a missing text keeps
// its place.
TEST(BaseError, InsertTextsKeepTheNumberingOfTheMessage) {
  CoreLog log;
  BaseError target(0xC7FE0001, "Outer", severityError, completedDefault);
  addText(target, "A");
  target.addInsert(static_cast<const unsigned short*>(nullptr));
  target.addInsert(makeTree());
  target.addInsert(42u);
  target.addNumInsert(-5);
  target.addNumInsert(INT_MIN);
  for (int i = 7; i <= 11; ++i) {
    target.addNumInsert(i);
  }
  const std::vector<const unsigned short*> texts = basalt::insertTexts(target, &log);
  std::string joined;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    joined += (texts[i] == nullptr ? "null" : KELPString(texts[i]).string()) + "|";
    EXPECT_EQ(texts[i], target.getInsert(static_cast<int>(i))->getText(&log)) << i;
  }
  // No message has words here, so the nested error gives an empty text.
  EXPECT_EQ(joined, "A|||null|-5|-2147483648|7|8|9|10|11|");
  EXPECT_EQ(target.getInsert(-1), nullptr);
  EXPECT_EQ(target.getInsert(11), nullptr);
  EXPECT_TRUE(target.getText(nullptr).empty());
}

TEST(BaseError, LogLevelFollowsTheSeverityAndIsDetailOutsideIt) {
  EXPECT_EQ(basalt::verbosityOf(AnyError::SeverityInformation), CoreLog::VerbosityInformation);
  EXPECT_EQ(basalt::verbosityOf(AnyError::SeverityCritical), CoreLog::VerbosityCritical);
  EXPECT_EQ(basalt::verbosityOf(static_cast<AnyError::Severity>(-1)), CoreLog::VerbosityDetail);
  EXPECT_EQ(basalt::verbosityOf(static_cast<AnyError::Severity>(4)), CoreLog::VerbosityDetail);
}

// The exception object is a copy of a local that is gone by the time it is caught.
TEST(BaseError, CopiesAssignmentsAndThrownErrorsShareNoInsert) {
  auto original = std::make_unique<BaseError>(makeTree());
  BaseError copy(*original);
  EXPECT_NE(copy.getInsert(1)->getInsert(1), original->getInsert(1)->getInsert(1));
  original.reset();
  EXPECT_EQ(describe(copy), tree);

  BaseError target(5, "Old", AnyError::SeverityInformation, completedDefault);
  addText(target, "old");
  target = copy;
  EXPECT_EQ(target.module().string(), "Outer");
  EXPECT_NE(target.getInsert(1), copy.getInsert(1));
  const BaseError& self = target;
  target = self;
  EXPECT_EQ(describe(target), tree);

  std::exception_ptr held;
  try {
    const BaseError local = makeTree();
    throw local;
  } catch (const AnyError&) {
    held = std::current_exception();
  }
  std::thread([&] {
    try {
      std::rethrow_exception(held);
    } catch (const AnyError& caught) {
      EXPECT_EQ(describe(caught), tree);
    }
  }).join();
}

// A client's insert whose clone throws halfway through a copy: nothing leaks, and the target
// stays as it was.
TEST(BaseError, FailingCloneLeavesNothingBehind) {
  int budget = 1;
  ClientError client(7);
  client.add(new ClientInsert("a", &budget));
  client.add(new ClientInsert("b", &budget));
  BaseError holder(1, "Outer", severityError, completedDefault);
  EXPECT_THROW(holder.addInsert(client), std::runtime_error);
  EXPECT_EQ(holder.numInserts(), 0);
  budget = 2;
  holder.addInsert(client);

  budget = 1;
  EXPECT_THROW(static_cast<void>(BaseError(holder)), std::runtime_error);
  BaseError target(9, "Target", AnyError::SeverityWarning, completedDefault);
  addText(target, "t");
  budget = 1;
  EXPECT_THROW(target = holder, std::runtime_error);
  EXPECT_EQ(target.module().string(), "Target");
  EXPECT_EQ(describe(target), "9['t']");

  // When the copy into the exception object fails, its failure is what is thrown.
  budget = 1;
  EXPECT_THROW(throw holder, std::runtime_error);
}

// A client class that records its failures in the channel instead of throwing.
class Component : public common::ErrorInfoBase {
public:
  bool open(unsigned int code) const {
    const BaseError error = makeTree(code);
    SetLastError(&error);
    return false;
  }
};

std::string stored(const common::ErrorInfo& channel) {
  const AnyError* error = channel.GetLastError();
  return error == nullptr ? "empty" : describe(*error);
}

TEST(ErrorInfo, StoresItsOwnCopyUntilReplacedOrClearedAndCopiesOwnTheirOwn) {
  auto component = std::make_unique<Component>();
  EXPECT_EQ(stored(*component), "empty");
  component->open(1); // the error passed in is gone when open returns
  EXPECT_EQ(stored(*component), tree);

  Component copy(*component);
  EXPECT_NE(copy.GetLastError(), component->GetLastError());
  Component assigned;
  assigned.open(2);
  assigned = copy;
  EXPECT_NE(assigned.GetLastError(), copy.GetLastError());
  const Component& self = assigned;
  assigned = self;

  component->open(3);
  component->SetLastError(component->GetLastError());
  EXPECT_EQ(stored(*component), "3['file.txt',2['x',3['deep']],#9]");
  component->SetLastError(nullptr);
  EXPECT_EQ(stored(*component), "empty");
  component.reset();
  EXPECT_EQ(stored(assigned), tree);
  assigned = Component();
  EXPECT_EQ(stored(assigned), "empty");
}

// An error of another family keeps its code, status and inserts, but not its words, module
// or hResult. Nested, a hole in its list closes up; stored, holes and nested errors (whose
// number has no words here) become empty texts in place.
TEST(ErrorInfo, ForeignErrorsKeepTheirInsertsButNotTheirWordsModuleOrHResult) {
  ClientError client(77);
  client.add(new ClientInsert("one"));
  client.add(nullptr);
  Component nested;
  nested.open(2);
  client.add(nested.GetLastError()->getInsert(1)->clone());
  client.add(new ClientInsert("two"));

  CoreLog log;
  AnyErrorContainer container(client);
  EXPECT_EQ(container.status(), 7);
  EXPECT_EQ(container.module().string(), "COMMONMODULE");
  EXPECT_EQ(container.hResult(), 0u);
  EXPECT_TRUE(container.getText(&log).empty());
  EXPECT_EQ(describe(container), "77['one',2['x',3['deep']],'two']");

  Component component;
  component.SetLastError(&client);
  AnyError* copy = component.GetLastError();
  EXPECT_EQ(copy->module().string(), "CLIENT");
  EXPECT_EQ(copy->status(), 7);
  EXPECT_EQ(copy->hResult(), 0u);
  EXPECT_TRUE(copy->getText(basalt::getLogObject()).empty()); // the client's words stay behind
  EXPECT_EQ(describe(*copy), "77['one','','','two']");
}

// Threads that each own an object never see one another's error, also while foreign errors
// are turned into text through the process's log.
TEST(ErrorInfo, EachObjectKeepsItsOwnErrorAcrossThreads) {
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (unsigned int t = 0; t < 4; ++t) {
    threads.emplace_back([t, &wrong] {
      Component component;
      for (unsigned int code = t * 1000; code < t * 1000 + 300; ++code) {
        ClientError client(code);
        client.add(new ClientInsert("text"));
        code % 2 == 0 ? component.SetLastError(&client) : static_cast<void>(component.open(code));
        const AnyError* error = component.GetLastError();
        wrong += error == nullptr || error->code() != code ? 1 : 0;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(wrong.load(), 0);
}

} // namespace
