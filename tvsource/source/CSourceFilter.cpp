#include "tvsource/source/CSourceFilter.h"

#include "TvFileSourceAsync.h"
#include "base/CTaskMem.h"
#include "base/ForeignCalls.h"
#include "base/LateLoad.h"
#include "base/LongPath.h"
#include "base/ModuleFolder.h"
#include "baseclasses/MediaTypeCopies.h"
#include "console/CCommandError.h"
#include "framework/streams/TKFCreateStreamFromUri.h"
#include "tvsource/source/Registration.h"
#include "tvsource/source/SourceName.h"

#include <uuids.h>
#include <vfwmsgs.h>

namespace tvsource {

using Microsoft::WRL::ComPtr;

namespace {

using DllGetClassObjectFn = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);

template <class T>
ComPtr<T> Ask(IUnknown* object, const wchar_t* interfaceName) {
    ComPtr<T> result;
    if (const HRESULT hr = base::QueryFor(*object, result.GetAddressOf()); FAILED(hr))
        throw console::CCommandError(std::wstring(L"The filter has no ") + interfaceName, hr);
    return result;
}

// The result that the filter tells of one of its steps. Empty: the filter didn't get there, or is an older one.
std::optional<HRESULT> ResultOf(HRESULT (STDMETHODCALLTYPE ITavelSourceOpenResult::*step)(HRESULT*),
                                IBaseFilter* filter) {
    ComPtr<ITavelSourceOpenResult> told;
    HRESULT result = S_OK;
    const bool isTold =
        SUCCEEDED(base::QueryFor(*filter, told.GetAddressOf())) && SUCCEEDED((told.Get()->*step)(&result));
    return isTold ? std::optional(result) : std::nullopt;
}

}  // namespace

CSourceFilter::CSourceFilter(const std::wstring& library) {
    if (!library.empty()) {
        CreateFrom(base::FullPathOf(library));
    } else {
        const HRESULT hr = ::CoCreateInstance(CLSID_TvFileSourceAsync, nullptr, CLSCTX_INPROC_SERVER,
                                              __uuidof(IBaseFilter), &m_filter);
        if (hr == REGDB_E_CLASSNOTREG)
            throw console::CCommandError(L"The filter is not registered", hr)
                .Advise(RegisteringCommand(L"TvFileSourceAsync.dll") + L" registers it, --dll does without");
        console::Check(hr, L"Cannot create the filter");
    }

    ComPtr<IEnumPins> pins;
    console::Check(base::Receive(pins, m_filter.Get(), &IBaseFilter::EnumPins), L"Cannot ask the filter for its pins");
    if (pins->Next(1, &m_pin, nullptr) != S_OK)
        throw console::CCommandError(L"The filter has no output pin");
    m_reader = Ask<IAsyncReader>(m_pin.Get(), L"IAsyncReader on its pin");
}

// What COM does for a registered class, done by hand: the DLL's own class factory makes the object.
void CSourceFilter::CreateFrom(const std::wstring& library) {
    m_library = base::LateLoad(library.c_str());
    if (!m_library)
        throw console::CCommandError(L"Cannot load the library " + ShownName(library),
                                     HRESULT_FROM_WIN32(::GetLastError()));

    const auto getClassObject = base::ExportOf<DllGetClassObjectFn>(m_library, "DllGetClassObject");
    if (!getClassObject)
        throw console::CCommandError(ShownName(library) + L" is no COM library: it has no DllGetClassObject");

    ComPtr<IClassFactory> factory;
    HRESULT hr = getClassObject(CLSID_TvFileSourceAsync, __uuidof(IClassFactory),
                                reinterpret_cast<void**>(factory.GetAddressOf()));
    if (FAILED(hr))
        throw console::CCommandError(ShownName(library) + L" does not have the filter's class", hr);
    hr = factory->CreateInstance(nullptr, __uuidof(IBaseFilter), &m_filter);
    if (FAILED(hr))
        throw console::CCommandError(L"The class factory of " + ShownName(library) + L" cannot make the filter", hr);
}

void CSourceFilter::Load(const std::wstring& name, const std::optional<GUID>& subtype, const LayerOptions& options) {
    AM_MEDIA_TYPE type{};
    if (subtype) {
        type.majortype = MEDIATYPE_Stream;
        type.subtype = *subtype;
    }
    const framework::CParsedName parsed(name.c_str());
    if (!options.empty()) {
        const ComPtr<IUnknown> factory = AccessFactoryWith(options);
        if (!parsed.Uri() || !parsed.Uri()->IsLocalFile())
            return LoadWith(parsed, subtype ? &type : nullptr, factory.Get());
    }
    const HRESULT hr =
        Ask<IFileSourceFilter>(m_filter.Get(), L"IFileSourceFilter")->Load(name.c_str(), subtype ? &type : nullptr);
    if (SUCCEEDED(hr))
        return;
    const HRESULT opened = ResultOf(&ITavelSourceOpenResult::GetOpenResult, m_filter.Get()).value_or(hr);
    throw WhyNotOpened(L"Cannot open " + ShownName(parsed), parsed, FILE_SHARE_READ | FILE_SHARE_DELETE,
                       FAILED(opened) ? opened : hr);
}

void CSourceFilter::LoadWith(const framework::CParsedName& name, const AM_MEDIA_TYPE* type, IUnknown* accessFactory) {
    ComPtr<IStream> stream;
    HRESULT hr = ::TKFCreateStreamFromUri(name, kTKFStreamRead | kTKFStreamShareRead, &stream, accessFactory, nullptr);
    if (FAILED(hr))
        throw WhyNotOpened(L"Cannot open " + ShownName(name), name, FILE_SHARE_READ, hr);
    hr = Ask<ITavelIStreamFileSource>(m_filter.Get(), L"ITavelIStreamFileSource")->OpenStream(stream.Get(), type);
    if (FAILED(hr))
        throw console::CCommandError(L"The filter does not take " + ShownName(name), hr);
}

std::optional<HRESULT> CSourceFilter::DetectionResult() const {
    return ResultOf(&ITavelSourceOpenResult::GetDetectionResult, m_filter.Get());
}

ComPtr<ITKDSSourceControl> CSourceFilter::Control() const {
    ComPtr<ITavelSourceControl> source;
    ComPtr<IUnknown> unknown;
    ComPtr<ITKDSSourceControl> control;
    if (SUCCEEDED(base::QueryFor(*m_filter.Get(), source.GetAddressOf())) &&
        SUCCEEDED(source->GetSourceControl(&unknown)))
        static_cast<void>(base::QueryFor(*unknown.Get(), control.GetAddressOf()));
    return control;
}

std::optional<TKDS_SOURCE_STATUS> CSourceFilter::Status() const {
    const ComPtr<ITKDSSourceControl> control = Control();
    TKDS_SOURCE_STATUS status{};
    return control && SUCCEEDED(control->GetStatus(&status)) ? std::optional(status) : std::nullopt;
}

ComPtr<IAMOpenProgress> CSourceFilter::OpenProgress() const {
    ComPtr<IAMOpenProgress> progress;
    static_cast<void>(base::QueryFor(*m_filter.Get(), progress.GetAddressOf()));
    return progress;
}

void CSourceFilter::EndReads() const {
    if (const ComPtr<IAMOpenProgress> progress = OpenProgress())
        progress->AbortOperation();
}

// That ends when the filter leaves the stopped state.
void CSourceFilter::ReadAgain() const {
    if (OpenProgress()) {
        m_filter->Pause();
        m_filter->Stop();
    }
}

void CSourceFilter::EnableDataFlow() {
    console::Check(Ask<IDataFlowControl>(m_filter.Get(), L"IDataFlowControl")->EnableDataFlow(),
                   L"Cannot enable the data flow");
}

std::vector<StreamType> CSourceFilter::OfferedTypes() const {
    std::vector<StreamType> types;
    ComPtr<IEnumMediaTypes> enumerator;
    console::Check(base::Receive(enumerator, m_pin.Get(), &IPin::EnumMediaTypes),
                   L"Cannot ask the pin for its media types");
    AM_MEDIA_TYPE* next = nullptr;
    while (enumerator->Next(1, &next, nullptr) == S_OK) {
        const MediaTypePtr owned(next);
        types.push_back({owned->majortype, owned->subtype});
    }
    return types;
}

CSourceFilter::Length CSourceFilter::SourceLength() const {
    LONGLONG total = 0;
    LONGLONG available = 0;
    const HRESULT hr = m_reader->Length(&total, &available);
    console::Check(hr, L"Cannot ask for the length of the source");
    return {total, hr == VFW_S_ESTIMATED};
}

ComPtr<IStream> CSourceFilter::Content() const {
    return Ask<IStream>(m_pin.Get(), L"IStream on its pin");
}

HRESULT CSourceFilter::TryByteAt(LONGLONG position) const {
    const ComPtr<IStream> content = Content();
    LARGE_INTEGER move{};
    move.QuadPart = position;
    ULARGE_INTEGER reached{};
    if (!SourceLength().estimated) {
        if (const HRESULT hr = content->Seek(move, STREAM_SEEK_SET, &reached); FAILED(hr))
            return hr;
    }
    BYTE byte = 0;
    ULONG read = 0;
    const HRESULT hr = content->Read(&byte, 1, &read);
    if (FAILED(hr) || read == 0)
        return FAILED(hr) ? hr : S_FALSE;
    move.QuadPart = -1;
    return content->Seek(move, STREAM_SEEK_CUR, &reached);  // inside the filter's buffer
}

std::wstring CSourceFilter::Folder() const {
    // An object begins with the address of its virtual table, which is part of the module that it comes from.
    return base::ModuleFolder(*reinterpret_cast<void**>(m_filter.Get()));
}

CSourceFilter::CurrentFile CSourceFilter::Current() const {
    AM_MEDIA_TYPE type{};
    base::CTaskMem<OLECHAR> name;
    console::Check(Ask<IFileSourceFilter>(m_filter.Get(), L"IFileSourceFilter")->GetCurFile(name.Put(), &type),
                   L"Cannot ask the filter for its current file");
    const StreamType loaded{type.majortype, type.subtype};
    FreeMediaType(type);
    return {name.Get(), loaded};
}

}  // namespace tvsource
