#include "framework/values/CTKCFPropertyValues.h"

#include "framework/com/CComObjectBase.h"

#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <stdexcept>

using Microsoft::WRL::ComPtr;

namespace {

// A property set whose one method is the test's.
struct CFakePropertySet final : CComObjectBase<ITKCFPropertySet> {
    std::function<HRESULT(VARIANT* value)> getValue;
    std::wstring key;  // the last one asked for

    STDMETHODIMP GetCount(long*) override { return E_NOTIMPL; }
    STDMETHODIMP GetKey(long, BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP GetValue(BSTR asked, VARIANT* value) override {
        key.assign(asked, ::SysStringLen(asked));
        return getValue(value);
    }
};

// Gives a VARIANT of this type; a string is "x", a number 42.
auto Give(VARTYPE type, HRESULT result = S_OK) {
    return [=](VARIANT* value) {
        value->vt = type;
        value->lVal = 42;
        if (type == VT_BSTR)
            value->bstrVal = ::SysAllocString(L"x");
        return result;
    };
}

TEST(PropertyValues, GiveAStringFormOnlyWhereThereIsAValueOfAKnownKind) {
    const struct {
        const char* what;
        HRESULT result;
        std::function<HRESULT(VARIANT*)> getValue;
        const wchar_t* text = L"";
    } table[] = {
        {"a string", S_OK, Give(VT_BSTR), L"x"},
        {"a number", S_OK, Give(VT_I4), L"42"},
        {"no such key", S_FALSE, [](VARIANT*) { return S_FALSE; }},
        {"no such key, and a value", S_FALSE, Give(VT_BSTR, S_FALSE)},
        {"success without a value", S_FALSE, [](VARIANT*) { return S_OK; }},
        {"null", S_FALSE, Give(VT_NULL)},
        {"a kind that is not known", DISP_E_TYPEMISMATCH, Give(VT_ERROR)},
        {"failure, and a value", E_ACCESSDENIED, Give(VT_BSTR, E_ACCESSDENIED)},
        {"out of memory", E_OUTOFMEMORY, [](VARIANT*) -> HRESULT { throw std::bad_alloc(); }},
        {"exception", E_UNEXPECTED, [](VARIANT*) -> HRESULT { throw std::runtime_error("scripted"); }},
    };
    ComPtr<CFakePropertySet> propertySet;
    ASSERT_EQ(S_OK, MakeComObject<CFakePropertySet>(&propertySet));
    const CTKCFPropertyValues values(propertySet.Get());
    std::wstring text;
    for (const auto& row : table) {
        SCOPED_TRACE(row.what);
        propertySet->getValue = row.getValue;
        text = L"poisoned";
        EXPECT_EQ(row.result, values.GetString(mdMimeType, &text));
        EXPECT_EQ(row.text, text);
        EXPECT_EQ(mdMimeType, propertySet->key);
    }
    EXPECT_EQ(E_POINTER, CTKCFPropertyValues(nullptr).GetString(mdMimeType, &text));
    EXPECT_EQ(E_POINTER, values.GetString(nullptr, &text));
    EXPECT_EQ(E_POINTER, values.GetString(mdMimeType, nullptr));
}

}  // namespace
