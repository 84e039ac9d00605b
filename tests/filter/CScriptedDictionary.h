// The MIME dictionary of a test, reached through "filter_test_dictionary.dll", which is copied beside the filter as
// "TvMetadata.dll". While the object lives, the DLL gives it out; when there is no object, the DLL has no dictionary.
//
// One at a time. The object is also the list that it hands out.  Threads: the script is set before the filter uses it.
#pragma once

#include "sdk/TvMetadata.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// Where the DLL finds the dictionary's address: it is loaded and unloaded within one load of the filter, so nobody
// can give it the address before.
inline constexpr wchar_t kDictionaryAddressVariable[] = L"TV_TEST_DICTIONARY";

class CScriptedDictionary final : public IMimeTypeDictionary, private IMimeTypeList {
public:
    using Types = std::vector<std::optional<std::wstring>>;  // empty: a null item

    std::optional<Types> types = Types{};         // of every content; empty: a null list
    std::function<void(IStream*)> onDetect;       // sees the content
    std::pair<std::wstring, std::wstring> alias;  // row of the table ("*": any), candidate that Matches accepts
    int detections = 0;

    CScriptedDictionary() {
        const auto address = reinterpret_cast<std::uintptr_t>(static_cast<IMimeTypeDictionary*>(this));
        ::SetEnvironmentVariableW(kDictionaryAddressVariable, std::to_wstring(address).c_str());
    }
    ~CScriptedDictionary() {
        ::SetEnvironmentVariableW(kDictionaryAddressVariable, nullptr);
        EXPECT_EQ(0, m_liveLists) << "every list is given back";
    }

private:
    // IMimeTypeDictionary; the filter calls nothing but Detect and Matches
    IMimeTypeList* STDMETHODCALLTYPE Detect(IStream* stream) noexcept override {
        ++detections;
        if (onDetect)
            onDetect(stream);
        m_liveLists += types.has_value();
        return types ? this : nullptr;
    }
    IMimeTypeList* STDMETHODCALLTYPE FromExtension(const wchar_t*) noexcept override { return nullptr; }
    const wchar_t* STDMETHODCALLTYPE PreferredExtension(const wchar_t*) noexcept override { return nullptr; }
    IMimeTypeList* STDMETHODCALLTYPE Aliases(const wchar_t*) noexcept override { return nullptr; }
    const wchar_t* STDMETHODCALLTYPE CanonicalName(const wchar_t*) noexcept override { return nullptr; }
    IMimeTypeList* STDMETHODCALLTYPE KnownTypes() noexcept override { return nullptr; }
    bool STDMETHODCALLTYPE IsMedia(const wchar_t*) noexcept override { return false; }
    bool STDMETHODCALLTYPE Matches(const wchar_t* tableMime, const wchar_t* candidate) noexcept override {
        return candidate == alias.second && (alias.first == L"*" || alias.first == tableMime);
    }

    // IMimeTypeList
    long STDMETHODCALLTYPE GetCount() noexcept override { return static_cast<long>(types->size()); }
    const wchar_t* STDMETHODCALLTYPE Item(long index) noexcept override {
        const auto& item = types->at(static_cast<size_t>(index));
        return item ? item->c_str() : nullptr;
    }
    void STDMETHODCALLTYPE Destroy() noexcept override { --m_liveLists; }

    int m_liveLists = 0;
};
