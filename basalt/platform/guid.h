#ifndef BASALT_PLATFORM_GUID_H
#define BASALT_PLATFORM_GUID_H

// The platform's GUID record, with the original field widths.

#include "basalt/platform/win_types.h"

namespace basalt::platform {

struct _GUID {
  DWORD Data1;
  WORD Data2;
  WORD Data3;
  BYTE Data4[8];
};
using GUID = _GUID;

} // namespace basalt::platform

#endif
