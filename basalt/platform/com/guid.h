#ifndef BASALT_PLATFORM_COM_GUID_H
#define BASALT_PLATFORM_COM_GUID_H

#include "basalt/platform/base/win_types.h"

namespace basalt::platform {

// The platform's GUID record, field for field.
// A plain value, for one thread at a time.
struct _GUID {
  DWORD Data1;
  WORD Data2;
  WORD Data3;
  BYTE Data4[8];
};
using GUID = _GUID;

// Fills guid with a random GUID of version 4 from the kernel's random source (getrandom).
// Returns 0 (S_OK), E_INVALIDARG for a null guid, E_FAIL when the kernel gives no random
// bytes.
HRESULT CoCreateGuid(GUID* guid);

} // namespace basalt::platform

#endif
