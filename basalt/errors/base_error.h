#ifndef BASALT_ERRORS_BASE_ERROR_H
#define BASALT_ERRORS_BASE_ERROR_H

#include "basalt/errors/any_error.h"
#include "basalt/export.h"
#include "basalt/text/kelp_string.h"

#include <cstdint>
#include <memory>
#include <vector>

class AnyErrorContainer;

// The error that the library raises and its clients throw: a message number, the module that
// raised it, a severity, a completion status and inserts. Raising, copying and throwing one
// look nothing up; getText makes the words through the log's message libraries.
//
// Throw by value and catch as TRELL_o::AnyError&. A copy clones every insert and starts with
// an empty text of its own. A copy, assignment or addInsert that fails (std::bad_alloc, or a
// client's insert whose clone throws) passes the exception on and leaves the target as it was.
// One thread at a time: getText writes the text it keeps.
class BASALT_API BaseError : public TRELL_o::AnyError {
public:
  BaseError(unsigned int code, const KELPString& module, Severity severity, Completed completed);
  BaseError(unsigned int code, const char* module, Severity severity, Completed completed);
  BaseError(const BaseError& other);
  BaseError& operator=(const BaseError& other);
  ~BaseError() override;

  unsigned int code() const override;
  Severity level() const override;
  Completed status() const override;
  const KELPString& module() const override;
  // Always 0.
  std::uint32_t hResult() const override;
  // Made through log->get until a call finds words, then kept whatever the log and the
  // inserts are later. A null log looks nothing up.
  const KELPString& getText(basalt::CoreLog* log) override;
  int numInserts() const override;
  TRELL_o::AnyErrorInsert* getInsert(int index) const override;
  // Logged at the level of the severity, under the module, with no component. Leaves the
  // text alone.
  void log(basalt::CoreLog* log) const override;

  // Inserts are numbered in the order they are added, from 1.
  // A copy of the text; null counts as an empty text and still takes a number.
  void addInsert(const unsigned short* text);
  // A copy of the error, under the module name "COMMONMODULE"; its text is made afresh from
  // its number and inserts whenever this error's text is made.
  void addInsert(const TRELL_o::AnyError& error);
  // A number for readers of the insert's code; it shows as an empty text.
  void addInsert(unsigned int number);
  // The value in decimal, as a text.
  void addNumInsert(int value);

private:
  friend class AnyErrorContainer;

  void adopt(std::unique_ptr<TRELL_o::AnyErrorInsert> insert);

  unsigned int errorCode;
  Completed completed;
  Severity severity;
  KELPString moduleName;
  std::vector<TRELL_o::AnyErrorInsert*> inserts; // owned, never null
  KELPString text;                               // empty until getText found one
};

#endif
