#include "basalt/errors/base_error.h"
#include "basalt/errors/error_inserts.h"
#include "basalt/errors/log_arguments.h"
#include "basalt/logging/core_log.h"
#include "client_error.h"

#include <climits>
#include <exception>
#include <gtest/gtest.h>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using basalt::CoreLog;
using errors_test::ClientError;
using errors_test::ClientInsert;
using TRELL_o::AnyError;
using TRELL_o::AnyErrorInsert;

std::string textOf(const unsigned short* text) {
  return text == nullptr ? "<null>" : KELPString(text).string();
}

void addText(BaseError& error, const char* text) {
  error.addInsert(KELPString(text).c_str());
}

// Every insert of the tree under error, depth first.
void collectInserts(const AnyError& error, std::vector<AnyErrorInsert*>& out) {
  for (int i = 0; i < error.numInserts(); ++i) {
    AnyErrorInsert* insert = error.getInsert(i);
    out.push_back(insert);
    for (int j = 0; j < insert->numInserts(); ++j) {
      out.push_back(insert->getInsert(j));
    }
  }
}

// Outer(1) with "file.txt", Inner(2) holding "x" and Deep(3) holding "deep", and handle 9.
BaseError makeTree() {
  BaseError deep(3, "Deep", AnyError::SeverityCritical, AnyError::CompletedDefault);
  addText(deep, "deep");
  BaseError inner(2, "Inner", AnyError::SeverityWarning, static_cast<AnyError::Completed>(5));
  addText(inner, "x");
  inner.addInsert(deep);
  BaseError outer(1, "Outer", AnyError::SeverityError, AnyError::CompletedDefault);
  addText(outer, "file.txt");
  outer.addInsert(inner);
  outer.addInsert(9u);
  return outer;
}

// added: inserts put behind the three of the tree.
void expectTree(const AnyError& error, int added = 0) {
  EXPECT_EQ(error.code(), 1u);
  EXPECT_EQ(error.level(), AnyError::SeverityError);
  ASSERT_EQ(error.numInserts(), 3 + added);
  EXPECT_EQ(textOf(error.getInsert(0)->getText(nullptr)), "file.txt");
  AnyErrorInsert* inner = error.getInsert(1);
  EXPECT_EQ(inner->code(), 2u);
  EXPECT_EQ(inner->isCoded(), 1);
  ASSERT_EQ(inner->numInserts(), 2);
  EXPECT_EQ(textOf(inner->getInsert(0)->getText(nullptr)), "x");
  AnyErrorInsert* deep = inner->getInsert(1);
  EXPECT_EQ(deep->code(), 3u);
  ASSERT_EQ(deep->numInserts(), 1);
  EXPECT_EQ(textOf(deep->getInsert(0)->getText(nullptr)), "deep");
  EXPECT_EQ(deep->getInsert(1), nullptr);
  EXPECT_EQ(error.getInsert(2)->code(), 9u);
  EXPECT_EQ(error.getInsert(2)->isCoded(), 1);
  EXPECT_EQ(error.getInsert(2)->getText(nullptr), nullptr);
}

// The array the log receives: entry i is insert i + 1, past %9 as well, and a missing text
// keeps its place.
TEST(BaseError, InsertTextsKeepTheNumberingOfTheMessage) {
  CoreLog log;
  BaseError nested(0xC7FE0005, "Inner", AnyError::SeverityWarning, AnyError::CompletedDefault);
  addText(nested, "inner insert");
  BaseError error(0xC7FE0001, "Outer", AnyError::SeverityError, AnyError::CompletedDefault);
  addText(error, "A");
  error.addInsert(static_cast<const unsigned short*>(nullptr));
  error.addInsert(nested);
  error.addInsert(42u);
  error.addNumInsert(-5);
  error.addNumInsert(INT_MIN);
  for (int i = 7; i <= 12; ++i) {
    error.addNumInsert(i);
  }

  const std::vector<const unsigned short*> texts = basalt::insertTexts(error, &log);
  ASSERT_EQ(texts.size(), 12u);
  EXPECT_EQ(textOf(texts[0]), "A");
  EXPECT_EQ(textOf(texts[1]), "");
  EXPECT_EQ(textOf(texts[2]), ""); // no message has words here
  EXPECT_EQ(texts[3], nullptr);
  EXPECT_EQ(textOf(texts[4]), "-5");
  EXPECT_EQ(textOf(texts[5]), "-2147483648");
  for (int i = 7; i <= 12; ++i) {
    EXPECT_EQ(textOf(texts[i - 1]), std::to_string(i));
  }
  // The pointers are the inserts' own, good as long as the error.
  for (int i = 0; i < 12; ++i) {
    EXPECT_EQ(texts[i], error.getInsert(i)->getText(&log)) << i;
  }

  EXPECT_EQ(error.numInserts(), 12);
  EXPECT_EQ(error.getInsert(-1), nullptr);
  EXPECT_EQ(error.getInsert(12), nullptr);
  EXPECT_EQ(error.getInsert(0)->isCoded(), 0);
  EXPECT_EQ(error.getInsert(0)->code(), 0u);
  EXPECT_EQ(error.getInsert(2)->code(), 0xC7FE0005u);
  EXPECT_EQ(error.getInsert(2)->isCoded(), 1);
  EXPECT_EQ(error.getInsert(3)->code(), 42u);

  // Without words for the number the text stays empty, and so does the cache.
  EXPECT_TRUE(error.getText(&log).empty());
  EXPECT_TRUE(error.getText(&log).empty());
  EXPECT_TRUE(error.getText(nullptr).empty());
  EXPECT_EQ(error.hResult(), 0u);
  EXPECT_TRUE(basalt::insertTexts(
                  BaseError(1, "M", AnyError::SeverityError, AnyError::CompletedDefault), &log)
                  .empty());
}

TEST(BaseError, LogLevelFollowsTheSeverity) {
  EXPECT_EQ(basalt::verbosityOf(AnyError::SeverityInformation), CoreLog::VerbosityInformation);
  EXPECT_EQ(basalt::verbosityOf(AnyError::SeverityWarning), CoreLog::VerbosityWarning);
  EXPECT_EQ(basalt::verbosityOf(AnyError::SeverityError), CoreLog::VerbosityError);
  EXPECT_EQ(basalt::verbosityOf(AnyError::SeverityCritical), CoreLog::VerbosityCritical);
  EXPECT_EQ(basalt::verbosityOf(static_cast<AnyError::Severity>(-1)), CoreLog::VerbosityDetail);
  EXPECT_EQ(basalt::verbosityOf(static_cast<AnyError::Severity>(4)), CoreLog::VerbosityDetail);

  // Logging reads the inserts and leaves the error as it was; a null log is ignored.
  BaseError error = makeTree();
  CoreLog log;
  error.log(&log);
  error.log(nullptr);
  static_cast<const BaseError&>(error).log(basalt::getLogObject());
  expectTree(error);
}

TEST(BaseError, NestedErrorsAreDeepCopies) {
  BaseError original = makeTree();
  auto outer = std::make_unique<BaseError>(original);
  expectTree(*outer);

  // Neither the copy nor a further copy of it shares an insert with the other, at any depth.
  BaseError copy(*outer);
  std::vector<AnyErrorInsert*> ours;
  std::vector<AnyErrorInsert*> theirs;
  collectInserts(copy, ours);
  collectInserts(*outer, theirs);
  ASSERT_EQ(ours.size(), theirs.size());
  std::set<AnyErrorInsert*> all(ours.begin(), ours.end());
  all.insert(theirs.begin(), theirs.end());
  EXPECT_EQ(all.size(), ours.size() * 2);
  outer.reset();
  expectTree(copy);

  // What a nested error keeps: everything but its module, text and hResult.
  ClientError client(77, AnyError::SeverityCritical);
  client.add(new ClientInsert("a"));
  client.add(nullptr);
  client.add(new ClientInsert("b"));
  CoreLog log;
  AnyErrorContainer container(client);
  EXPECT_EQ(container.code(), 77u);
  EXPECT_EQ(container.level(), AnyError::SeverityCritical);
  EXPECT_EQ(container.status(), 7);
  EXPECT_EQ(container.module().string(), "COMMONMODULE");
  EXPECT_EQ(container.hResult(), 0u);
  EXPECT_TRUE(container.getText(&log).empty());
  // A hole in the client's list is closed up.
  ASSERT_EQ(container.numInserts(), 2);
  EXPECT_EQ(textOf(container.getInsert(0)->getText(&log)), "a");
  EXPECT_EQ(textOf(container.getInsert(1)->getText(&log)), "b");
}

TEST(BaseError, AssignmentReplacesEverythingAndSurvivesItself) {
  BaseError target(5, "Old", AnyError::SeverityInformation, AnyError::CompletedDefault);
  addText(target, "old");
  target.addInsert(makeTree());
  const BaseError source = makeTree();
  target = source;
  EXPECT_EQ(target.module().string(), "Outer");
  expectTree(target);
  EXPECT_NE(target.getInsert(1), source.getInsert(1));

  const BaseError& self = target;
  target = self;
  expectTree(target);
  EXPECT_EQ(target.module().string(), "Outer");

  // A nested copy assigned to a plain error brings its module along.
  target = AnyErrorContainer(source);
  EXPECT_EQ(target.module().string(), "COMMONMODULE");
  expectTree(target);

  // Standard containers copy on growth and assign on erase.
  std::vector<BaseError> errors;
  for (unsigned int i = 0; i < 40; ++i) {
    errors.push_back(source);
    errors.back().addInsert(i);
  }
  errors.erase(errors.begin() + 3, errors.begin() + 30);
  ASSERT_EQ(errors.size(), 13u);
  for (std::size_t i = 0; i < errors.size(); ++i) {
    expectTree(errors[i], 1);
    EXPECT_EQ(errors[i].getInsert(3)->code(), i < 3 ? i : i + 27);
  }
}

// A client's insert whose clone throws in the middle of a copy: nothing leaks and the target
// stays as it was.
TEST(BaseError, FailingCloneLeavesNothingBehind) {
  int budget = 1;
  ClientError client(7, AnyError::SeverityError);
  client.add(new ClientInsert("a", &budget));
  client.add(new ClientInsert("b", &budget));

  BaseError error(1, "Outer", AnyError::SeverityError, AnyError::CompletedDefault);
  addText(error, "kept");
  EXPECT_THROW(error.addInsert(client), std::runtime_error);
  ASSERT_EQ(error.numInserts(), 1);

  budget = 2;
  error.addInsert(client);
  ASSERT_EQ(error.numInserts(), 2);
  EXPECT_EQ(error.getInsert(1)->numInserts(), 2);

  // Each copy of error clones the two client inserts again.
  budget = 1;
  EXPECT_THROW(static_cast<void>(BaseError(error)), std::runtime_error);
  BaseError target(9, "Target", AnyError::SeverityWarning, AnyError::CompletedDefault);
  addText(target, "t");
  budget = 1;
  EXPECT_THROW(target = error, std::runtime_error);
  EXPECT_EQ(target.code(), 9u);
  EXPECT_EQ(target.module().string(), "Target");
  ASSERT_EQ(target.numInserts(), 1);
  EXPECT_EQ(textOf(target.getInsert(0)->getText(nullptr)), "t");

  // When the copy into the exception object fails, its failure is what is thrown.
  budget = 1;
  bool caughtFailure = false;
  try {
    throw error;
  } catch (const AnyError&) {
    ADD_FAILURE() << "the error was thrown although it could not be copied";
  } catch (const std::runtime_error&) {
    caughtFailure = true;
  }
  EXPECT_TRUE(caughtFailure);
}

TEST(BaseError, ThrownByValueCaughtRethrownAndCarriedAcrossThreads) {
  CoreLog log;
  std::exception_ptr held;
  std::vector<BaseError> kept;
  try {
    try {
      BaseError local = makeTree();
      local.log(&log);
      throw local;
    } catch (AnyError& error) {
      EXPECT_EQ(error.module().string(), "Outer");
      EXPECT_TRUE(error.getText(&log).empty());
      expectTree(error);
      throw;
    }
  } catch (const BaseError& error) {
    kept.push_back(error);
    kept.push_back(error);
    held = std::current_exception();
  }
  expectTree(kept[0]);
  expectTree(kept[1]);
  EXPECT_NE(kept[0].getInsert(1), kept[1].getInsert(1));

  // The exception object lives on in the pointer and is caught again on another thread.
  std::thread other([&] {
    try {
      std::rethrow_exception(held);
    } catch (AnyError& error) {
      expectTree(error);
      EXPECT_TRUE(error.getText(basalt::getLogObject()).empty());
    }
  });
  other.join();
  held = nullptr;
  expectTree(kept[1]);
}

} // namespace
