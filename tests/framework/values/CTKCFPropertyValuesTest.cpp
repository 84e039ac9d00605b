#include "framework/values/CTKCFPropertyValues.h"
#include "framework/values/CVariant.h"
#include "tests/support/CTestObject.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <new>
#include <stdexcept>

namespace {

using Fill = std::function<void(VARIANT&)>;

[[nodiscard]] SAFEARRAY* MakeArray(VARTYPE type, LONG firstIndex, std::initializer_list<LONG> elements) {
    SAFEARRAYBOUND bound{static_cast<ULONG>(elements.size()), firstIndex};
    SAFEARRAY* array = ::SafeArrayCreate(type, 1, &bound);
    LONG index = firstIndex;
    for (LONG element : elements) {
        EXPECT_EQ(S_OK, ::SafeArrayPutElement(array, &index, &element));  // little-endian, so that UI1 works too
        ++index;
    }
    return array;
}

// A VARIANT of type `type` whose member `member` is `value`.
#define OF(type, member, value) [](VARIANT& variant) { variant.vt = (type), variant.member = (value); }

TEST(CTKCFPropertyValueTest, HasAStringFormForEachVariantThatItTakes) {
    const struct {
        Fill fill;
        const wchar_t* kind;
        std::wstring text;
    } table[] = {
        {OF(VT_I1, cVal, static_cast<CHAR>(-128)), L"Long", L"-128"},
        {OF(VT_UI1, bVal, 255), L"Long", L"255"},
        {OF(VT_I2, iVal, -32768), L"Long", L"-32768"},
        {OF(VT_UI2, uiVal, 65535), L"Long", L"65535"},
        {OF(VT_I4, lVal, -2147483647 - 1), L"Long", L"-2147483648"},
        {OF(VT_UI4, ulVal, 0xFFFFFFFF), L"Int64", L"4294967295"},
        {OF(VT_UINT, uintVal, 0xFFFFFFFF), L"Int64", L"4294967295"},
        {OF(VT_I8, llVal, -5000000000), L"Int64", L"-5000000000"},
        {OF(VT_UI8, ullVal, 0x7FFFFFFFFFFFFFFF), L"Int64", L"9223372036854775807"},
        {OF(VT_BSTR, bstrVal, ::SysAllocStringLen(L"a\0b", 3)), L"String", std::wstring(L"a\0b", 3)},
        {OF(VT_BSTR, bstrVal, nullptr), L"String", L""},
        {OF(VT_BOOL, boolVal, VARIANT_TRUE), L"Boolean", L"true"},
        {OF(VT_BOOL, boolVal, VARIANT_FALSE), L"Boolean", L"false"},
        {OF(VT_R4, fltVal, 0.1f), L"Double", L"0.1"},
        {OF(VT_R8, dblVal, 0.1), L"Double", L"0.1"},
        {OF(VT_R8, dblVal, -1e300), L"Double", L"-1e+300"},
        {OF(VT_DATE, date, 0.0), L"DateTime", L"1899-12-30T00:00:00"},
        {OF(VT_DATE, date, -657434.0), L"DateTime", L"0100-01-01T00:00:00"},
        {OF(VT_DATE, date, 2958465.999), L"DateTime", L"9999-12-31T23:58:34"},
        {OF(VT_DATE, date, 45322.75), L"DateTime", L"2024-01-31T18:00:00"},
        {OF(VT_ARRAY | VT_I4, parray, MakeArray(VT_I4, -5, {1920, 1080})), L"Dimension", L"1920x1080"},
        {OF(VT_ARRAY | VT_UI1, parray, MakeArray(VT_UI1, 1, {0, 0x1A, 0xFF})), L"Bytes", L"00-1A-FF"},
        {OF(VT_ARRAY | VT_UI1, parray, MakeArray(VT_UI1, 0, {})), L"Bytes", L""},
    };
    for (const auto& row : table) {
        VARIANT variant{};
        row.fill(variant);
        SCOPED_TRACE(variant.vt);
        const auto value = CTKCFPropertyValue::FromVariant(variant);
        EXPECT_EQ(S_OK, ::VariantClear(&variant)) << "an array is locked";
        ASSERT_TRUE(value);
        EXPECT_EQ(std::wstring(L"TKCF.PVT.") + row.kind, value->GetKind());
        EXPECT_EQ(row.text, value->ToString());
    }
}

TEST(CTKCFPropertyValueTest, IsNothingForUnknownOrDamagedVariants) {
    static LONG referred = 5;
    static SAFEARRAYBOUND square[2] = {{2, 0}, {2, 0}};
    const Fill table[] = {
        OF(VT_EMPTY, llVal, 0),
        OF(VT_UI8, ullVal, 0x8000000000000000),
        OF(VT_I4 | VT_BYREF, plVal, &referred),
        OF(VT_ERROR, scode, E_FAIL),
        OF(0x7777, llVal, -1),
        OF(VT_DATE, date, 1e300),
        OF(VT_DATE, date, -657435.0),
        OF(VT_DATE, date, 2958465.9999999),
        OF(VT_ARRAY | VT_UI1, parray, nullptr),
        OF(VT_ARRAY | VT_I4, parray, nullptr),
        OF(VT_ARRAY | VT_I4, parray, MakeArray(VT_I4, 0, {1})),
        OF(VT_ARRAY | VT_I4, parray, MakeArray(VT_I4, 0, {1, 2, 3})),
        OF(VT_ARRAY | VT_I4, parray, MakeArray(VT_UI1, 0, {1, 2})),  // the array is not what the VARIANT says
        OF(VT_ARRAY | VT_BSTR, parray, MakeArray(VT_BSTR, 0, {})),
        OF(VT_ARRAY | VT_UI1, parray, ::SafeArrayCreate(VT_UI1, 2, square)),
    };
    for (const Fill& fill : table) {
        framework::CVariant variant;
        fill(*variant.Put());
        EXPECT_FALSE(CTKCFPropertyValue::FromVariant(variant.Get())) << variant.Type();
    }
}

TEST(CVariantTest, HoldsOneValueAtATime) {
    CTestObject<IUnknown> object;
    alignas(framework::CVariant) std::byte memory[sizeof(framework::CVariant)];
    std::ranges::fill(memory, std::byte{0xCC});
    auto* const variant = ::new (memory) framework::CVariant;
    EXPECT_EQ(VT_EMPTY, variant->Type());
    variant->Put()->vt = 0x7777;  // the platform doesn't clear it
    EXPECT_EQ(VT_EMPTY, variant->Put()->vt);
    for (int i = 0; i < 2; ++i) {
        VARIANT* const put = variant->Put();
        put->vt = VT_UNKNOWN;
        EXPECT_EQ(S_OK, object.QueryInterface(IID_PPV_ARGS(&put->punkVal)));
        EXPECT_EQ(1u, object.References());
    }
    variant->~CVariant();
    EXPECT_EQ(0u, object.References());
}

using GetValueCall = std::function<HRESULT(VARIANT* value)>;

struct CFakePropertySet final : CTestObject<ITKCFPropertySet> {
    STDMETHODIMP GetCount(long*) override { return E_NOTIMPL; }
    STDMETHODIMP GetKey(long, BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP GetValue(BSTR key, VARIANT* value) override {
        EXPECT_STREQ(mdMimeType, key);
        return getValue(value);
    }

    GetValueCall getValue;
};

// Gives the string "x", or a VARIANT of another type.
GetValueCall Give(HRESULT result, VARTYPE type = VT_BSTR) {
    return [=](VARIANT* value) {
        value->vt = type;
        value->bstrVal = type == VT_BSTR ? ::SysAllocString(L"x") : nullptr;
        return result;
    };
}

TEST(CTKCFPropertyValuesTest, GiveAStringFormOnlyWhereThereIsAValueOfAKnownKind) {
    const std::pair<HRESULT, GetValueCall> table[] = {
        {S_OK, Give(S_OK)},
        {S_FALSE, Give(S_FALSE)},
        {S_FALSE, [](VARIANT*) { return S_OK; }},
        {S_FALSE, Give(S_OK, VT_NULL)},
        {DISP_E_TYPEMISMATCH, Give(S_OK, VT_ERROR)},
        {E_ACCESSDENIED, Give(E_ACCESSDENIED)},
        {E_OUTOFMEMORY, [](VARIANT*) -> HRESULT { throw std::bad_alloc(); }},
        {E_UNEXPECTED, [](VARIANT*) -> HRESULT { throw std::runtime_error("scripted"); }},
    };
    CFakePropertySet propertySet;
    const CTKCFPropertyValues values(&propertySet);
    std::wstring text;
    for (const auto& [result, getValue] : table) {
        propertySet.getValue = getValue;
        text = L"poisoned";
        EXPECT_EQ(result, values.GetString(mdMimeType, &text)) << &result - &table[0].first;
        EXPECT_EQ(result == S_OK ? L"x" : L"", text);
    }
    EXPECT_EQ(E_POINTER, CTKCFPropertyValues(nullptr).GetString(mdMimeType, &text));
    EXPECT_EQ(E_POINTER, values.GetString(nullptr, &text));
    EXPECT_EQ(E_POINTER, values.GetString(mdMimeType, nullptr));
    EXPECT_EQ(E_POINTER, values.Get(mdMimeType, nullptr));
}

}  // namespace
