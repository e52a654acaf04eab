#ifndef BASALT_PLATFORM_NLS_THREAD_LOCALE_H
#define BASALT_PLATFORM_NLS_THREAD_LOCALE_H

// The locale of the calling thread, a Windows locale identifier. Every thread starts with the
// user's default (GetUserDefaultLCID); setting it changes no other thread.

#include "basalt/platform/base/win_types.h"

namespace basalt::platform {

// Sets the calling thread's locale, with the default identifiers resolved first. FALSE with
// ERROR_INVALID_PARAMETER, and the locale unchanged, for an identifier ICU has no locale for.
BOOL SetThreadLocale(LCID locale);

LCID GetThreadLocale();

} // namespace basalt::platform

#endif
