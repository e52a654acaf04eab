// A client built against libbasalt.so alone: it throws and catches the library's error types,
// derives from them, and hands its own to the library's channel.

#include "client_error.h"

#include <basalt/basalt.h>
#include <gtest/gtest.h>
#include <typeinfo>

namespace {

using TRELL_o::AnyError;

class ClientFailure : public BaseError {
public:
  ClientFailure() : BaseError(0xC7FE0010, "Client", SeverityWarning, CompletedDefault) {
    BaseError cause(0xC7FE0011, "Cause", SeverityError, CompletedDefault);
    cause.addNumInsert(12);
    addInsert(KELPString("disk").c_str());
    addInsert(cause);
  }
};

class Channel : public common::ErrorInfoBase {};

TEST(ErrorsAcrossTheLibrary, ClientsThrowDeriveAndStore) {
  bool caught = false;
  try {
    throw ClientFailure();
  } catch (AnyError& error) {
    caught = true;
    EXPECT_EQ(error.code(), 0xC7FE0010u);
    EXPECT_TRUE(error.getText(basalt::getLogObject()).empty());
    ASSERT_EQ(error.numInserts(), 2);
    EXPECT_EQ(error.getInsert(1)->numInserts(), 1);
  }
  EXPECT_TRUE(caught);

  // The library recognises the client's class as a BaseError and keeps the nested insert...
  Channel channel;
  const ClientFailure failure;
  channel.SetLastError(&failure);
  const AnyError* stored = channel.GetLastError();
  ASSERT_NE(stored, nullptr);
  EXPECT_EQ(typeid(*stored), typeid(BaseError));
  ASSERT_EQ(stored->numInserts(), 2);
  EXPECT_EQ(stored->getInsert(1)->isCoded(), 1);

  // ...and turns the inserts of an error of another family into texts.
  errors_test::ClientError foreign(0xC7FE0012, AnyError::SeverityCritical);
  foreign.add(failure.getInsert(1)->clone());
  channel.SetLastError(&foreign);
  stored = channel.GetLastError();
  ASSERT_NE(stored, nullptr);
  EXPECT_EQ(stored->code(), 0xC7FE0012u);
  ASSERT_EQ(stored->numInserts(), 1);
  EXPECT_EQ(stored->getInsert(0)->isCoded(), 0);

  Channel copy(channel); // NOLINT(performance-unnecessary-copy-initialization): under test
  EXPECT_NE(copy.GetLastError(), channel.GetLastError());
}

} // namespace
