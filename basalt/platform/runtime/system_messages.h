#ifndef BASALT_PLATFORM_RUNTIME_SYSTEM_MESSAGES_H
#define BASALT_PLATFORM_RUNTIME_SYSTEM_MESSAGES_H

// The system's texts for the error numbers that the layer produces, in Windows' English
// words, each ending in "\r\n". Other numbers have no text.

#include "basalt/platform/base/win_types.h"

#include <cstdarg>

namespace basalt::platform {

using HLOCAL = void*;

constexpr DWORD FORMAT_MESSAGE_ALLOCATE_BUFFER = 0x00000100;
constexpr DWORD FORMAT_MESSAGE_FROM_SYSTEM = 0x00001000;

// Only the form the library asks for: FORMAT_MESSAGE_ALLOCATE_BUFFER |
// FORMAT_MESSAGE_FROM_SYSTEM in the neutral language, without arguments. buffer is really an
// LPWSTR* that receives a text to be freed with LocalFree; inserts such as %1 stay as they
// stand. Returns the text's length without terminator, or 0 with a null text and the last
// error: ERROR_MR_MID_NOT_FOUND for a number without text, ERROR_INVALID_PARAMETER for any
// other flags, language or arguments.
DWORD FormatMessageW(DWORD flags, const void* source, DWORD messageId, DWORD languageId,
                     LPWSTR buffer, DWORD size, va_list* arguments);

// Frees a text from FormatMessageW; null is allowed. Returns null.
HLOCAL LocalFree(HLOCAL memory);

} // namespace basalt::platform

#endif
