#include "baseclasses/DllSetup.h"

#include "base/ComBoundary.h"
#include "base/ModuleFolder.h"
#include "baseclasses/CClassFactory.h"

#include <new>
#include <span>
#include <string>

HINSTANCE g_hInst;

namespace {

std::span<const CFactoryTemplate> Templates() noexcept {
    return {g_Templates, static_cast<size_t>(g_cTemplates)};
}

void TellClasses(BOOL loading) {
    for (const CFactoryTemplate& factoryTemplate : Templates()) {
        if (factoryTemplate.m_lpfnInit)
            factoryTemplate.m_lpfnInit(loading, factoryTemplate.m_ClsID);
    }
}

HRESULT Install() {
    const std::wstring path = base::ModulePath(g_hInst);
    if (path.empty())
        return HRESULT_FROM_WIN32(::GetLastError());
    for (const CFactoryTemplate& row : Templates()) {
        if (const HRESULT hr = AMovieSetupRegisterServer(*row.m_ClsID, row.m_Name, path.c_str(), TRUE); FAILED(hr))
            return hr;
    }
    for (const CFactoryTemplate& row : Templates()) {
        if (!row.m_pAMovieSetup_Filter)
            continue;
        if (const HRESULT hr = AMovieSetupFilter(*row.m_pAMovieSetup_Filter, TRUE); FAILED(hr))
            return hr;
    }
    return S_OK;
}

HRESULT Uninstall() noexcept {
    HRESULT result = S_OK;
    const auto note = [&result](HRESULT hr) {
        if (SUCCEEDED(result))
            result = hr;
    };
    for (const CFactoryTemplate& row : Templates()) {
        if (row.m_pAMovieSetup_Filter)
            note(AMovieSetupFilter(*row.m_pAMovieSetup_Filter, FALSE));
    }
    for (const CFactoryTemplate& row : Templates())
        note(AMovieSetupRegisterServer(*row.m_ClsID, nullptr, nullptr, FALSE));
    return result;
}

}  // namespace

extern "C" BOOL WINAPI DllEntryPoint(HINSTANCE instance, ULONG reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) {
        // Refused, harmlessly, for a module that has thread-local data of its own.
        ::DisableThreadLibraryCalls(instance);
        g_hInst = instance;
        TellClasses(TRUE);
    } else if (reason == DLL_PROCESS_DETACH) {
        TellClasses(FALSE);
    }
    return TRUE;
}

HRESULT AMovieDllGetClassObject(REFCLSID rclsid, REFIID riid, void** ppv) noexcept {
    if (!ppv)
        return E_POINTER;
    *ppv = nullptr;
    if (riid != __uuidof(IUnknown) && riid != __uuidof(IClassFactory))
        return E_NOINTERFACE;
    for (const CFactoryTemplate& row : Templates()) {
        if (*row.m_ClsID == rclsid) {
            *ppv = static_cast<IClassFactory*>(new (std::nothrow) CClassFactory(row));
            return *ppv ? S_OK : E_OUTOFMEMORY;
        }
    }
    return CLASS_E_CLASSNOTAVAILABLE;
}

HRESULT AMovieDllCanUnloadNow() noexcept {
    return CClassFactory::IsLocked() || CBaseObject::ObjectsActive() != 0 ? S_FALSE : S_OK;
}

HRESULT AMovieDllRegisterServer2(BOOL install) noexcept {
    return install ? base::ComBoundary(&Install) : Uninstall();
}
