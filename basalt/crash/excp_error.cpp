#include "basalt/crash/excp_error.h"

#include "basalt/crash/stack_report.h"
#include "basalt/frame/static/static_objects.h"

namespace TRELL_o {

ExcpError::ExcpError(unsigned int /*code*/, basalt::platform::EXCEPTION_POINTERS* pointers,
                     bool* translationActive) {
  basalt::crash::writeStackReport(pointers != nullptr ? pointers->ContextRecord : nullptr);
  *translationActive = false;
  moduleName = "StructuredException";
}

ExcpError::~ExcpError() = default;

unsigned int ExcpError::code() const {
  return 0xC2011F00;
}

AnyError::Severity ExcpError::level() const {
  return SeverityCritical;
}

AnyError::Completed ExcpError::status() const {
  return CompletedDefault;
}

const KELPString& ExcpError::module() const {
  return moduleName;
}

std::uint32_t ExcpError::hResult() const {
  return 0;
}

const KELPString& ExcpError::getText(basalt::CoreLog* /*log*/) {
  return basalt::frame::translatedExceptionText();
}

int ExcpError::numInserts() const {
  return 0;
}

AnyErrorInsert* ExcpError::getInsert(int /*index*/) const {
  return nullptr;
}

void ExcpError::log(basalt::CoreLog* /*log*/) const {}

} // namespace TRELL_o
