#include "tvsource/graph/CFrameGrabber.h"

#include "base/CAutoDestructor.h"
#include "base/ComBoundary.h"
#include "base/ForeignCalls.h"
#include "baseclasses/MediaTypeCopies.h"
#include "tvsource/graph/Pins.h"

#include <qedit.h>
#include <uuids.h>
#include <vfwmsgs.h>

namespace tvsource {

using Microsoft::WRL::ComPtr;

namespace {

// The platform's headers do not have it: qedit.dll's filter that hands out every sample that goes through.
constexpr GUID kSampleGrabber = {0xC1F400A0, 0x3F08, 0x11D3, {0x9F, 0x0B, 0x00, 0x60, 0x08, 0x03, 0x9E, 0x37}};

}  // namespace

// Keeps the picture that is shown at a time of the stream, and signals an event when it is there.
class CFrameTaker final : public ISampleGrabberCB {
public:
    CFrameTaker() {
        if (!m_found)
            throw console::CCommandError(L"Cannot create an event", HRESULT_FROM_WIN32(::GetLastError()));
    }
    CFrameTaker(const CFrameTaker&) = delete;
    CFrameTaker& operator=(const CFrameTaker&) = delete;

    // Before the graph runs. `at`: in the time of the samples. `type`: of the connection.
    [[nodiscard]] HRESULT Expect(LONGLONG at, const AM_MEDIA_TYPE& type) noexcept {
        m_at = at;
        return ::CopyMediaType(&m_type, &type);
    }
    [[nodiscard]] HANDLE FoundEvent() const noexcept { return m_found.Get(); }
    [[nodiscard]] bool HasFound() const noexcept { return ::WaitForSingleObject(m_found.Get(), 0) == WAIT_OBJECT_0; }
    // Once it is found, or nothing comes any more.
    [[nodiscard]] const std::optional<Picture>& Shown() const noexcept { return m_shown; }

    // IUnknown
    STDMETHODIMP QueryInterface(REFIID riid, void** object) noexcept override {
        if (!object)
            return E_POINTER;
        *object = nullptr;
        if (riid != __uuidof(IUnknown) && riid != __uuidof(ISampleGrabberCB))
            return E_NOINTERFACE;
        *object = static_cast<ISampleGrabberCB*>(this);
        AddRef();
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() noexcept override { return ++m_references; }
    STDMETHODIMP_(ULONG) Release() noexcept override {
        const ULONG left = --m_references;
        if (left == 0)
            delete this;
        return left;
    }

    // ISampleGrabberCB
    STDMETHODIMP SampleCB(double, IMediaSample* sample) noexcept override {
        const HRESULT hr = base::ComBoundary([&] {
            if (sample && !HasFound())
                Look(*sample);
            return S_OK;
        });
        if (FAILED(hr))
            ::SetEvent(m_found.Get());  // no other one is looked at
        return hr;
    }
    STDMETHODIMP BufferCB(double, BYTE*, LONG) noexcept override { return E_NOTIMPL; }

private:
    ~CFrameTaker() { FreeMediaType(m_type); }

    void Look(IMediaSample& sample) {
        LONGLONG start = 0, end = 0;
        const HRESULT hr = sample.GetTime(&start, &end);
        if (FAILED(hr))
            start = m_at;  // without times the first one is as good as any
        else if (hr == S_OK && end <= m_at) {
            // It stays on the screen until the next one begins, which may be after a gap.
            constexpr LONGLONG kLongestGap = 10'000'000;
            if (m_at - end < kLongestGap)
                Take(sample);
            return;
        }
        // One without an end stands until the next one begins.
        const bool isOpen = SUCCEEDED(hr) && hr != S_OK && start <= m_at;
        if (start <= m_at || !m_shown)
            Take(sample);
        if (!isOpen)
            ::SetEvent(m_found.Get());
    }

    void Take(IMediaSample& sample) {
        AM_MEDIA_TYPE* changed = nullptr;
        if (sample.GetMediaType(&changed) == S_OK && changed) {
            FreeMediaType(m_type);
            static_cast<void>(::CopyMediaType(&m_type, changed));
            DeleteMediaType(changed);
        }
        BYTE* bytes = nullptr;
        const LONG size = sample.GetActualDataLength();
        m_shown.reset();
        if (SUCCEEDED(sample.GetPointer(&bytes)) && bytes && size > 0)
            m_shown = PictureOf(m_type, {bytes, static_cast<size_t>(size)});
    }

    const base::CAutoHandle m_found{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    std::atomic<ULONG> m_references{1};
    LONGLONG m_at = 0;
    AM_MEDIA_TYPE m_type{};
    std::optional<Picture> m_shown;
};

CFrameGrabber::CFrameGrabber(CPlayGraph& graph, LONGLONG at) : m_graph(graph), m_at(at) {
    *m_taker.GetAddressOf() = new CFrameTaker;
}

CFrameGrabber::~CFrameGrabber() = default;

HRESULT CFrameGrabber::Render(IPin* pin, const StreamFormat& format) {
    if (format.major == GUID_NULL)
        return VFW_E_NO_TYPES;  // another parser may know it
    if (format.kind != StreamKind::Video || (m_input && PeerOf(m_input.Get())))
        return S_FALSE;
    const HRESULT hr = RenderAs(pin, MEDIASUBTYPE_RGB32);
    return SUCCEEDED(hr) ? hr : RenderAs(pin, MEDIASUBTYPE_RGB24);
}

HRESULT CFrameGrabber::RenderAs(IPin* pin, const GUID& subtype) {
    ComPtr<IGraphBuilder> builder;
    ComPtr<IBaseFilter> grabber;
    ComPtr<ISampleGrabber> settings;
    if (const HRESULT hr = base::QueryFor(*m_graph.Graph(), builder.GetAddressOf()); FAILED(hr))
        return hr;
    if (const HRESULT hr = base::CreateObject(kSampleGrabber, grabber); FAILED(hr))
        return hr;
    if (const HRESULT hr = base::QueryFor(*grabber.Get(), settings.GetAddressOf()); FAILED(hr))
        return hr;
    AM_MEDIA_TYPE wanted{};
    wanted.majortype = MEDIATYPE_Video;
    wanted.subtype = subtype;
    wanted.formattype = FORMAT_VideoInfo;
    if (const HRESULT hr = settings->SetMediaType(&wanted); FAILED(hr))
        return hr;
    if (const HRESULT hr = settings->SetCallback(m_taker.Get(), 0); FAILED(hr))
        return hr;
    if (const HRESULT hr = builder->AddFilter(grabber.Get(), L"Sample Grabber"); FAILED(hr))
        return hr;
    const auto inputs = PinsOf(grabber.Get(), PINDIR_INPUT);
    const auto outputs = PinsOf(grabber.Get(), PINDIR_OUTPUT);
    HRESULT hr = inputs.empty() || outputs.empty() ? E_UNEXPECTED : builder->Connect(pin, inputs.front().Get());
    if (SUCCEEDED(hr))
        hr = m_graph.RenderToNull(outputs.front().Get());
    if (FAILED(hr)) {
        builder->RemoveFilter(grabber.Get());
        return hr;
    }
    m_input = inputs.front();
    return S_OK;
}

CPlayGraph::Result CFrameGrabber::Run(HANDLE interrupt, const CPlayGraph::Progress& progress) {
    AM_MEDIA_TYPE type{};
    ComPtr<IMediaSeeking> seeking;
    console::Check(base::QueryFor(*m_graph.Graph(), seeking.GetAddressOf()), L"The graph has no IMediaSeeking");
    console::Check(m_input->ConnectionMediaType(&type), L"Cannot ask for the media type of the pictures");
    // The times of samples begin anew where a graph was moved to. One that can't be moved is played from its beginning.
    LONGLONG position = m_at;
    const bool hasMoved = m_at > 0 && SUCCEEDED(seeking->SetPositions(&position, AM_SEEKING_AbsolutePositioning,
                                                                      nullptr, AM_SEEKING_NoPositioning));
    const HRESULT hr = m_taker->Expect(hasMoved ? 0 : m_at, type);
    FreeMediaType(type);
    console::Check(hr, L"Cannot keep the media type of the pictures");
    return m_graph.Run(interrupt, progress, {m_taker->FoundEvent(), [this] { return !m_taker->HasFound(); }});
}

const std::optional<Picture>& CFrameGrabber::Found() const noexcept {
    return m_taker->Shown();
}

}  // namespace tvsource
