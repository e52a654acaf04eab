#include "basalt/platform/com/com.h"

#include "basalt/platform/com/xml_document_class.h"

namespace basalt::platform {
namespace {

// How many CoInitialize calls of this thread are still open. A plain integer: a thread-local
// object with a destructor would keep the library from unloading.
thread_local unsigned int initialisations = 0;

} // namespace

HRESULT CoInitializeEx(void* /*reserved*/, DWORD /*model*/) {
  return initialisations++ == 0 ? S_OK : S_FALSE;
}

HRESULT CoInitialize(void* reserved) {
  return CoInitializeEx(reserved, COINIT_APARTMENTTHREADED);
}

void CoUninitialize() {
  if (initialisations > 0) {
    --initialisations;
  }
}

HRESULT CoCreateInstance(REFCLSID classId, IUnknown* outer, DWORD context, REFIID id,
                         void** object) {
  if (object == nullptr) {
    return E_POINTER;
  }
  *object = nullptr;
  if (initialisations == 0) {
    return CO_E_NOTINITIALIZED;
  }
  if (outer != nullptr) {
    return CLASS_E_NOAGGREGATION;
  }
  if ((context & CLSCTX_INPROC_SERVER) == 0) {
    return REGDB_E_CLASSNOTREG;
  }
  return createXmlDocument(classId, id, object);
}

} // namespace basalt::platform
