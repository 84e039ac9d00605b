#include "baseclasses/AMovieSetup.h"

#include "base/CApartment.h"
#include "base/CAutoDestructor.h"

#include <wrl/client.h>

#include <cwchar>
#include <iterator>

using Microsoft::WRL::ComPtr;

namespace {

class CUnusedLibraryFreer final {
public:
    CUnusedLibraryFreer() noexcept = default;
    CUnusedLibraryFreer(const CUnusedLibraryFreer&) = delete;
    CUnusedLibraryFreer& operator=(const CUnusedLibraryFreer&) = delete;
    ~CUnusedLibraryFreer() { ::CoFreeUnusedLibraries(); }
};

LSTATUS CreateKey(HKEY parent, const wchar_t* path, base::CAutoRegistryKey& key) noexcept {
    return ::RegCreateKeyExW(parent, path, 0, nullptr, 0, KEY_WRITE, nullptr, key.Put(), nullptr);
}

// A null `name` is the key's default value.
LSTATUS SetText(const base::CAutoRegistryKey& key, const wchar_t* name, const wchar_t* text) noexcept {
    const size_t bytes = (std::wcslen(text) + 1) * sizeof(wchar_t);
    return ::RegSetValueExW(key.Get(), name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text), static_cast<DWORD>(bytes));
}

LSTATUS InstallServer(const wchar_t* keyPath, const WCHAR* name, const WCHAR* path) noexcept {
    base::CAutoRegistryKey classKey;
    if (const LSTATUS status = CreateKey(HKEY_CLASSES_ROOT, keyPath, classKey); status != ERROR_SUCCESS)
        return status;
    if (const LSTATUS status = SetText(classKey, nullptr, name); status != ERROR_SUCCESS)
        return status;
    base::CAutoRegistryKey serverKey;
    if (const LSTATUS status = CreateKey(classKey.Get(), L"InprocServer32", serverKey); status != ERROR_SUCCESS)
        return status;
    if (const LSTATUS status = SetText(serverKey, nullptr, path); status != ERROR_SUCCESS)
        return status;
    return SetText(serverKey, L"ThreadingModel", L"Both");
}

// The mapper doesn't know the filter. For a removal that is the goal; otherwise it does no harm.
HRESULT NotFoundIsSuccess(HRESULT hr) noexcept {
    return hr == HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND) ? S_OK : hr;
}

HRESULT RegisterPins(const AMOVIESETUP_FILTER& setup, IFilterMapper* mapper) noexcept {
    for (UINT i = 0; i < setup.nPins; ++i) {
        const AMOVIESETUP_PIN& pin = setup.lpPin[i];
        const CLSID connectsTo = pin.clsConnectsToFilter ? *pin.clsConnectsToFilter : CLSID_NULL;
        if (const HRESULT hr = mapper->RegisterPin(*setup.clsID, pin.strName, pin.bRendered, pin.bOutput, pin.bZero,
                                                   pin.bMany, connectsTo, pin.strConnectsToPin);
            FAILED(hr))
            return hr;
        for (UINT j = 0; j < pin.nMediaTypes; ++j) {
            const AMOVIESETUP_MEDIATYPE& type = pin.lpMediaType[j];
            if (const HRESULT hr =
                    mapper->RegisterPinType(*setup.clsID, pin.strName, *type.clsMajorType, *type.clsMinorType);
                FAILED(hr))
                return hr;
        }
    }
    return S_OK;
}

}  // namespace

HRESULT AMovieSetupRegisterServer(REFCLSID clsid, const WCHAR* name, const WCHAR* path, BOOL install) noexcept {
    wchar_t keyPath[64] = L"CLSID\\";
    const size_t prefix = std::wcslen(keyPath);
    ::StringFromGUID2(clsid, keyPath + prefix, static_cast<int>(std::size(keyPath) - prefix));
    if (install)
        return HRESULT_FROM_WIN32(static_cast<DWORD>(InstallServer(keyPath, name, path)));
    const LSTATUS status = ::RegDeleteTreeW(HKEY_CLASSES_ROOT, keyPath);
    return status == ERROR_FILE_NOT_FOUND ? S_OK : HRESULT_FROM_WIN32(static_cast<DWORD>(status));
}

HRESULT AMovieSetupRegisterFilter2(const AMOVIESETUP_FILTER& setup, IFilterMapper2* mapper, BOOL install) noexcept {
    const HRESULT removed = mapper->UnregisterFilter(nullptr, nullptr, *setup.clsID);
    if (!install)
        return NotFoundIsSuccess(removed);
    REGFILTER2 filter{};
    filter.dwVersion = 1;
    filter.dwMerit = setup.dwMerit;
    filter.cPins = setup.nPins;
    filter.rgPins = setup.lpPin;
    return NotFoundIsSuccess(mapper->RegisterFilter(*setup.clsID, setup.strName, nullptr, nullptr, nullptr, &filter));
}

HRESULT AMovieSetupRegisterFilter(const AMOVIESETUP_FILTER& setup, IFilterMapper* mapper, BOOL install) noexcept {
    const HRESULT removed = mapper->UnregisterFilter(*setup.clsID);
    if (!install)
        return NotFoundIsSuccess(removed);
    if (const HRESULT hr = mapper->RegisterFilter(*setup.clsID, setup.strName, setup.dwMerit); FAILED(hr))
        return NotFoundIsSuccess(hr);
    return NotFoundIsSuccess(RegisterPins(setup, mapper));
}

HRESULT AMovieSetupFilter(const AMOVIESETUP_FILTER& setup, BOOL install) noexcept {
    const base::CApartment apartment(COINIT_APARTMENTTHREADED);
    const CUnusedLibraryFreer freer;
    // The thread may be in another kind of apartment already, which serves as well.
    if (FAILED(apartment.Result()) && apartment.Result() != RPC_E_CHANGED_MODE)
        return apartment.Result();
    ComPtr<IFilterMapper2> mapper2;
    if (SUCCEEDED(::CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&mapper2))))
        return AMovieSetupRegisterFilter2(setup, mapper2.Get(), install);
    ComPtr<IFilterMapper> mapper;
    const HRESULT hr = ::CoCreateInstance(CLSID_FilterMapper, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&mapper));
    return FAILED(hr) ? hr : AMovieSetupRegisterFilter(setup, mapper.Get(), install);
}
