#ifndef BASALT_PLATFORM_COM_XML_DOCUMENT_CLASS_H
#define BASALT_PLATFORM_COM_XML_DOCUMENT_CLASS_H

// The DOM document classes, as CoCreateInstance reaches them.

#include "basalt/platform/com/com.h"

namespace basalt::platform {

// REGDB_E_CLASSNOTREG unless classId is one of the DOM document classes; otherwise a new,
// empty document asked for id.
HRESULT createXmlDocument(REFCLSID classId, REFIID id, void** object);

} // namespace basalt::platform

#endif
