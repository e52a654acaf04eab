#ifndef BASALT_PLATFORM_BASE_DEBUG_OUTPUT_H
#define BASALT_PLATFORM_BASE_DEBUG_OUTPUT_H

// The debugger channel. Text goes to the hook if one is set, and to standard error when the
// environment variable BASALT_DEBUG_OUTPUT is set to a non-empty value other than 0.

#include "basalt/platform/base/win_types.h"

namespace basalt::platform {

void OutputDebugStringW(LPCWSTR text);

// Receives every text given to OutputDebugStringW, as UTF-8; null removes the hook.
using DebugOutputHook = void (*)(const char* utf8Text);
void setDebugOutputHook(DebugOutputHook hook);

// One line "basalt: <text>" from 7-bit text, for following load and unload: it is used
// before and after the string layer's objects live.
void outputDebugTrace(const char* text);

} // namespace basalt::platform

#endif
