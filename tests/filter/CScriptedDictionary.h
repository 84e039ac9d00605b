// The MIME dictionary of a test, reached through the test's metadata library: "filter_test_metadata.dll", copied beside
// the filter as "TvMetadata.dll".
//
//   CScriptedDictionary dictionary;
//   dictionary.types = {L"video/mpeg", std::nullopt};
//
// While the object lives, the library gives it out as its dictionary; when there is none, the library has none either.
// One at a time. Threads: the script is set before the filter uses it.
#pragma once

#include "sdk/TvMetadata.h"

#include <atomic>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// Where the library finds the dictionary's address: it is loaded and unloaded within one load of the filter, so it
// can't be told before.
inline constexpr wchar_t kDictionaryAddressVariable[] = L"TV_TEST_DICTIONARY";

class CScriptedDictionary final : public IMimeTypeDictionary {
public:
    using Types = std::vector<std::optional<std::wstring>>;  // nothing: a null item

    std::optional<Types> types = Types{};    // of every content; nothing: a null list
    std::function<void(IStream*)> onDetect;  // sees the content
    std::pair<std::wstring, std::wstring>
        alias;  // (row of the table, candidate) that Matches says yes to; "*": any row

    CScriptedDictionary();
    CScriptedDictionary(const CScriptedDictionary&) = delete;
    CScriptedDictionary& operator=(const CScriptedDictionary&) = delete;
    ~CScriptedDictionary();

    [[nodiscard]] int Detections() const { return m_detections; }
    [[nodiscard]] int LiveLists() const { return m_liveLists; }

    // IMimeTypeDictionary
    IMimeTypeList* STDMETHODCALLTYPE Detect(IStream* stream) noexcept override;
    IMimeTypeList* STDMETHODCALLTYPE FromExtension(const wchar_t*) noexcept override { return Unexpected(); }
    const wchar_t* STDMETHODCALLTYPE PreferredExtension(const wchar_t*) noexcept override { return Unexpected(); }
    IMimeTypeList* STDMETHODCALLTYPE Aliases(const wchar_t*) noexcept override { return Unexpected(); }
    const wchar_t* STDMETHODCALLTYPE CanonicalName(const wchar_t*) noexcept override { return Unexpected(); }
    IMimeTypeList* STDMETHODCALLTYPE KnownTypes() noexcept override { return Unexpected(); }
    bool STDMETHODCALLTYPE IsMedia(const wchar_t*) noexcept override { return Unexpected() != nullptr; }
    bool STDMETHODCALLTYPE Matches(const wchar_t* tableMime, const wchar_t* candidate) noexcept override;

private:
    class CList;

    static std::nullptr_t Unexpected();

    std::atomic<int> m_detections{0};
    std::atomic<int> m_liveLists{0};
};
