#ifndef BASALT_SYSTEM_SHARED_LIBRARY_H
#define BASALT_SYSTEM_SHARED_LIBRARY_H

#include "basalt/export.h"
#include "basalt/platform/base/win_types.h"
#include "basalt/text/kelp_string.h"

namespace basalt {
class FileLocator;
}

// One loadable module: load it, look its symbols up, give it back. Failures are reported by
// results, and the object keeps the text and result code of the last one; a successful call
// leaves them as they were.
//
// A copy takes the last failure but not the module: it starts unloaded, so that each module
// is given back exactly once.
// One object belongs to one thread at a time. The text and code of the last failure are kept
// together under a lock of their own.
class BASALT_API SharedLibrary {
public:
  SharedLibrary();
  SharedLibrary(const SharedLibrary& other);
  SharedLibrary& operator=(const SharedLibrary& other);
  virtual ~SharedLibrary();

  virtual bool isLoaded();
  // Loads the locator's file, with ".dll" added when it has no extension: first by its full
  // name, then by the file name alone through the platform's search. False when a module is
  // loaded already ("Library already loaded") or neither try finds one.
  virtual bool load(const basalt::FileLocator& library);
  virtual void unload();
  // The address of an exported symbol, or null.
  virtual void* findSymbol(const KELPString& name);
  virtual const KELPString& lastError() const;
  // The last failure as a result code: 0x8007xxxx for a system error xxxx.
  virtual basalt::platform::LONG hrLastError() const;

protected:
  virtual basalt::platform::HINSTANCE getHandle() const;

private:
  basalt::platform::HINSTANCE load_library(const basalt::FileLocator& library);
  void unload_library(basalt::platform::HINSTANCE module);
  void* find_symbol(basalt::platform::HINSTANCE module, const KELPString& name);
  // Records the calling thread's last platform error; call it before anything else can
  // change that.
  void set_last_error();

  basalt::platform::HINSTANCE handle = nullptr;
  KELPString lastErrorText;
  basalt::platform::LONG lastErrorCode = 0;
};

#endif
