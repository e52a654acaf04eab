#ifndef BASALT_PLATFORM_RUNTIME_TEMP_PATH_H
#define BASALT_PLATFORM_RUNTIME_TEMP_PATH_H

// The directory for temporary files: $TMPDIR when it names a directory, else /tmp; a relative
// $TMPDIR counts from the working directory.

#include "basalt/platform/base/win_types.h"

namespace basalt::platform {

// Writes the directory in the library's form with a closing '\' and its NUL, and returns its
// length without the NUL. When size is too small it writes nothing and returns the size
// needed, NUL included.
DWORD GetTempPathW(DWORD size, LPWSTR buffer);

} // namespace basalt::platform

#endif
