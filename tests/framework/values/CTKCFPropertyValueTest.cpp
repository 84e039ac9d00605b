#include "framework/values/CTKCFPropertyValue.h"

#include "framework/values/CVariant.h"

#include <gtest/gtest.h>

#include <functional>

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
#define OF(type, member, value)   \
    [](VARIANT& variant) {        \
        variant.vt = (type);      \
        variant.member = (value); \
    }

TEST(PropertyValue, HasAKindAndAStringFormForEachVariantThatItTakes) {
    const struct {
        Fill fill;
        const wchar_t* kind;
        std::wstring text;
    } table[] = {
        {OF(VT_I1, cVal, static_cast<CHAR>(-128)), L"TKCF.PVT.Long", L"-128"},
        {OF(VT_UI1, bVal, 255), L"TKCF.PVT.Long", L"255"},
        {OF(VT_I2, iVal, -32768), L"TKCF.PVT.Long", L"-32768"},
        {OF(VT_UI2, uiVal, 65535), L"TKCF.PVT.Long", L"65535"},
        {OF(VT_I4, lVal, -2147483647 - 1), L"TKCF.PVT.Long", L"-2147483648"},
        {OF(VT_UI4, ulVal, 0xFFFFFFFF), L"TKCF.PVT.Int64", L"4294967295"},
        {OF(VT_UINT, uintVal, 0xFFFFFFFF), L"TKCF.PVT.Int64", L"4294967295"},
        {OF(VT_I8, llVal, -5000000000), L"TKCF.PVT.Int64", L"-5000000000"},
        {OF(VT_UI8, ullVal, 0x7FFFFFFFFFFFFFFF), L"TKCF.PVT.Int64", L"9223372036854775807"},
        {OF(VT_BSTR, bstrVal, ::SysAllocString(L"video/mpeg")), L"TKCF.PVT.String", L"video/mpeg"},
        {OF(VT_BSTR, bstrVal, ::SysAllocStringLen(L"a\0b", 3)), L"TKCF.PVT.String", std::wstring(L"a\0b", 3)},
        {OF(VT_BSTR, bstrVal, nullptr), L"TKCF.PVT.String", L""},
        {OF(VT_BOOL, boolVal, VARIANT_TRUE), L"TKCF.PVT.Boolean", L"true"},
        {OF(VT_BOOL, boolVal, VARIANT_FALSE), L"TKCF.PVT.Boolean", L"false"},
        {OF(VT_R4, fltVal, 0.5f), L"TKCF.PVT.Double", L"0.5"},
        {OF(VT_R8, dblVal, 0.1), L"TKCF.PVT.Double", L"0.1"},
        {OF(VT_R8, dblVal, -1e300), L"TKCF.PVT.Double", L"-1e+300"},
        {OF(VT_DATE, date, 0.0), L"TKCF.PVT.DateTime", L"1899-12-30T00:00:00"},
        {OF(VT_DATE, date, 45322.75), L"TKCF.PVT.DateTime", L"2024-01-31T18:00:00"},
        {OF(VT_ARRAY | VT_I4, parray, MakeArray(VT_I4, 0, {1920, 1080})), L"TKCF.PVT.Dimension", L"1920x1080"},
        {OF(VT_ARRAY | VT_I4, parray, MakeArray(VT_I4, -5, {1, 2})), L"TKCF.PVT.Dimension", L"1x2"},
        {OF(VT_ARRAY | VT_UI1, parray, MakeArray(VT_UI1, 1, {0, 0x1A, 0xFF})), L"TKCF.PVT.Bytes", L"00-1A-FF"},
        {OF(VT_ARRAY | VT_UI1, parray, MakeArray(VT_UI1, 0, {})), L"TKCF.PVT.Bytes", L""},
    };
    for (const auto& row : table) {
        CVariant variant;
        row.fill(*variant.Put());
        SCOPED_TRACE(variant.Type());
        const auto value = CTKCFPropertyValue::FromVariant(variant.Get());
        ASSERT_TRUE(value);
        EXPECT_STREQ(row.kind, value->GetKind());
        EXPECT_EQ(row.text, value->ToString());
    }
}

TEST(PropertyValue, IsNothingForOtherVariantsAndDamagedOnes) {
    static LONG referred = 5;
    static SAFEARRAYBOUND square[2] = {{2, 0}, {2, 0}};
    const Fill table[] = {
        OF(VT_EMPTY, llVal, 0),
        OF(VT_UI8, ullVal, 0x8000000000000000),
        OF(VT_I4 | VT_BYREF, plVal, &referred),
        OF(VT_ERROR, scode, E_FAIL),
        OF(0x7777, llVal, -1),
        OF(VT_DATE, date, 1e300),
        OF(VT_ARRAY | VT_UI1, parray, nullptr),
        OF(VT_ARRAY | VT_I4, parray, nullptr),
        OF(VT_ARRAY | VT_I4, parray, MakeArray(VT_I4, 0, {1})),
        OF(VT_ARRAY | VT_I4, parray, MakeArray(VT_I4, 0, {1, 2, 3})),
        OF(VT_ARRAY | VT_I4, parray, MakeArray(VT_UI1, 0, {1, 2})),  // the array is not what the VARIANT says
        OF(VT_ARRAY | VT_BSTR, parray, MakeArray(VT_BSTR, 0, {})),
        OF(VT_ARRAY | VT_UI1, parray, ::SafeArrayCreate(VT_UI1, 2, square)),
    };
    for (const Fill& fill : table) {
        CVariant variant;
        fill(*variant.Put());
        EXPECT_FALSE(CTKCFPropertyValue::FromVariant(variant.Get())) << variant.Type();
    }
}

}  // namespace
