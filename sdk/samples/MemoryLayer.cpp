// A data-service layer of one's own: it opens names such as "tone:440" as a wave file of one second, made in memory.
// The filter, and all else that asks for the layer's class, opens them as it opens URLs.
//
// Registered (as administrator, once for each bitness) it takes the place of the product's layer, so http: and shares
// are gone until TvDataServices.dll is registered again. A layer that wants to keep them loads that DLL and passes on
// to the class of its DllGetClassObject what it doesn't know itself.
//
//   set KEY=HKLM\Software\Classes\CLSID\{8DEF38CF-43CC-44C3-A8D8-A69395CE9022}\InprocServer32
//   reg add %KEY% /ve /d FULL-PATH\MemoryLayer.dll /f
//   reg add %KEY% /v ThreadingModel /d Both /f
#include "ComObject.h"

#include <shlwapi.h>

#include <TKDataServices.h>

#include <cwchar>

namespace {

// What is behind a name: each call gives a stream of its own.
class CTone final : public com::CObject<ITKDSCreateStream> {
public:
    explicit CTone(unsigned hertz) : m_hertz(hertz) {}

    STDMETHODIMP CreateStreamEx2(TKDS_STREAM_CREATION, IStream** stream) noexcept override {
        return CreateStream(TKDS_ACCESS_READ, TKDS_SHARE_READ, stream);
    }
    STDMETHODIMP CreateStream(unsigned long access, unsigned long share, IStream** stream) noexcept override {
        if (!stream)
            return E_POINTER;
        *stream = nullptr;
        if (access != TKDS_ACCESS_READ || (share & ~ULONG{TKDS_SHARE_READ | TKDS_SHARE_WRITE}) != 0)
            return E_INVALIDARG;
        // PCM, one channel of 8 bits, 8000 samples a second; then that many samples.
        BYTE wave[44 + 8000] =
            "RIFF\x64\x1F\0\0WAVEfmt \x10\0\0\0\1\0\1\0"
            "\x40\x1F\0\0\x40\x1F\0\0\1\0\x08\0data\x40\x1F\0\0";
        for (UINT i = 0; i < 8000; ++i)
            wave[44 + i] = i * 2 * m_hertz / 8000 % 2 == 0 ? 64 : 192;
        // Such a stream is free-threaded (since Windows 8) and knows its length.
        *stream = ::SHCreateMemStream(wave, sizeof wave);
        return *stream ? S_OK : E_OUTOFMEMORY;
    }

private:
    const unsigned m_hertz;
};

class CLayer final : public com::CObject<ITKDSUriAccessFactory> {
public:
    STDMETHODIMP OpenUriAs(BSTR uri, BSTR accessorId, VARIANT* accessor) noexcept override {
        if (!accessor)
            return E_POINTER;
        ::VariantInit(accessor);
        if (!uri || std::wcsncmp(uri, L"tone:", 5) != 0)
            return HRESULT_FROM_WIN32(ERROR_NOT_SUPPORTED);
        unsigned hertz = 0;
        wchar_t behind = 0;
        if (std::swscanf(uri + 5, L"%4u%lc", &hertz, &behind) != 1 || hertz < 1 || hertz > 4000)
            return E_INVALIDARG;
        if (!accessorId || std::wcscmp(accessorId, TKDS_ACCESSOR_CREATESTREAM) != 0)
            return E_NOINTERFACE;
        const HRESULT hr = com::Make<CTone>(__uuidof(IUnknown), reinterpret_cast<void**>(&accessor->punkVal), hertz);
        if (SUCCEEDED(hr))
            accessor->vt = VT_UNKNOWN;
        return hr;
    }
};

}  // namespace

STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, void** object) {
    return com::GetClass<CLayer>(CLSID_TKDSUriAccessFactory, clsid, iid, object);
}

STDAPI DllCanUnloadNow() {
    return com::CanUnload();
}
