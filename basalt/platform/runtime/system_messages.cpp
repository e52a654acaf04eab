#include "basalt/platform/runtime/system_messages.h"

#include "basalt/platform/base/thread_state.h"

#include <cstdlib>
#include <cstring>

namespace basalt::platform {
namespace {

struct SystemMessage {
  DWORD number;
  const char* text;
};

constexpr SystemMessage systemMessages[] = {
    {ERROR_SUCCESS, "The operation completed successfully.\r\n"},
    {ERROR_FILE_NOT_FOUND, "The system cannot find the file specified.\r\n"},
    {ERROR_PATH_NOT_FOUND, "The system cannot find the path specified.\r\n"},
    {ERROR_ACCESS_DENIED, "Access is denied.\r\n"},
    {ERROR_INVALID_HANDLE, "The handle is invalid.\r\n"},
    {ERROR_NOT_ENOUGH_MEMORY, "Not enough memory resources are available to process this "
                              "command.\r\n"},
    {ERROR_INVALID_PARAMETER, "The parameter is incorrect.\r\n"},
    {ERROR_DISK_FULL, "There is not enough space on the disk.\r\n"},
    {ERROR_INSUFFICIENT_BUFFER, "The data area passed to a system call is too small.\r\n"},
    {ERROR_MOD_NOT_FOUND, "The specified module could not be found.\r\n"},
    {ERROR_PROC_NOT_FOUND, "The specified procedure could not be found.\r\n"},
    {ERROR_BAD_PATHNAME, "The specified path is invalid.\r\n"},
    {ERROR_BAD_EXE_FORMAT, "%1 is not a valid Win32 application.\r\n"},
    {ERROR_MORE_DATA, "More data is available.\r\n"},
    {ERROR_NO_MORE_ITEMS, "No more data is available.\r\n"},
    {ERROR_MR_MID_NOT_FOUND, "The system cannot find message text for message number 0x%1 in "
                             "the message file for %2.\r\n"},
    {ERROR_KEY_DELETED, "Illegal operation attempted on a registry key that has been marked "
                        "for deletion.\r\n"},
    {ERROR_NO_UNICODE_TRANSLATION, "No mapping for the Unicode character exists in the target "
                                   "multi-byte code page.\r\n"},
    {ERROR_RESOURCE_DATA_NOT_FOUND, "The specified image file did not contain a resource "
                                    "section.\r\n"},
    {ERROR_RESOURCE_TYPE_NOT_FOUND, "The specified resource type cannot be found in the image "
                                    "file.\r\n"},
    {ERROR_RESOURCE_NAME_NOT_FOUND, "The specified resource name cannot be found in the image "
                                    "file.\r\n"},
    {ERROR_RESOURCE_LANG_NOT_FOUND, "The specified resource language ID cannot be found in the "
                                    "image file.\r\n"},
};

constexpr DWORD supportedFlags =
    FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM;
constexpr DWORD languageNeutral = 0x00;
constexpr DWORD languageEnglish = 0x09;

const char* findText(DWORD number) {
  for (const SystemMessage& message : systemMessages) {
    if (message.number == number) {
      return message.text;
    }
  }
  return nullptr;
}

DWORD fail(DWORD code) {
  SetLastError(code);
  return 0;
}

} // namespace

DWORD FormatMessageW(DWORD flags, const void* source, DWORD messageId, DWORD languageId,
                     LPWSTR buffer, DWORD size, va_list* arguments) {
  if (buffer == nullptr) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  const bool allocate = (flags & FORMAT_MESSAGE_ALLOCATE_BUFFER) != 0;
  if (allocate) {
    *reinterpret_cast<LPWSTR*>(buffer) = nullptr;
  }
  if ((flags & ~supportedFlags) != 0 || (flags & FORMAT_MESSAGE_FROM_SYSTEM) == 0) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  const DWORD primaryLanguage = languageId & 0x3FF;
  if (primaryLanguage != languageNeutral && primaryLanguage != languageEnglish) {
    return fail(ERROR_RESOURCE_LANG_NOT_FOUND);
  }
  const char* text = findText(messageId);
  if (text == nullptr) {
    return fail(ERROR_MR_MID_NOT_FOUND);
  }
  if (arguments != nullptr && (flags & FORMAT_MESSAGE_IGNORE_INSERTS) == 0 &&
      std::strchr(text, '%') != nullptr) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  const std::size_t length = std::strlen(text);
  WCHAR* target = buffer;
  if (allocate) {
    const std::size_t units = length + 1 > size ? length + 1 : size;
    target = static_cast<WCHAR*>(std::malloc(units * sizeof(WCHAR)));
    if (target == nullptr) {
      return fail(ERROR_NOT_ENOUGH_MEMORY);
    }
    *reinterpret_cast<LPWSTR*>(buffer) = target;
  } else if (size < length + 1) {
    return fail(ERROR_INSUFFICIENT_BUFFER);
  }
  for (std::size_t i = 0; i <= length; ++i) {
    target[i] = static_cast<unsigned char>(text[i]);
  }
  return static_cast<DWORD>(length);
}

HLOCAL LocalFree(HLOCAL memory) {
  std::free(memory);
  return nullptr;
}

} // namespace basalt::platform
