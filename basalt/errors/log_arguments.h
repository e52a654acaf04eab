#ifndef BASALT_ERRORS_LOG_ARGUMENTS_H
#define BASALT_ERRORS_LOG_ARGUMENTS_H

// What an error hands to the log when it is logged or asked for its text.

#include "basalt/errors/any_error.h"
#include "basalt/logging/core_log.h"

#include <vector>

namespace basalt {

// The texts of the error's inserts in order, as CoreLog takes them: entry 0 is insert 1. An
// insert without a text, and a missing insert, give a null entry. Nested errors make their
// texts through log here, so nesting resolves from the inside out.
std::vector<const unsigned short*> insertTexts(const TRELL_o::AnyError& error, CoreLog* log);

// The level at which an error of this severity is logged.
CoreLog::VerbosityType verbosityOf(TRELL_o::AnyError::Severity severity);

} // namespace basalt

#endif
