#ifndef BASALT_PLATFORM_COM_COM_H
#define BASALT_PLATFORM_COM_COM_H

// The component object model, as far as the library's clients and the XML DOM need it:
// interface identifiers, IUnknown with its reference count, the smart pointers that hold
// one, and object creation by class id.
//
// A thread brings COM up with CoInitializeEx (or CoInitialize) and takes it down with as many
// CoUninitialize calls. The count is the thread's own; CoCreateInstance on a thread whose
// count is 0 fails with CO_E_NOTINITIALIZED, as it would on the original platform. Objects
// once made work on any thread: there are no apartments and no marshalling.

#include "basalt/export.h"
#include "basalt/platform/base/win_types.h"
#include "basalt/platform/com/guid.h"

#include <cstdint>
#include <utility>

namespace basalt::platform {

using IID = GUID;
using CLSID = GUID;
using REFIID = const IID&;
using REFCLSID = const CLSID&;

constexpr HRESULT S_FALSE = 1;
constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001);
constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002);
constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003);
constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005);
constexpr HRESULT E_UNEXPECTED = static_cast<HRESULT>(0x8000FFFF);
constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000E);
constexpr HRESULT CLASS_E_NOAGGREGATION = static_cast<HRESULT>(0x80040110);
constexpr HRESULT REGDB_E_CLASSNOTREG = static_cast<HRESULT>(0x80040154);
constexpr HRESULT CO_E_NOTINITIALIZED = static_cast<HRESULT>(0x800401F0);

constexpr bool SUCCEEDED(HRESULT result) {
  return result >= 0;
}
constexpr bool FAILED(HRESULT result) {
  return result < 0;
}

constexpr DWORD CLSCTX_INPROC_SERVER = 0x1;
constexpr DWORD CLSCTX_INPROC_HANDLER = 0x2;
constexpr DWORD CLSCTX_LOCAL_SERVER = 0x4;
constexpr DWORD CLSCTX_REMOTE_SERVER = 0x10;
constexpr DWORD CLSCTX_ALL = 23;

constexpr DWORD COINIT_MULTITHREADED = 0x0;
constexpr DWORD COINIT_APARTMENTTHREADED = 0x2;

inline bool IsEqualGUID(const GUID& first, const GUID& second) {
  if (first.Data1 != second.Data1 || first.Data2 != second.Data2 || first.Data3 != second.Data3) {
    return false;
  }
  for (int i = 0; i < 8; ++i) {
    if (first.Data4[i] != second.Data4[i]) {
      return false;
    }
  }
  return true;
}

// Every interface derives from this one. An object goes when Release takes its count to 0;
// nobody deletes it.
// AddRef and Release may come from any thread; an object's other operations, one thread at a time.
class IUnknown {
public:
  static constexpr IID iid = {0x00000000, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

  // S_OK with a counted reference in *object, or E_NOINTERFACE with null in it; E_POINTER
  // for a null object.
  virtual HRESULT QueryInterface(REFIID id, void** object) = 0;
  // The new count, for diagnostics only.
  virtual ULONG AddRef() = 0;
  virtual ULONG Release() = 0;

protected:
  IUnknown() = default;
  IUnknown(const IUnknown&) = default;
  IUnknown& operator=(const IUnknown&) = default;
  ~IUnknown() = default;
};

// The class id of an object that can say which class made it.
// One thread at a time, but for AddRef and Release.
class IPersist : public IUnknown {
public:
  static constexpr IID iid = {0x0000010C, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
  virtual HRESULT GetClassID(CLSID* classId) = 0;

protected:
  ~IPersist() = default;
};

// S_OK the first time on a thread, S_FALSE when the thread had COM up already. The reserved
// pointer and the model flags are accepted and not used.
BASALT_API HRESULT CoInitializeEx(void* reserved, DWORD model);
BASALT_API HRESULT CoInitialize(void* reserved);
// Takes one count back; more calls than CoInitialize made do nothing.
BASALT_API void CoUninitialize();

// Makes an object of a known class and asks it for id. REGDB_E_CLASSNOTREG for an unknown
// class, CLASS_E_NOAGGREGATION when outer isn't null, E_POINTER for a null object,
// CO_E_NOTINITIALIZED when the thread hasn't initialised COM; *object is null on failure.
// The classes known are the XML DOM documents of xml_dom.h, for any context that includes
// CLSCTX_INPROC_SERVER.
BASALT_API HRESULT CoCreateInstance(REFCLSID classId, IUnknown* outer, DWORD context, REFIID id,
                                    void** object);

// Holds one counted reference to an interface, or null.
// A holder belongs to one thread at a time.
template <typename T> class CComPtr {
public:
  CComPtr() = default;
  CComPtr(T* pointer) : p(pointer) { // NOLINT(google-explicit-constructor): the ATL shape
    if (p != nullptr) {
      p->AddRef();
    }
  }
  CComPtr(const CComPtr& other) : CComPtr(other.p) {}
  CComPtr(CComPtr&& other) noexcept : p(std::exchange(other.p, nullptr)) {}
  // Copy and swap: safe when other is this.
  CComPtr& operator=(const CComPtr& other) { // NOLINT(bugprone-unhandled-self-assignment)
    CComPtr(other).swap(*this);
    return *this;
  }
  CComPtr& operator=(CComPtr&& other) noexcept {
    CComPtr(std::move(other)).swap(*this);
    return *this;
  }
  CComPtr& operator=(T* pointer) {
    CComPtr(pointer).swap(*this);
    return *this;
  }
  ~CComPtr() { Release(); }

  operator T*() const { return p; } // NOLINT(google-explicit-constructor): the ATL shape
  T* operator->() const { return p; }
  // For out-arguments: what was held is released first.
  T** operator&() { // NOLINT(google-runtime-operator): the ATL shape
    Release();
    return &p;
  }
  bool operator!() const { return p == nullptr; }

  void Release() {
    if (T* held = std::exchange(p, nullptr)) {
      held->Release();
    }
  }
  // Takes over a reference that the caller owned.
  void Attach(T* pointer) {
    Release();
    p = pointer;
  }
  // Hands the reference to the caller.
  T* Detach() { return std::exchange(p, nullptr); }
  void swap(CComPtr& other) noexcept { std::swap(p, other.p); }

  T* p = nullptr;
};

// A CComPtr that is filled from any interface by asking it for T.
// A holder belongs to one thread at a time.
template <typename T> class CComQIPtr : public CComPtr<T> {
public:
  CComQIPtr() = default;
  CComQIPtr(T* pointer) : CComPtr<T>(pointer) {} // NOLINT(google-explicit-constructor)
  CComQIPtr(IUnknown* source) { query(source); } // NOLINT(google-explicit-constructor)
  CComQIPtr(const CComQIPtr& other) = default;
  CComQIPtr(CComQIPtr&& other) noexcept = default;
  CComQIPtr(const CComPtr<T>& other) : CComPtr<T>(other) {} // NOLINT(google-explicit-constructor)
  CComQIPtr& operator=(const CComQIPtr& other) = default;
  CComQIPtr& operator=(CComQIPtr&& other) noexcept = default;
  CComQIPtr& operator=(const CComPtr<T>& other) {
    CComPtr<T>::operator=(other);
    return *this;
  }
  CComQIPtr& operator=(T* pointer) {
    CComPtr<T>::operator=(pointer);
    return *this;
  }
  CComQIPtr& operator=(IUnknown* source) {
    CComQIPtr(source).swap(*this);
    return *this;
  }
  ~CComQIPtr() = default;

private:
  void query(IUnknown* source) {
    if (source != nullptr) {
      void* found = nullptr;
      if (SUCCEEDED(source->QueryInterface(T::iid, &found))) {
        this->p = static_cast<T*>(found);
      }
    }
  }
};

} // namespace basalt::platform

#endif
