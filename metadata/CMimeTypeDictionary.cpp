#include "metadata/CMimeTypeDictionary.h"

#include "base/ComBoundary.h"
#include "metadata/CMimeTypeList.h"
#include "metadata/CStreamSource.h"
#include "metadata/Explanation.h"
#include "metadata/MimeTypeNames.h"

#include <memory>

namespace metadata {

namespace {

using Texts = std::vector<std::wstring>;

using ListPointer = std::unique_ptr<IMimeTypeList, MimeTypeListDestroyer>;

// The list that `make` gives, or null when it throws or there is nothing to be listed.
template <class Make>
IMimeTypeList* List(Make&& make) noexcept {
    IMimeTypeList* list = nullptr;
    base::RunQuietly([&] { list = make(); });
    return list;
}

IMimeTypeList* NullIfEmpty(Texts texts) {
    return texts.empty() ? nullptr : new CMimeTypeList(std::move(texts));
}

Texts TypesOf(const Detection& detection) {
    Texts types;
    if (!detection.findings.empty()) {
        for (const wchar_t* type : detection.findings.back().verdict.types) {
            if (type)
                types.emplace_back(type);
        }
    }
    return types;
}

}  // namespace

IMimeTypeList* STDMETHODCALLTYPE CMimeTypeDictionary::Detect(IStream* stream) noexcept {
    return DetectAndExplain(stream, nullptr, nullptr);
}

IMimeTypeList* STDMETHODCALLTYPE CMimeTypeDictionary::FromExtension(const wchar_t* extension) noexcept {
    return List([&] { return NullIfEmpty(extension ? MimeTypesOfExtension(extension) : Texts()); });
}

const wchar_t* STDMETHODCALLTYPE CMimeTypeDictionary::PreferredExtension(const wchar_t* mime) noexcept {
    return mime ? ExtensionOfMimeType(mime) : nullptr;
}

IMimeTypeList* STDMETHODCALLTYPE CMimeTypeDictionary::Aliases(const wchar_t* mime) noexcept {
    return List([&] { return NullIfEmpty(mime ? NamesOfMimeType(mime) : Texts()); });
}

const wchar_t* STDMETHODCALLTYPE CMimeTypeDictionary::CanonicalName(const wchar_t* mime) noexcept {
    return mime ? CanonicalMimeType(mime) : nullptr;
}

IMimeTypeList* STDMETHODCALLTYPE CMimeTypeDictionary::KnownTypes() noexcept {
    return List([] { return NullIfEmpty(KnownMimeTypes()); });
}

bool STDMETHODCALLTYPE CMimeTypeDictionary::IsMedia(const wchar_t* mime) noexcept {
    return mime && IsMediaType(mime);
}

bool STDMETHODCALLTYPE CMimeTypeDictionary::Matches(const wchar_t* tableMime, const wchar_t* candidate) noexcept {
    return tableMime && candidate && IsSameMimeType(tableMime, candidate);
}

IMimeTypeDictionary* MimeTypeDictionary() noexcept {
    static constinit CMimeTypeDictionary dictionary;
    return &dictionary;
}

IMimeTypeList* DetectAndExplain(IStream* stream, IMimeTypeList** explanation, HRESULT* result) noexcept {
    HRESULT unwanted = S_OK;
    HRESULT& reason = result ? *result : unwanted;
    reason = E_OUTOFMEMORY;  // nothing else is thrown
    if (explanation)
        *explanation = nullptr;
    return List([&]() -> IMimeTypeList* {
        if (!stream)
            return reason = E_POINTER, nullptr;
        const Detection detection = DetectFormat(stream);
        if (FAILED(detection.result))
            return reason = detection.result, nullptr;
        ListPointer lines(explanation ? new CMimeTypeList(Explain(detection)) : nullptr);
        ListPointer types(new CMimeTypeList(TypesOf(detection)));
        if (explanation)
            *explanation = lines.release();
        reason = detection.isOutOfTime ? S_FALSE : S_OK;
        return types.release();
    });
}

}  // namespace metadata
