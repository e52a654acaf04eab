#ifndef BASALT_SYSTEM_STRING_RESOURCE_LIBRARY_H
#define BASALT_SYSTEM_STRING_RESOURCE_LIBRARY_H

#include "basalt/export.h"
#include "basalt/platform/base/win_types.h"
#include "basalt/system/shared_library.h"

// A module read for its string resources, such as a message library
// strings_<facility>_<language>.dll.
// One object belongs to one thread at a time.
class BASALT_API StringResourceLibrary : public SharedLibrary {
public:
  ~StringResourceLibrary() override;
  bool load(const basalt::FileLocator& library) override;

  // The string with that identifier (its low 16 bits count), cut to 511 characters. False,
  // with text empty, when the module has no such string or it is empty. Without a loaded
  // module it asks the main program, which has none.
  bool getString(basalt::platform::DWORD id, KELPString& text) const;
};

#endif
