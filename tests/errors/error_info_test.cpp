#include "basalt/errors/base_error.h"
#include "basalt/errors/error_info.h"
#include "basalt/logging/core_log.h"
#include "error_test_support.h"

#include <atomic>
#include <gtest/gtest.h>
#include <thread>
#include <typeinfo>
#include <vector>

namespace {

using errors_test::ClientError;
using errors_test::ClientInsert;
using errors_test::describe;
using TRELL_o::AnyError;

// A client class that records its failures in the channel instead of throwing.
class Component : public common::ErrorInfoBase {
public:
  bool open(unsigned int code) const {
    BaseError nested(2, "Nested", AnyError::SeverityWarning, AnyError::CompletedDefault);
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

std::string stored(const common::ErrorInfo& channel) {
  const AnyError* error = channel.GetLastError();
  return error == nullptr ? "empty" : describe(*error);
}

TEST(ErrorInfo, StoresItsOwnCopyUntilReplacedOrCleared) {
  Component component;
  EXPECT_EQ(stored(component), "empty");
  component.open(1); // the error passed in is gone when open returns
  EXPECT_EQ(stored(component), "1['file.txt',2['inner'],#5]");
  EXPECT_EQ(typeid(*component.GetLastError()), typeid(BaseError));
  EXPECT_EQ(component.clears, 1); // through the override
  component.open(3);
  component.SetLastError(component.GetLastError());
  EXPECT_EQ(stored(component), "3['file.txt',2['inner'],#5]");
  component.ClearLastError();
  component.ClearLastError();
  EXPECT_EQ(stored(component), "empty");
  component.open(4);
  component.SetLastError(nullptr);
  EXPECT_EQ(stored(component), "empty");
}

TEST(ErrorInfo, ForeignErrorsArriveWithTextInserts) {
  Component nested;
  nested.open(2);
  ClientError client(77);
  client.add(new ClientInsert("one"));
  client.add(nullptr);
  client.add(nested.GetLastError()->getInsert(1)->clone());
  client.add(new ClientInsert("two"));
  Component component;
  component.SetLastError(&client);

  AnyError* copy = component.GetLastError();
  EXPECT_EQ(copy->module().string(), "CLIENT");
  EXPECT_EQ(copy->level(), AnyError::SeverityCritical);
  EXPECT_EQ(copy->status(), 7);
  EXPECT_EQ(copy->hResult(), 0u);
  EXPECT_TRUE(copy->getText(basalt::getLogObject()).empty()); // the client's words stay behind
  // The hole and the nested error (whose number has no words) become empty texts in place.
  EXPECT_EQ(describe(*copy), "77['one','','','two']");
}

TEST(ErrorInfo, CopiesOwnTheirOwnError) {
  auto first = std::make_unique<Component>();
  first->open(1);
  Component copy(*first);
  EXPECT_NE(copy.GetLastError(), first->GetLastError());
  first.reset();
  Component assigned;
  assigned.open(2);
  assigned = copy;
  EXPECT_NE(assigned.GetLastError(), copy.GetLastError());
  const Component& self = assigned;
  assigned = self;
  EXPECT_EQ(stored(assigned), "1['file.txt',2['inner'],#5]");
  assigned = Component();
  EXPECT_EQ(stored(assigned), "empty");
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
