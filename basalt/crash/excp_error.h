#ifndef BASALT_CRASH_EXCP_ERROR_H
#define BASALT_CRASH_EXCP_ERROR_H

#include "basalt/errors/any_error.h"
#include "basalt/platform/runtime/structured_exceptions.h"
#include "basalt/text/kelp_string.h"

namespace TRELL_o {

// What a translated structured exception is thrown as. It keeps nothing of the exception:
// making it writes the stack report, and from then on it is the same for every fault.
// Clients know it only as an AnyError.
class ExcpError : public AnyError {
public:
  // Writes the stack report of pointers' context, then clears *translationActive. code is
  // not used.
  ExcpError(unsigned int code, basalt::platform::EXCEPTION_POINTERS* pointers,
            bool* translationActive);
  ExcpError(const ExcpError&) = default;
  ExcpError& operator=(const ExcpError&) = default;
  ~ExcpError() override;

  // 0xC2011F00
  unsigned int code() const override;
  Severity level() const override;
  Completed status() const override;
  // "StructuredException"
  const KELPString& module() const override;
  std::uint32_t hResult() const override;
  // "Structured Exception - stack will be traced", whatever log is given.
  const KELPString& getText(basalt::CoreLog* log) override;
  int numInserts() const override;
  AnyErrorInsert* getInsert(int index) const override;
  // Writes nothing: the report is the record of the fault.
  void log(basalt::CoreLog* log) const override;

private:
  KELPString moduleName;
};

} // namespace TRELL_o

#endif
