#ifndef BASALT_ERRORS_ANY_ERROR_H
#define BASALT_ERRORS_ANY_ERROR_H

#include "basalt/export.h"
#include "basalt/text/kelp_string.h"

#include <cstdint>

namespace basalt {
class CoreLog;
}

namespace TRELL_o {

// One insert of an error's message: a text, or a message number that may have inserts of its
// own (isCoded). Inserts are made by BaseError and belong to the error that holds them.
// It belongs to its error, and so to one thread at a time.
class BASALT_API AnyErrorInsert {
public:
  AnyErrorInsert() = default;
  AnyErrorInsert(const AnyErrorInsert&) = default;
  AnyErrorInsert& operator=(const AnyErrorInsert&) = default;
  virtual ~AnyErrorInsert();

  // The number the insert stands for; 0 for a text.
  virtual unsigned int code() const = 0;
  // The insert as NUL-terminated wide text, valid as long as the insert; null when it has no
  // text. A nested error makes its text through log here.
  virtual const unsigned short* getText(basalt::CoreLog* log) = 0;
  virtual int isCoded() const = 0;
  virtual int numInserts() const = 0;
  // Null for an index out of range; the insert keeps ownership.
  virtual AnyErrorInsert* getInsert(int index) const = 0;
  // A new insert of the same kind and content, owned by the caller.
  virtual AnyErrorInsert* clone() const = 0;
};

// What every error of the family offers. An error carries a message number and inserts, never
// words of its own: the text is made from a message library only when getText is asked.
// An error belongs to one thread at a time: getText writes the text it keeps.
class BASALT_API AnyError {
public:
  enum Severity : int {
    SeverityInformation = 0,
    SeverityWarning = 1,
    SeverityError = 2,
    SeverityCritical = 3
  };
  // Carried along and never compared; every error the library raises has CompletedDefault.
  enum Completed : int { CompletedDefault = 0 };

  AnyError() = default;
  AnyError(const AnyError&) = default;
  AnyError& operator=(const AnyError&) = default;
  virtual ~AnyError();

  virtual unsigned int code() const = 0;
  virtual Severity level() const = 0;
  virtual Completed status() const = 0;
  // The module that raised the error.
  virtual const KELPString& module() const = 0;
  virtual std::uint32_t hResult() const = 0;
  // The message text with the inserts in place, made on the first call that finds one and
  // kept from then on; empty while the number has no text.
  virtual const KELPString& getText(basalt::CoreLog* log) = 0;
  virtual int numInserts() const = 0;
  // The insert at a 0-based index, which is insert 1 of the text; null when out of range.
  virtual AnyErrorInsert* getInsert(int index) const = 0;
  // A record of the error in log, filtered by its module; a null log is ignored.
  virtual void log(basalt::CoreLog* log) const = 0;
};

} // namespace TRELL_o

#endif
