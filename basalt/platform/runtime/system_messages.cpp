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

DWORD FormatMessageW(DWORD flags, const void* /*source*/, DWORD messageId, DWORD languageId,
                     LPWSTR buffer, DWORD /*size*/, va_list* arguments) {
  constexpr DWORD primaryLanguageMask = 0x3FF;
  if (flags != (FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM) ||
      (languageId & primaryLanguageMask) != 0 || buffer == nullptr || arguments != nullptr) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  auto* const result = reinterpret_cast<LPWSTR*>(buffer);
  *result = nullptr;
  const char* text = findText(messageId);
  if (text == nullptr) {
    return fail(ERROR_MR_MID_NOT_FOUND);
  }
  const std::size_t length = std::strlen(text);
  auto* const target = static_cast<WCHAR*>(std::malloc((length + 1) * sizeof(WCHAR)));
  if (target == nullptr) {
    return fail(ERROR_NOT_ENOUGH_MEMORY);
  }
  for (std::size_t i = 0; i <= length; ++i) {
    target[i] = static_cast<unsigned char>(text[i]);
  }
  *result = target;
  return static_cast<DWORD>(length);
}

HLOCAL LocalFree(HLOCAL memory) {
  std::free(memory);
  return nullptr;
}

} // namespace basalt::platform
