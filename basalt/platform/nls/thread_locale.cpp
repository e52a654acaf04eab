#include "basalt/platform/nls/thread_locale.h"

#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/nls/locale.h"
#include "basalt/platform/nls/locale_identifiers.h"

namespace basalt::platform {
namespace {

// 0 (LOCALE_NEUTRAL) until the thread reads or sets its locale; it is never stored as such.
thread_local LCID threadLocale = LOCALE_NEUTRAL;

} // namespace

BOOL SetThreadLocale(LCID locale) {
  const LCID resolved = ConvertDefaultLocale(locale);
  if (icuLocaleName(resolved).empty()) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  threadLocale = resolved;
  return TRUE;
}

LCID GetThreadLocale() {
  if (threadLocale == LOCALE_NEUTRAL) {
    threadLocale = GetUserDefaultLCID();
  }
  return threadLocale;
}

} // namespace basalt::platform
