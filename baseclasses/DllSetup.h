// What the exported functions of a module of COM classes do, for the module's own exports to call. The classes are
// those of g_Templates, which the module defines.
#pragma once

#include "baseclasses/CFactoryTemplate.h"

// The module's handle, once DllEntryPoint has been called.
extern HINSTANCE g_hInst;

// For DllMain. Records the module and tells the classes of loading and unloading. Asks the system to leave out the
// notifications of threads. The system refuses where the module has thread-local data in its image, as every DLL of
// mingw-w64 has. So this function is called for threads as well, and does nothing then.
extern "C" BOOL WINAPI DllEntryPoint(HINSTANCE instance, ULONG reason, LPVOID reserved);

// For DllGetClassObject.
// E_NOINTERFACE: `riid` is neither IUnknown nor IClassFactory.  CLASS_E_CLASSNOTAVAILABLE: no class of this module.
[[nodiscard]] HRESULT AMovieDllGetClassObject(REFCLSID rclsid, REFIID riid, void** ppv) noexcept;

// For DllCanUnloadNow.  S_FALSE: an object is alive or a class factory locked.
[[nodiscard]] HRESULT AMovieDllCanUnloadNow() noexcept;

// For DllRegisterServer and DllUnregisterServer: registers the module's classes, then its filters with the filter
// mapper, or undoes that in reverse order. Registering stops at the first failure, so that what it left can be looked
// at or undone; undoing goes on, so that as little as possible is left. The first failure is the result.
[[nodiscard]] HRESULT AMovieDllRegisterServer2(BOOL install) noexcept;
