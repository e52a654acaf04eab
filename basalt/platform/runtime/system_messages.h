#ifndef BASALT_PLATFORM_RUNTIME_SYSTEM_MESSAGES_H
#define BASALT_PLATFORM_RUNTIME_SYSTEM_MESSAGES_H

// The system's texts for the error numbers that the layer produces, in Windows' English
// words, each ending in "\r\n". Other numbers have no text.

#include "basalt/platform/base/win_types.h"

#include <cstdarg>

namespace basalt::platform {

using HLOCAL = void*;

constexpr DWORD FORMAT_MESSAGE_ALLOCATE_BUFFER = 0x00000100;
constexpr DWORD FORMAT_MESSAGE_IGNORE_INSERTS = 0x00000200;
constexpr DWORD FORMAT_MESSAGE_FROM_STRING = 0x00000400;
constexpr DWORD FORMAT_MESSAGE_FROM_HMODULE = 0x00000800;
constexpr DWORD FORMAT_MESSAGE_FROM_SYSTEM = 0x00001000;
constexpr DWORD FORMAT_MESSAGE_ARGUMENT_ARRAY = 0x00002000;
constexpr DWORD FORMAT_MESSAGE_MAX_WIDTH_MASK = 0x000000FF;

// Only FORMAT_MESSAGE_FROM_SYSTEM, with or without FORMAT_MESSAGE_ALLOCATE_BUFFER and
// FORMAT_MESSAGE_IGNORE_INSERTS. With ALLOCATE_BUFFER, buffer is really an LPWSTR* that
// receives a text to be freed with LocalFree, of at least size characters; otherwise the text
// and its terminator are copied into buffer's size characters. Returns the text's length
// without terminator, or 0 with the last error (and with ALLOCATE_BUFFER a null text):
// ERROR_MR_MID_NOT_FOUND for a number without text, ERROR_RESOURCE_LANG_NOT_FOUND for a language
// other than neutral or English, ERROR_INSUFFICIENT_BUFFER when the text doesn't fit,
// ERROR_INVALID_PARAMETER for other flags or for arguments to a text with inserts. The layer takes
// no arguments: inserts such as %1 stay as they stand.
DWORD FormatMessageW(DWORD flags, const void* source, DWORD messageId, DWORD languageId,
                     LPWSTR buffer, DWORD size, va_list* arguments);

// Frees a text from FormatMessageW; null is allowed. Returns null.
HLOCAL LocalFree(HLOCAL memory);

} // namespace basalt::platform

#endif
