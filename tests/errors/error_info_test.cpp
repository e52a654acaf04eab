#include "basalt/errors/base_error.h"
#include "basalt/errors/error_info.h"
#include "basalt/errors/error_inserts.h"
#include "basalt/logging/core_log.h"
#include "client_error.h"

#include <atomic>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <typeinfo>
#include <vector>

namespace {

using errors_test::ClientError;
using errors_test::ClientInsert;
using TRELL_o::AnyError;

std::string textOf(const unsigned short* text) {
  return text == nullptr ? "<null>" : KELPString(text).string();
}

// A client class that records its failures in the channel instead of throwing.
class Component : public common::ErrorInfoBase {
public:
  bool open(unsigned int code) const {
    BaseError nested(0xC7FE0002, "Nested", AnyError::SeverityWarning, AnyError::CompletedDefault);
    nested.addInsert(KELPString("inner").c_str());
    BaseError error(code, "Component", AnyError::SeverityError, AnyError::CompletedDefault);
    error.addInsert(KELPString("file.txt").c_str());
    error.addInsert(nested);
    error.addInsert(5u);
    SetLastError(&error);
    return false;
  }

  void ClearLastError() const override {
    ++clears;
    ErrorInfoBase::ClearLastError();
  }

  mutable int clears = 0;
};

// What open stores: the three inserts with their kinds.
void expectOpenFailure(const AnyError* error, unsigned int code) {
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(typeid(*error), typeid(BaseError));
  EXPECT_EQ(error->code(), code);
  EXPECT_EQ(error->module().string(), "Component");
  EXPECT_EQ(error->hResult(), 0u);
  ASSERT_EQ(error->numInserts(), 3);
  EXPECT_EQ(error->getInsert(0)->isCoded(), 0);
  EXPECT_EQ(textOf(error->getInsert(0)->getText(nullptr)), "file.txt");
  EXPECT_EQ(error->getInsert(1)->isCoded(), 1);
  EXPECT_EQ(error->getInsert(1)->code(), 0xC7FE0002u);
  ASSERT_EQ(error->getInsert(1)->numInserts(), 1);
  EXPECT_EQ(textOf(error->getInsert(1)->getInsert(0)->getText(nullptr)), "inner");
  EXPECT_EQ(error->getInsert(2)->code(), 5u);
  EXPECT_EQ(error->getInsert(2)->getText(nullptr), nullptr);
}

TEST(ErrorInfo, StoresItsOwnCopyUntilReplacedOrCleared) {
  Component component;
  EXPECT_EQ(component.GetLastError(), nullptr);

  // The error passed in is a local that is gone when open returns.
  EXPECT_FALSE(component.open(1));
  expectOpenFailure(component.GetLastError(), 1);
  EXPECT_EQ(component.clears, 1); // through the override

  EXPECT_FALSE(component.open(2));
  expectOpenFailure(component.GetLastError(), 2);

  // Storing what the channel holds keeps it whole.
  component.SetLastError(component.GetLastError());
  expectOpenFailure(component.GetLastError(), 2);

  component.ClearLastError();
  EXPECT_EQ(component.GetLastError(), nullptr);
  component.ClearLastError();
  EXPECT_EQ(component.GetLastError(), nullptr);

  component.open(3);
  component.SetLastError(nullptr);
  EXPECT_EQ(component.GetLastError(), nullptr);

  // A class derived from BaseError is stored as the BaseError in it, inserts and all.
  BaseError source(4, "Component", AnyError::SeverityError, AnyError::CompletedDefault);
  component.open(4);
  source = *static_cast<BaseError*>(component.GetLastError());
  const AnyErrorContainer container(source);
  component.SetLastError(&container);
  const AnyError* stored = component.GetLastError();
  ASSERT_NE(stored, nullptr);
  EXPECT_EQ(typeid(*stored), typeid(BaseError));
  EXPECT_EQ(stored->module().string(), "COMMONMODULE");
  ASSERT_EQ(stored->numInserts(), 3);
  EXPECT_EQ(stored->getInsert(1)->isCoded(), 1);
  EXPECT_EQ(stored->getInsert(2)->code(), 5u);
}

TEST(ErrorInfo, ForeignErrorsArriveWithTextInserts) {
  BaseError nested(0xC7FE0003, "Nested", AnyError::SeverityError, AnyError::CompletedDefault);
  nested.addInsert(KELPString("inner").c_str());
  BaseError holder(1, "Holder", AnyError::SeverityError, AnyError::CompletedDefault);
  holder.addInsert(nested);
  ClientError client(77, AnyError::SeverityCritical);
  client.add(new ClientInsert("one"));
  client.add(nullptr);
  client.add(holder.getInsert(0)->clone());
  client.add(new ClientInsert("two"));
  Component component;
  component.SetLastError(&client);

  AnyError* stored = component.GetLastError();
  ASSERT_NE(stored, nullptr);
  EXPECT_EQ(typeid(*stored), typeid(BaseError));
  EXPECT_EQ(stored->code(), 77u);
  EXPECT_EQ(stored->module().string(), "CLIENT");
  EXPECT_EQ(stored->level(), AnyError::SeverityCritical);
  EXPECT_EQ(stored->status(), 7);
  EXPECT_EQ(stored->hResult(), 0u);
  // The client's own words don't travel; the number has none here.
  EXPECT_TRUE(stored->getText(basalt::getLogObject()).empty());
  // Every insert is now a text: the hole and the nested error (whose number has no words)
  // as empty ones, so later inserts keep their numbers.
  ASSERT_EQ(stored->numInserts(), 4);
  const char* expected[] = {"one", "", "", "two"};
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(typeid(*stored->getInsert(i)), typeid(AnyErrorStringInsert)) << i;
    EXPECT_EQ(textOf(stored->getInsert(i)->getText(nullptr)), expected[i]) << i;
  }
}

TEST(ErrorInfo, CopiesOwnTheirOwnError) {
  auto first = std::make_unique<Component>();
  first->open(1);
  Component copy(*first);
  EXPECT_NE(copy.GetLastError(), first->GetLastError());
  first.reset();
  expectOpenFailure(copy.GetLastError(), 1);

  Component assigned;
  assigned.open(2);
  assigned = copy;
  expectOpenFailure(assigned.GetLastError(), 1);
  EXPECT_NE(assigned.GetLastError(), copy.GetLastError());
  const Component& self = assigned;
  assigned = self;
  expectOpenFailure(assigned.GetLastError(), 1);

  assigned = Component();
  EXPECT_EQ(assigned.GetLastError(), nullptr);
  const Component empty(assigned);
  EXPECT_EQ(empty.GetLastError(), nullptr);
}

// Each object has its own channel, so threads that each own an object never see another's
// error, also while foreign errors are turned into text through the process's log.
TEST(ErrorInfo, EachObjectKeepsItsOwnErrorAcrossThreads) {
  constexpr unsigned int threadCount = 4;
  constexpr unsigned int rounds = 300;
  std::atomic<unsigned int> wrong{0};
  std::vector<std::thread> threads;
  for (unsigned int t = 0; t < threadCount; ++t) {
    threads.emplace_back([t, &wrong] {
      Component component;
      for (unsigned int i = 0; i < rounds; ++i) {
        const unsigned int code = t * 100000 + i;
        if (i % 3 == 0) {
          ClientError client(code, AnyError::SeverityWarning);
          client.add(new ClientInsert("text"));
          component.SetLastError(&client);
        } else {
          component.open(code);
        }
        const AnyError* stored = component.GetLastError();
        if (stored == nullptr || stored->code() != code ||
            stored->numInserts() != (i % 3 == 0 ? 1 : 3)) {
          ++wrong;
        }
        if (i % 5 == 0) {
          component.ClearLastError();
        }
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(wrong.load(), 0u);
}

} // namespace
