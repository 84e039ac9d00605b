#include "tests/filter/CScriptedDictionary.h"

#include <gtest/gtest.h>

#include <cstdint>

class CScriptedDictionary::CList final : public IMimeTypeList {
public:
    explicit CList(CScriptedDictionary& dictionary) : m_dictionary(dictionary), m_types(*dictionary.types) {
        ++m_dictionary.m_liveLists;
    }

    long STDMETHODCALLTYPE GetCount() noexcept override { return static_cast<long>(m_types.size()); }
    const wchar_t* STDMETHODCALLTYPE Item(long index) noexcept override {
        const bool isThere = index >= 0 && static_cast<size_t>(index) < m_types.size();
        EXPECT_TRUE(isThere) << index;
        return isThere && m_types[static_cast<size_t>(index)] ? m_types[static_cast<size_t>(index)]->c_str() : nullptr;
    }
    void STDMETHODCALLTYPE Destroy() noexcept override {
        --m_dictionary.m_liveLists;
        delete this;
    }

private:
    CScriptedDictionary& m_dictionary;
    const Types m_types;
};

CScriptedDictionary::CScriptedDictionary() {
    const auto address = reinterpret_cast<std::uintptr_t>(static_cast<IMimeTypeDictionary*>(this));
    ::SetEnvironmentVariableW(kDictionaryAddressVariable, std::to_wstring(address).c_str());
}

CScriptedDictionary::~CScriptedDictionary() {
    ::SetEnvironmentVariableW(kDictionaryAddressVariable, nullptr);
}

IMimeTypeList* CScriptedDictionary::Detect(IStream* stream) noexcept {
    ++m_detections;
    if (onDetect)
        onDetect(stream);
    return types ? new CList(*this) : nullptr;
}

bool CScriptedDictionary::Matches(const wchar_t* tableMime, const wchar_t* candidate) noexcept {
    return candidate == alias.second && (alias.first == L"*" || alias.first == tableMime);
}

std::nullptr_t CScriptedDictionary::Unexpected() {
    ADD_FAILURE() << "the filter calls nothing but Detect and Matches";
    return nullptr;
}
