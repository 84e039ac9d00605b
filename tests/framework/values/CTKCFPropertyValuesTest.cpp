#include "framework/values/CTKCFPropertyValues.h"

#include "framework/com/CComObjectBase.h"

#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <stdexcept>

using Microsoft::WRL::ComPtr;

namespace {

// A property set whose one method is the test's.
class CFakePropertySet final : public CComObjectBase<ITKCFPropertySet> {
public:
    std::function<HRESULT(const std::wstring& key, VARIANT* value)> getValue;

    STDMETHODIMP GetCount(long*) override { return E_NOTIMPL; }
    STDMETHODIMP GetKey(long, BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP GetValue(BSTR key, VARIANT* value) override { return getValue({key, ::SysStringLen(key)}, value); }
};

[[nodiscard]] HRESULT Give(VARIANT* value, const wchar_t* text, HRESULT result = S_OK) {
    value->vt = VT_BSTR;
    value->bstrVal = ::SysAllocString(text);
    return result;
}

struct PropertyValuesTest : ::testing::Test {
    void SetUp() override { ASSERT_EQ(S_OK, MakeComObject<CFakePropertySet>(&propertySet)); }

    ComPtr<CFakePropertySet> propertySet;
    std::wstring text = L"poisoned";
};

TEST_F(PropertyValuesTest, GivesTheStringFormOfTheValueUnderTheKey) {
    propertySet->getValue = [](const std::wstring& key, VARIANT* value) {
        if (key == mdMimeType)
            return Give(value, L"video/mpeg");
        value->vt = VT_I4;
        value->lVal = 42;
        return S_OK;
    };
    const CTKCFPropertyValues values(propertySet.Get());
    EXPECT_EQ(S_OK, values.GetString(mdMimeType, &text));
    EXPECT_EQ(L"video/mpeg", text);
    EXPECT_EQ(S_OK, values.GetString(L"TKDS.MetaData.Other", &text));
    EXPECT_EQ(L"42", text);

    std::optional<CTKCFPropertyValue> value;
    EXPECT_EQ(S_OK, values.Get(L"TKDS.MetaData.Other", &value));
    ASSERT_TRUE(value);
    EXPECT_STREQ(L"TKCF.PVT.Long", value->GetKind());
}

TEST_F(PropertyValuesTest, GivesNothingUnlessThereIsAValueOfAKnownKind) {
    const struct {
        const char* what;
        HRESULT result;
        std::function<HRESULT(const std::wstring&, VARIANT*)> getValue;
    } table[] = {
        {"no such key", S_FALSE, [](auto&, VARIANT*) { return S_FALSE; }},
        {"no such key, and a value", S_FALSE, [](auto&, VARIANT* value) { return Give(value, L"x", S_FALSE); }},
        {"success without a value", S_FALSE, [](auto&, VARIANT*) { return S_OK; }},
        {"null", S_FALSE,
         [](auto&, VARIANT* value) {
             value->vt = VT_NULL;
             return S_OK;
         }},
        {"a kind that is not known", DISP_E_TYPEMISMATCH,
         [](auto&, VARIANT* value) {
             value->vt = VT_ERROR;
             return S_OK;
         }},
        {"failure", E_ACCESSDENIED, [](auto&, VARIANT*) { return E_ACCESSDENIED; }},
        {"failure, and a value", E_ACCESSDENIED,
         [](auto&, VARIANT* value) { return Give(value, L"x", E_ACCESSDENIED); }},
        {"out of memory", E_OUTOFMEMORY, [](auto&, VARIANT*) -> HRESULT { throw std::bad_alloc(); }},
        {"exception", E_UNEXPECTED, [](auto&, VARIANT*) -> HRESULT { throw std::runtime_error("scripted"); }},
    };
    const CTKCFPropertyValues values(propertySet.Get());
    for (const auto& row : table) {
        SCOPED_TRACE(row.what);
        propertySet->getValue = row.getValue;
        text = L"poisoned";
        EXPECT_EQ(row.result, values.GetString(mdMimeType, &text));
        EXPECT_EQ(L"", text);
    }
}

TEST_F(PropertyValuesTest, RefusesNullPointers) {
    EXPECT_EQ(E_POINTER, CTKCFPropertyValues(nullptr).GetString(mdMimeType, &text));
    EXPECT_EQ(L"", text);
    EXPECT_EQ(E_POINTER, CTKCFPropertyValues(propertySet.Get()).GetString(nullptr, &text));
    EXPECT_EQ(E_POINTER, CTKCFPropertyValues(propertySet.Get()).GetString(mdMimeType, nullptr));
}

}  // namespace
