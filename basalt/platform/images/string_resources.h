#ifndef BASALT_PLATFORM_IMAGES_STRING_RESOURCES_H
#define BASALT_PLATFORM_IMAGES_STRING_RESOURCES_H

// String tables (RT_STRING) of data modules, read the way Windows reads them: the string
// with identifier id is entry id & 15 of block (id >> 4) + 1, taken from the low 16 bits of
// id. Each block is a language of its own; the language-neutral one is taken first, then the
// user's default language, then U.S. English, then the first there is.

#include "basalt/platform/base/win_types.h"
#include "basalt/platform/images/pe_image.h"

#include <cstddef>

namespace basalt::platform {

// The string in image, as units in the image itself; 0 on success, else
// ERROR_RESOURCE_DATA_NOT_FOUND (no resource section, or a table that doesn't hold together),
// ERROR_RESOURCE_TYPE_NOT_FOUND (no string tables) or ERROR_RESOURCE_NAME_NOT_FOUND (no such
// string, or an empty one).
DWORD findStringResource(const PeImage& image, UINT id, LANGID userLanguage, const WCHAR*& text,
                         std::size_t& length);

// Copies the string into buffer, cut to size - 1 units, terminates it and returns the units
// copied; 0 when there is no such string, with the error above. size must be at least 1. A
// null module is the main program, which has no string table.
int LoadStringW(HINSTANCE module, UINT id, LPWSTR buffer, int size);

} // namespace basalt::platform

#endif
