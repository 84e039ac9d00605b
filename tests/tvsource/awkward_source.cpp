// The filter with sources that misbehave. The real filter is aggregated into an object that opens names by itself: it
// reads the file into memory and gives the filter a stream over it, by the file's extension
//
//   .live     that does not know its length
//   .broken   whose second read and all later ones fail
#include "baseclasses/CFactoryTemplate.h"
#include "filter/CCustomFileSourceFilter.h"
#include "tests/support/CScriptedStream.h"

#include <windows.h>

#include <strmif.h>
#include <wrl/client.h>

#include <filesystem>
#include <fstream>
#include <iterator>

using Microsoft::WRL::ComPtr;

CFactoryTemplate g_Templates[1];  // the base classes want a table; nothing is registered here
int g_cTemplates = 0;

namespace {

class CAwkwardSource final : public IFileSourceFilter {
public:
    CAwkwardSource() {
        HRESULT hr = S_OK;
        m_inner = CCustomFileSourceFilter::CreateInstance(this, &hr);
    }

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
        if (iid != __uuidof(IUnknown) && iid != __uuidof(IFileSourceFilter))
            return m_inner->NonDelegatingQueryInterface(iid, object);
        *object = static_cast<IFileSourceFilter*>(this);
        AddRef();
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++m_references; }
    STDMETHODIMP_(ULONG) Release() override {
        const ULONG left = --m_references;
        if (left == 0) {
            m_references = 1;  // the inner object may take and give references on its way out
            m_inner->NonDelegatingRelease();
            delete this;
        }
        return left;
    }

    STDMETHODIMP Load(LPCOLESTR name, const AM_MEDIA_TYPE* type) override {
        const std::filesystem::path path(name);
        std::ifstream file(path, std::ios::binary);
        const std::string contents{std::istreambuf_iterator<char>(file), {}};
        m_stream.SetContents(contents);
        m_stream.ForgetSteps();
        if (path.extension() == L".live")
            m_stream.ReportSize(0x8000000000000000u);
        if (path.extension() == L".broken") {
            for (int read = 1; read < 1000; ++read)
                m_stream.On(CScriptedStream::kRead, read, {.result = STG_E_READFAULT});
        }
        ComPtr<ITavelIStreamFileSource> source;
        const HRESULT hr = m_inner->NonDelegatingQueryInterface(__uuidof(ITavelIStreamFileSource),
                                                                reinterpret_cast<void**>(source.GetAddressOf()));
        return FAILED(hr) ? hr : source->OpenStream(&m_stream, type);
    }
    STDMETHODIMP GetCurFile(LPOLESTR* name, AM_MEDIA_TYPE* type) override {
        ComPtr<IFileSourceFilter> source;
        const HRESULT hr = m_inner->NonDelegatingQueryInterface(__uuidof(IFileSourceFilter),
                                                                reinterpret_cast<void**>(source.GetAddressOf()));
        return FAILED(hr) ? hr : source->GetCurFile(name, type);
    }

private:
    ULONG m_references = 1;
    CScriptedStream m_stream;
    CUnknown* m_inner;
};

// One object for the life of the library.
class CFactory final : public IClassFactory {
public:
    STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
        *object = iid == __uuidof(IUnknown) || iid == __uuidof(IClassFactory) ? this : nullptr;
        return *object ? S_OK : E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP CreateInstance(IUnknown*, REFIID iid, void** object) override {
        ComPtr<CAwkwardSource> source;
        *source.GetAddressOf() = new CAwkwardSource;
        return source->QueryInterface(iid, object);
    }
    STDMETHODIMP LockServer(BOOL) override { return S_OK; }
};

}  // namespace

STDAPI DllGetClassObject(REFCLSID, REFIID iid, void** object) {
    static CFactory factory;
    return factory.QueryInterface(iid, object);
}
