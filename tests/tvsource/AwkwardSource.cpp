// The filter with sources that misbehave. The real filter is aggregated into an object that opens names by itself: it
// reads the file into memory and gives the filter a stream over it, by the file's extension
//
//   .live        that does not know its length
//   .broken      whose second read and all later ones fail
//   .hiccup      that does not know its length, and whose second read fails
//   .huge        that claims to be longer than a media sample's times can tell
//   .unreadable  whose reads all fail
//   .stuck       whose ninth and tenth reads fail, and whose later ones never end
//   .refused     that can't be opened: the server wants credentials
//   .opened      that can be opened, and yet can't be loaded
//   .older       that can't be opened, by a filter that doesn't say why
#include "baseclasses/DllSetup.h"
#include "filter/CCustomFileSourceFilter.h"
#include "tests/support/CScriptedStream.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>

using Microsoft::WRL::ComPtr;

namespace {

class CAwkwardSource final : public CUnknown, public IFileSourceFilter, public ITavelSourceOpenResult {
public:
    static CUnknown* CALLBACK CreateInstance(IUnknown* outer, HRESULT* phr) { return new CAwkwardSource(outer, phr); }

    CAwkwardSource(IUnknown* outer, HRESULT* phr)
        : CUnknown(L"awkward source", outer), m_inner(CCustomFileSourceFilter::CreateInstance(GetOwner(), phr)) {
        m_inner->NonDelegatingAddRef();
    }
    ~CAwkwardSource() override { m_inner->NonDelegatingRelease(); }

    DECLARE_IUNKNOWN
    STDMETHODIMP NonDelegatingQueryInterface(REFIID iid, void** object) override {
        if (iid == __uuidof(IFileSourceFilter))
            return GetInterface(static_cast<IFileSourceFilter*>(this), object);
        if (iid == __uuidof(ITavelSourceOpenResult) && m_openResult == E_UNEXPECTED)
            return E_NOINTERFACE;
        if (iid == __uuidof(ITavelSourceOpenResult))
            return GetInterface(static_cast<ITavelSourceOpenResult*>(this), object);
        return iid == __uuidof(IUnknown) ? CUnknown::NonDelegatingQueryInterface(iid, object)
                                         : m_inner->NonDelegatingQueryInterface(iid, object);
    }

    STDMETHODIMP Load(LPCOLESTR name, const AM_MEDIA_TYPE* type) override {
        const std::filesystem::path path(name);
        const std::wstring kind = path.extension();
        if (kind == L".refused")
            m_openResult = static_cast<HRESULT>(0x80190191);
        if (kind == L".opened")
            m_openResult = S_OK;
        if (kind == L".refused" || kind == L".opened" || kind == L".older")
            return E_INVALIDARG;
        std::ifstream file(path, std::ios::binary);
        m_stream.SetContents(std::string{std::istreambuf_iterator<char>(file), {}});
        if (kind == L".live" || kind == L".hiccup")
            m_stream.ReportSize(0x8000000000000000u);
        if (kind == L".huge")
            m_stream.ReportSize(0x4000000000000000u);
        if (kind == L".hiccup")
            m_stream.On(CScriptedStream::kRead, 1, {.result = STG_E_READFAULT, .bytes = 1000});
        const std::map<std::wstring, int> firstFailures = {{L".broken", 1}, {L".unreadable", 0}, {L".stuck", 8}};
        const auto failure = firstFailures.find(kind);
        for (int read = 0; read < 1000 && failure != firstFailures.end(); ++read)
            m_stream.On(CScriptedStream::kRead, failure->second + read,
                        {.result = STG_E_READFAULT, .holds = kind == L".stuck" && read > 1});
        ComPtr<ITavelIStreamFileSource> source;
        const HRESULT hr = QueryInterface(IID_PPV_ARGS(&source));
        return FAILED(hr) ? hr : source->OpenStream(&m_stream, type);
    }
    STDMETHODIMP GetCurFile(LPOLESTR* name, AM_MEDIA_TYPE* type) override {
        ComPtr<IFileSourceFilter> source;
        void** const object = reinterpret_cast<void**>(source.GetAddressOf());
        const HRESULT hr = m_inner->NonDelegatingQueryInterface(__uuidof(IFileSourceFilter), object);
        return FAILED(hr) ? hr : source->GetCurFile(name, type);
    }

    STDMETHODIMP GetOpenResult(HRESULT* result) override {
        *result = m_openResult;
        return S_OK;
    }

private:
    HRESULT m_openResult = E_UNEXPECTED;
    CScriptedStream m_stream;
    CUnknown* const m_inner;
};

}  // namespace

CFactoryTemplate g_Templates[] = {
    {L"Awkward source", &CLSID_TvFileSourceAsync, CAwkwardSource::CreateInstance, nullptr, nullptr}};
int g_cTemplates = 1;

STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, void** object) {
    return AMovieDllGetClassObject(clsid, iid, object);
}
