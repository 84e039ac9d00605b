#include "tvsource/CMimeDictionary.h"

#include <wrl/client.h>

#include <utility>

#include "framework/com/CComObjectBase.h"
#include "tvsource/CHostError.h"

using Microsoft::WRL::ComPtr;

namespace {

// Passes everything on, and remembers how reading failed first: the dictionary says only that it did, if at all.
class CWatchedContent final : public CComObjectBase<IStream, ISequentialStream> {
public:
    explicit CWatchedContent(IStream* content) noexcept : m_content(content) {}

    [[nodiscard]] HRESULT Failure() const noexcept { return m_failure; }  // S_OK: none

    // ISequentialStream
    STDMETHODIMP Read(void* buffer, ULONG cb, ULONG* bytesRead) noexcept override {
        const HRESULT hr = m_content->Read(buffer, cb, bytesRead);
        if (FAILED(hr) && SUCCEEDED(m_failure))
            m_failure = hr;
        return hr;
    }
    STDMETHODIMP Write(const void*, ULONG, ULONG*) noexcept override { return E_NOTIMPL; }

    // IStream
    STDMETHODIMP Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* position) noexcept override {
        return m_content->Seek(move, origin, position);
    }
    STDMETHODIMP Stat(STATSTG* stat, DWORD flag) noexcept override { return m_content->Stat(stat, flag); }
    STDMETHODIMP SetSize(ULARGE_INTEGER) noexcept override { return E_NOTIMPL; }
    STDMETHODIMP CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*, ULARGE_INTEGER*) noexcept override {
        return E_NOTIMPL;
    }
    STDMETHODIMP Commit(DWORD) noexcept override { return E_NOTIMPL; }
    STDMETHODIMP Revert() noexcept override { return E_NOTIMPL; }
    STDMETHODIMP LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) noexcept override { return E_NOTIMPL; }
    STDMETHODIMP UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) noexcept override { return E_NOTIMPL; }
    STDMETHODIMP Clone(IStream** clone) noexcept override { return m_content->Clone(clone); }

private:
    ComPtr<IStream> m_content;
    HRESULT m_failure = S_OK;
};

ComPtr<CWatchedContent> Watch(IStream* content) {
    ComPtr<CWatchedContent> watched;
    Check(MakeComObject<CWatchedContent>(&watched, content), L"Cannot read it");
    return watched;
}

// What the dictionary found is right even if more could not be read. Nothing found says nothing then.
std::vector<std::wstring> TakeTypes(IMimeTypeList* types, const CWatchedContent& content) {
    std::vector<std::wstring> texts = TakeTexts(types);
    if (types && (!texts.empty() || SUCCEEDED(content.Failure())))
        return texts;
    throw CHostError(L"Cannot read it", FAILED(content.Failure()) ? content.Failure() : E_FAIL);
}

}  // namespace

CMimeDictionary::CMimeDictionary(const std::wstring& folder) : m_library(folder), m_dictionary(m_library.Dictionary()) {
    if (!m_library.IsLoaded())
        throw CHostError(std::wstring(kTvMetadataLibrary) + L" was not found or cannot be loaded");
    if (!m_dictionary)
        throw CHostError(std::wstring(kTvMetadataLibrary) + L" has no dictionary");
}

CMimeDictionary::Answer CMimeDictionary::Detect(IStream* content) const {
    const auto watched = Watch(content);
    return {TakeTypes(m_dictionary->Detect(watched.Get()), *watched.Get()), {}};
}

CMimeDictionary::Answer CMimeDictionary::Explain(IStream* content) const {
    const auto explain = m_library.Export<ExplainMimeTypesFn>(kExplainMimeTypesExport);
    if (!explain)
        throw CHostError(std::wstring(L"this ") + kTvMetadataLibrary + L" gives no explanations");
    IMimeTypeList* lines = nullptr;
    const auto watched = Watch(content);
    IMimeTypeList* const types = explain(watched.Get(), &lines);
    std::vector<std::wstring> explanation = TakeTexts(lines);
    return {TakeTypes(types, *watched.Get()), std::move(explanation)};
}

std::wstring MimeTypesText(const std::vector<std::wstring>& types) {
    std::wstring text;
    for (const std::wstring& type : types)
        text += (text.empty() ? L"" : L",") + type;
    return text.empty() ? L"-" : text;
}
