// A class object for WMI's locator whose instances are never made. COM prefers a class object that
// the process has registered to the one of the registry.
#include <objbase.h>
#include <windows.h>

#include <atomic>

#include "prove/host/system.h"

namespace ProveHost {
namespace {

constexpr CLSID kLocatorClass = {0x4590F811,
                                 0x1D3A,
                                 0x11D0,
                                 {0x89, 0x1F, 0x00, 0xAA, 0x00, 0x4B, 0x2E, 0x24}};
constexpr IID kUnknown = {0, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr IID kClassFactory = {1, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

std::atomic<bool> hangs = false;

// The functions of IClassFactory, in their order. The object lives until the process ends.
struct FactoryFunctions {
  HRESULT(STDMETHODCALLTYPE* queryInterface)(void* self, REFIID wanted, void** object);
  ULONG(STDMETHODCALLTYPE* addRef)(void* self);
  ULONG(STDMETHODCALLTYPE* release)(void* self);
  HRESULT(STDMETHODCALLTYPE* createInstance)
  (void* self, IUnknown* outer, REFIID wanted, void** object);
  HRESULT(STDMETHODCALLTYPE* lockServer)(void* self, BOOL lock);
};

HRESULT STDMETHODCALLTYPE QueryFactory(void* self, REFIID wanted, void** object) {
  const bool known = IsEqualIID(wanted, kUnknown) || IsEqualIID(wanted, kClassFactory);
  *object = known ? self : nullptr;
  return known ? S_OK : E_NOINTERFACE;
}

ULONG STDMETHODCALLTYPE CountReference(void*) {
  return 1;
}

HRESULT STDMETHODCALLTYPE Hang(void*, IUnknown*, REFIID, void**) {
  hangs = true;
  ::Sleep(INFINITE);
  return E_FAIL;
}

HRESULT STDMETHODCALLTYPE LockFactory(void*, BOOL) {
  return S_OK;
}

constexpr FactoryFunctions kFunctions = {QueryFactory, CountReference, CountReference, Hang,
                                         LockFactory};

struct HangingFactory {
  const FactoryFunctions* functions = &kFunctions;
};

}  // namespace

// In the multi-threaded apartment, to which the library's thread belongs, too. It lasts as long as
// this thread, which is the first of the process.
bool HangHardwareQueries() {
  static HangingFactory factory;
  DWORD cookie = 0;
  return SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED)) &&
         SUCCEEDED(CoRegisterClassObject(kLocatorClass, reinterpret_cast<IUnknown*>(&factory),
                                         CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie));
}

bool HardwareQueryHangs() {
  return hangs;
}

}  // namespace ProveHost
