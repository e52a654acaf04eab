#include "basalt/errors/log_arguments.h"

namespace basalt {

std::vector<const unsigned short*> insertTexts(const TRELL_o::AnyError& error, CoreLog* log) {
  const int count = error.numInserts();
  std::vector<const unsigned short*> texts;
  texts.reserve(static_cast<std::size_t>(count > 0 ? count : 0));
  for (int i = 0; i < count; ++i) {
    TRELL_o::AnyErrorInsert* insert = error.getInsert(i);
    texts.push_back(insert != nullptr ? insert->getText(log) : nullptr);
  }
  return texts;
}

CoreLog::VerbosityType verbosityOf(TRELL_o::AnyError::Severity severity) {
  switch (severity) {
  case TRELL_o::AnyError::SeverityInformation:
    return CoreLog::VerbosityInformation;
  case TRELL_o::AnyError::SeverityWarning:
    return CoreLog::VerbosityWarning;
  case TRELL_o::AnyError::SeverityError:
    return CoreLog::VerbosityError;
  case TRELL_o::AnyError::SeverityCritical:
    return CoreLog::VerbosityCritical;
  }
  return CoreLog::VerbosityDetail; // a severity the family doesn't know
}

} // namespace basalt
