#include "basalt/system/shared_library.h"

#include "basalt/concurrency/pavane_mutex.h"
#include "basalt/frame/static/static_objects.h"
#include "basalt/platform/base/thread_state.h"
#include "basalt/platform/images/loaded_modules.h"
#include "basalt/system/file_locator.h"
#include "basalt/system/system_support.h"

namespace plat = basalt::platform;

namespace {

constexpr plat::LONG E_FAIL = static_cast<plat::LONG>(0x80004005u);

} // namespace

SharedLibrary::SharedLibrary() = default;

SharedLibrary::SharedLibrary(const SharedLibrary& other)
    : lastErrorText(other.lastErrorText), lastErrorCode(other.lastErrorCode) {}

SharedLibrary& SharedLibrary::operator=(const SharedLibrary& other) {
  if (this != &other) {
    unload();
    lastErrorText = other.lastErrorText;
    lastErrorCode = other.lastErrorCode;
  }
  return *this;
}

SharedLibrary::~SharedLibrary() {
  unload_library(handle);
}

bool SharedLibrary::isLoaded() {
  return handle != nullptr;
}

bool SharedLibrary::load(const basalt::FileLocator& library) {
  if (handle != nullptr) {
    lastErrorText = "Library already loaded";
    lastErrorCode = E_FAIL;
    return false;
  }
  handle = load_library(library);
  if (handle == nullptr) {
    set_last_error();
    return false;
  }
  return true;
}

void SharedLibrary::unload() {
  if (handle != nullptr) {
    unload_library(handle);
    handle = nullptr;
  }
}

void* SharedLibrary::findSymbol(const KELPString& name) {
  void* address = find_symbol(handle, name);
  if (address == nullptr) {
    set_last_error();
  }
  return address;
}

const KELPString& SharedLibrary::lastError() const {
  return lastErrorText;
}

plat::LONG SharedLibrary::hrLastError() const {
  return lastErrorCode;
}

plat::HINSTANCE SharedLibrary::getHandle() const {
  return handle;
}

plat::HINSTANCE SharedLibrary::load_library(const basalt::FileLocator& library) {
  KELPString fullName(library.getFullFileName());
  KELPString fileName(library.getFileName());
  if (library.getExtension().empty()) {
    fullName += ".dll";
    fileName += ".dll";
  }
  plat::HINSTANCE module = plat::LoadLibraryExW(fullName.tstring().c_str(), nullptr,
                                                plat::LOAD_WITH_ALTERED_SEARCH_PATH);
  if (module == nullptr) {
    module = plat::LoadLibraryW(fileName.tstring().c_str());
  }
  return module;
}

void SharedLibrary::unload_library(plat::HINSTANCE module) {
  if (module != nullptr) {
    plat::FreeLibrary(module);
  }
}

void* SharedLibrary::find_symbol(plat::HINSTANCE module, const KELPString& name) {
  return plat::GetProcAddress(module, name.string().c_str());
}

void SharedLibrary::set_last_error() {
  // Read first: making the text may set the thread's last error itself.
  const plat::DWORD error = plat::GetLastError();
  basalt::PavaneSynchronized guard(basalt::frame::sharedLibraryErrorMutex());
  SystemSupport::FormatError(lastErrorText, error);
  lastErrorCode = error == 0 ? 0 : static_cast<plat::LONG>((error & 0xFFFF) | 0x80070000u);
}
