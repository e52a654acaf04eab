#ifndef BASALT_ERRORS_ERROR_INSERTS_H
#define BASALT_ERRORS_ERROR_INSERTS_H

// The three kinds of insert that BaseError makes, and the copy of an error that a nested
// insert holds. Private to the library: clients see them as TRELL_o::AnyErrorInsert.

#include "basalt/errors/base_error.h"

// A copy of any error, as an insert of another one holds it: number, severity, status and a
// clone of each insert. Its module is "COMMONMODULE" and its text is made afresh.
class AnyErrorContainer : public BaseError {
public:
  explicit AnyErrorContainer(const TRELL_o::AnyError& error);
  AnyErrorContainer(const AnyErrorContainer&) = default;
  AnyErrorContainer& operator=(const AnyErrorContainer&) = default;
  ~AnyErrorContainer() override;
};

class AnyErrorStringInsert : public TRELL_o::AnyErrorInsert {
public:
  explicit AnyErrorStringInsert(const KELPString& text);
  ~AnyErrorStringInsert() override;

  unsigned int code() const override;
  const unsigned short* getText(basalt::CoreLog* log) override;
  int isCoded() const override;
  int numInserts() const override;
  TRELL_o::AnyErrorInsert* getInsert(int index) const override;
  TRELL_o::AnyErrorInsert* clone() const override;

private:
  KELPString text;
};

class AnyErrorErrorInsert : public TRELL_o::AnyErrorInsert {
public:
  explicit AnyErrorErrorInsert(const TRELL_o::AnyError& nested);
  ~AnyErrorErrorInsert() override;

  unsigned int code() const override;
  // The nested error's text, made through log on the first call that finds one.
  const unsigned short* getText(basalt::CoreLog* log) override;
  int isCoded() const override;
  int numInserts() const override;
  TRELL_o::AnyErrorInsert* getInsert(int index) const override;
  TRELL_o::AnyErrorInsert* clone() const override;

private:
  AnyErrorContainer error;
};

class AnyErrorHandleInsert : public TRELL_o::AnyErrorInsert {
public:
  explicit AnyErrorHandleInsert(unsigned int number);
  ~AnyErrorHandleInsert() override;

  unsigned int code() const override;
  // Null: a handle has no text.
  const unsigned short* getText(basalt::CoreLog* log) override;
  int isCoded() const override;
  int numInserts() const override;
  TRELL_o::AnyErrorInsert* getInsert(int index) const override;
  TRELL_o::AnyErrorInsert* clone() const override;

private:
  unsigned int number;
};

#endif
