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
#include <windows.h>

#include <objbase.h>
#include <oleauto.h>
#include <shlwapi.h>
#include <wrl/client.h>

#include <TKDataServices.h>

#include <atomic>
#include <cstring>
#include <cwchar>
#include <new>
#include <utility>

using Microsoft::WRL::ComPtr;

namespace {

std::atomic<long> g_objects;  // that are there; the DLL stays as long

// An object with one interface. It has the free-threaded marshaler: every apartment calls it directly.
template <class Interface>
class CObject : public Interface {
public:
    CObject() {
        ++g_objects;
        ::CoCreateFreeThreadedMarshaler(this, &m_marshaler);
    }
    virtual ~CObject() { --g_objects; }

    STDMETHODIMP QueryInterface(REFIID iid, void** object) noexcept override {
        if (!object)
            return E_POINTER;
        *object = nullptr;
        if (iid == __uuidof(IMarshal) && m_marshaler)
            return m_marshaler->QueryInterface(iid, object);
        if (iid != __uuidof(IUnknown) && iid != __uuidof(Interface))
            return E_NOINTERFACE;
        *object = static_cast<Interface*>(this);
        return this->AddRef(), S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() noexcept override { return ++m_references; }
    STDMETHODIMP_(ULONG) Release() noexcept override {
        const ULONG left = --m_references;
        if (left == 0)
            delete this;
        return left;
    }

private:
    std::atomic<ULONG> m_references{1};
    ComPtr<IUnknown> m_marshaler;
};

// Makes a `Class` and gives its interface `iid`, or nothing.
template <class Class, class... Arguments>
HRESULT Make(REFIID iid, void** object, Arguments&&... arguments) noexcept {
    *object = nullptr;
    ComPtr<Class> made;
    made.Attach(new (std::nothrow) Class(std::forward<Arguments>(arguments)...));
    return made ? made->QueryInterface(iid, object) : E_OUTOFMEMORY;
}

// What is behind a name: each call gives a stream of its own.
class CTone final : public CObject<ITKDSCreateStream> {
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
        static constexpr char kHeader[] =
            "RIFF\x64\x1F\0\0"
            "WAVEfmt "
            "\x10\0\0\0\1\0\1\0"
            "\x40\x1F\0\0"
            "\x40\x1F\0\0"
            "\1\0\x08\0"
            "data\x40\x1F\0\0";
        constexpr UINT kHeaderBytes = sizeof kHeader - 1;
        BYTE wave[kHeaderBytes + 8000];
        std::memcpy(wave, kHeader, kHeaderBytes);
        for (UINT i = 0; i < 8000; ++i)
            wave[kHeaderBytes + i] = i * 2 * m_hertz / 8000 % 2 == 0 ? 64 : 192;
        // Such a stream is free-threaded (since Windows 8) and knows its length.
        *stream = ::SHCreateMemStream(wave, sizeof wave);
        return *stream ? S_OK : E_OUTOFMEMORY;
    }

private:
    const unsigned m_hertz;
};

class CLayer final : public CObject<ITKDSUriAccessFactory> {
public:
    STDMETHODIMP OpenUriAs(BSTR uri, BSTR accessorId, VARIANT* accessor) noexcept override {
        if (!accessor)
            return E_POINTER;
        unsigned hertz = 0;
        if (!uri || std::wcsncmp(uri, L"tone:", 5) != 0)
            return HRESULT_FROM_WIN32(ERROR_NOT_SUPPORTED);
        wchar_t behind = 0;
        if (std::swscanf(uri + 5, L"%4u%c", &hertz, &behind) != 1 || hertz < 1 || hertz > 4000)
            return E_INVALIDARG;
        if (!accessorId || std::wcscmp(accessorId, TKDS_ACCESSOR_CREATESTREAM) != 0)
            return E_NOINTERFACE;
        ComPtr<IUnknown> tone;
        const HRESULT hr = Make<CTone>(__uuidof(IUnknown), reinterpret_cast<void**>(tone.GetAddressOf()), hertz);
        if (FAILED(hr))
            return hr;
        accessor->vt = VT_UNKNOWN;
        accessor->punkVal = tone.Detach();
        return S_OK;
    }
};

class CLayerClass final : public CObject<IClassFactory> {
public:
    STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** object) noexcept override {
        if (!object)
            return E_POINTER;
        *object = nullptr;
        return outer ? CLASS_E_NOAGGREGATION : Make<CLayer>(iid, object);
    }
    STDMETHODIMP LockServer(BOOL locks) noexcept override {
        g_objects += locks ? 1 : -1;
        return S_OK;
    }
};

}  // namespace

STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, void** object) {
    if (!object)
        return E_POINTER;
    *object = nullptr;
    return clsid == CLSID_TKDSUriAccessFactory ? Make<CLayerClass>(iid, object) : CLASS_E_CLASSNOTAVAILABLE;
}

STDAPI DllCanUnloadNow() {
    return g_objects == 0 ? S_OK : S_FALSE;
}
