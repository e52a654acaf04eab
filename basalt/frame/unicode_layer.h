#ifndef BASALT_FRAME_UNICODE_LAYER_H
#define BASALT_FRAME_UNICODE_LAYER_H

#include "basalt/platform/base/win_types.h"

namespace basalt::frame {

// Loads the Unicode layer "unicows.dll" for the platform's loader of that layer: first from
// the directory in the product's registry value `root`, which must end with a separator,
// then by the default search. Null when neither finds it.
platform::HMODULE loadUnicodeLayer();

} // namespace basalt::frame

#endif
