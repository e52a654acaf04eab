#include "basalt/errors/base_error.h"
#include "basalt/errors/error_inserts.h"
#include "basalt/errors/log_arguments.h"
#include "basalt/logging/core_log.h"
#include "error_test_support.h"

#include <climits>
#include <exception>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using basalt::CoreLog;
using errors_test::ClientError;
using errors_test::ClientInsert;
using errors_test::describe;
using TRELL_o::AnyError;

constexpr auto severityError = AnyError::SeverityError;
constexpr auto completedDefault = AnyError::CompletedDefault;
const char* const tree = "1['file.txt',2['x',3['deep']],#9]";

std::string textOf(const unsigned short* text) {
  return text == nullptr ? "null" : KELPString(text).string();
}

void addText(BaseError& target, const char* text) {
  target.addInsert(KELPString(text).c_str());
}

BaseError makeTree() {
  BaseError deep(3, "Deep", AnyError::SeverityCritical, completedDefault);
  addText(deep, "deep");
  BaseError inner(2, "Inner", AnyError::SeverityWarning, completedDefault);
  addText(inner, "x");
  inner.addInsert(deep);
  BaseError outer(1, "Outer", severityError, completedDefault);
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
    joined += textOf(texts[i]) + "|";
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

TEST(BaseError, CopiesAndAssignmentsShareNoInsert) {
  auto original = std::make_unique<BaseError>(makeTree());
  BaseError copy(*original);
  EXPECT_NE(copy.getInsert(1)->getInsert(1), original->getInsert(1)->getInsert(1));
  original.reset();
  EXPECT_EQ(describe(copy), tree);

  BaseError target(5, "Old", AnyError::SeverityInformation, completedDefault);
  addText(target, "old");
  target = copy;
  EXPECT_EQ(target.module().string(), "Outer");
  EXPECT_EQ(target.level(), severityError);
  EXPECT_NE(target.getInsert(1), copy.getInsert(1));
  const BaseError& self = target;
  target = self;
  EXPECT_EQ(describe(target), tree);
}

TEST(BaseError, NestedErrorKeepsAllButModuleTextAndHResult) {
  ClientError client(77);
  client.add(new ClientInsert("a"));
  client.add(nullptr);
  client.add(new ClientInsert("b"));
  CoreLog log;
  AnyErrorContainer nested(client);
  EXPECT_EQ(nested.level(), AnyError::SeverityCritical);
  EXPECT_EQ(nested.status(), 7);
  EXPECT_EQ(nested.module().string(), "COMMONMODULE");
  EXPECT_EQ(nested.hResult(), 0u);
  EXPECT_TRUE(nested.getText(&log).empty());
  EXPECT_EQ(describe(nested), "77['a','b']"); // the hole is closed up
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

TEST(BaseError, ThrownByValueCaughtRethrownAndCarriedAcrossThreads) {
  CoreLog log;
  std::exception_ptr held;
  try {
    try {
      const BaseError local = makeTree();
      throw local;
    } catch (AnyError& caught) {
      EXPECT_TRUE(caught.getText(&log).empty());
      throw;
    }
  } catch (const BaseError&) {
    held = std::current_exception();
  }
  std::thread other([&] {
    try {
      std::rethrow_exception(held);
    } catch (const AnyError& caught) {
      EXPECT_EQ(describe(caught), tree);
    }
  });
  other.join();
}

} // namespace
