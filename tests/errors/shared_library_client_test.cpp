// A client built against libbasalt.so alone: it throws and catches the library's errors,
// derives from them, and hands them to the library's channel.

#include <basalt/basalt.h>
#include <gtest/gtest.h>
#include <typeinfo>

namespace {

class ClientFailure : public BaseError {
public:
  ClientFailure() : BaseError(0xC7FE0010, "Client", SeverityWarning, CompletedDefault) {
    addInsert(BaseError(0xC7FE0011, "Cause", SeverityError, CompletedDefault));
  }
};

class Channel : public common::ErrorInfoBase {};

TEST(ErrorsAcrossTheLibrary, ClientsThrowDeriveAndStore) {
  Channel channel;
  try {
    throw ClientFailure();
  } catch (const TRELL_o::AnyError& error) {
    channel.SetLastError(&error);
  }
  // The library knows the client's class for a BaseError, and keeps the nested insert.
  const TRELL_o::AnyError* stored = channel.GetLastError();
  ASSERT_NE(stored, nullptr);
  EXPECT_EQ(typeid(*stored), typeid(BaseError));
  EXPECT_EQ(stored->code(), 0xC7FE0010u);
  ASSERT_EQ(stored->numInserts(), 1);
  EXPECT_EQ(stored->getInsert(0)->isCoded(), 1);
}

} // namespace
