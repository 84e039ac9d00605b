// The filter with sources that misbehave. The real filter is aggregated into an object that opens names by itself: it
// reads the file into memory and gives the filter a stream over it, by the file's extension
//
//   .live        that does not know its length
//   .broken      of which only the start can be read, however much that gives
//   .hiccup      that does not know its length, and whose second read fails
//   .huge        that claims to be longer than a media sample's times can tell
//   .lying       that differs from the file in one byte, that at 100,000
//   .short       that lacks the file's last byte
//   .shrinks     whose file loses its second half at the second read
//   .unreadable  whose reads all fail
//   .stuck       whose ninth and tenth reads fail, and whose later ones never end
//   .felled      whose ninth read never ends, and whose filter tells the graph of an error then
//   .endless     of which no read ends; as long as it is there, so is an event named as the folder that it is in
//   .crashing    whose first read ends the process, as a crash does where no debugger looks at it
//   .nested      whose first read prints an object of a hundred thousand arrays, and ends the process as if it were
//   well .older       that can't be opened, by a filter that doesn't say why
//
// Under the access factory's identifier it is a data-service layer that can do nothing. When the filter is released, it
// prints which sample-reference rule its pin had last.
#include "TKDataServices.h"
#include "base/CAutoDestructor.h"
#include "baseclasses/DllSetup.h"
#include "filter/CCustomFileSourceFilter.h"
#include "tests/support/CScriptedStream.h"

#include <evcode.h>

#include <filesystem>
#include <fstream>
#include <iterator>

using Microsoft::WRL::ComPtr;

namespace {

class CAwkwardSource final : public CUnknown, public IFileSourceFilter {
public:
    static CUnknown* CALLBACK CreateInstance(IUnknown* outer, HRESULT* phr) { return new CAwkwardSource(outer, phr); }

    CAwkwardSource(IUnknown* outer, HRESULT* phr)
        : CUnknown(L"awkward source", outer), m_inner(CCustomFileSourceFilter::CreateInstance(GetOwner(), phr)) {
        m_inner->NonDelegatingAddRef();
    }
    ~CAwkwardSource() override {
        SayWhoCountsSamples();
        m_inner->NonDelegatingRelease();
    }

    DECLARE_IUNKNOWN
    STDMETHODIMP NonDelegatingQueryInterface(REFIID iid, void** object) override {
        if (iid == __uuidof(IFileSourceFilter))
            return GetInterface(static_cast<IFileSourceFilter*>(this), object);
        if (iid == __uuidof(ITavelSourceOpenResult))
            return E_NOINTERFACE;
        return iid == __uuidof(IUnknown) ? CUnknown::NonDelegatingQueryInterface(iid, object)
                                         : m_inner->NonDelegatingQueryInterface(iid, object);
    }

    STDMETHODIMP Load(LPCOLESTR name, const AM_MEDIA_TYPE* type) override {
        const std::filesystem::path path(name);
        const std::wstring kind = path.extension();
        if (kind == L".older")
            return E_INVALIDARG;
        std::ifstream file(path, std::ios::binary);
        std::string contents{std::istreambuf_iterator<char>(file), {}};
        if (kind == L".lying")
            contents[100'000] ^= 1;
        if (kind == L".short")
            contents.pop_back();
        m_stream.SetContents(contents);
        if (kind == L".shrinks")
            m_stream.OnEachRead([this, path, half = contents.size() / 2](ULONG) {
                if (++m_reads == 2)
                    std::filesystem::resize_file(path, half);
            });
        if (kind == L".endless") {
            m_sign.Reset(::CreateEventW(nullptr, TRUE, FALSE, path.parent_path().filename().c_str()));
            m_stream.OnEachRead([](ULONG) { ::Sleep(INFINITE); });
        }
        if (kind == L".crashing")
            m_stream.OnEachRead([](ULONG) { ::TerminateProcess(::GetCurrentProcess(), STATUS_ACCESS_VIOLATION); });
        if (kind == L".nested")
            m_stream.OnEachRead([](ULONG) { PrintNested(); });
        if (kind == L".live" || kind == L".hiccup")
            m_stream.ReportSize(0x8000000000000000u);
        if (kind == L".huge")
            m_stream.ReportSize(0x4000000000000000u);
        if (kind == L".hiccup")
            m_stream.On(CScriptedStream::ReadCall, 1, {.result = STG_E_READFAULT, .bytes = 1000});
        if (kind == L".broken" || kind == L".unreadable")
            m_stream.BreakAt(kind == L".broken" ? 1 : 0);
        for (int read = 8; kind == L".stuck" && read < 1000; ++read)
            m_stream.On(CScriptedStream::ReadCall, read, {.result = STG_E_READFAULT, .holds = read > 9});
        if (kind == L".felled")
            m_stream.OnEachRead([this](ULONG) { FellGraphAtTheNinthRead(); });
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

private:
    ComPtr<IBaseFilter> Filter() {
        ComPtr<IBaseFilter> filter;
        m_inner->NonDelegatingQueryInterface(__uuidof(IBaseFilter), reinterpret_cast<void**>(filter.GetAddressOf()));
        return filter;
    }

    void FellGraphAtTheNinthRead() {
        if (++m_reads < 9)
            return;
        FILTER_INFO info{};
        ComPtr<IMediaEventSink> sink;
        Filter()->QueryFilterInfo(&info);
        info.pGraph->QueryInterface(IID_PPV_ARGS(&sink));
        sink->Notify(EC_ERRORABORT, STG_E_READFAULT, 0);
        ::Sleep(INFINITE);
    }

    static void PrintNested() {
        constexpr size_t kDepth = 100'000;
        const std::string line = "{\"error\":" + std::string(kDepth, '[') + std::string(kDepth, ']') + "}\n";
        DWORD written = 0;
        ::WriteFile(::GetStdHandle(STD_OUTPUT_HANDLE), line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
        ::TerminateProcess(::GetCurrentProcess(), 1);
    }

    void SayWhoCountsSamples() {
        const ComPtr<IBaseFilter> filter = Filter();
        ComPtr<IPin> pin;
        ComPtr<ITavelSampleReferences> references;
        BOOL uncounted = FALSE;
        if (FAILED(filter->FindPin(L"Output", &pin)) || FAILED(pin.As(&references)) ||
            FAILED(references->GetUncountedSamples(&uncounted)))
            return;
        const std::string line = uncounted ? "samples are not counted\n" : "samples are counted\n";
        DWORD written = 0;
        ::WriteFile(::GetStdHandle(STD_ERROR_HANDLE), line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
    }

    base::CAutoHandle m_sign;
    CScriptedStream m_stream;
    int m_reads = 0;
    CUnknown* const m_inner;
};

}  // namespace

CFactoryTemplate g_Templates[] = {
    {L"Awkward source", &CLSID_TvFileSourceAsync, CAwkwardSource::CreateInstance, nullptr, nullptr},
    {L"A layer without options", &CLSID_TKDSUriAccessFactory, CAwkwardSource::CreateInstance, nullptr, nullptr}};
int g_cTemplates = ARRAYSIZE(g_Templates);

STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, void** object) {
    return AMovieDllGetClassObject(clsid, iid, object);
}
