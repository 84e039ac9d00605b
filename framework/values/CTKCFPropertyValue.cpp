#include "framework/values/CTKCFPropertyValue.h"

#include "base/FormatText.h"
#include "framework/uri/FormatHexBytes.h"

#include <charconv>
#include <cstring>
#include <limits>
#include <string_view>
#include <utility>

namespace {

template <class Number>
[[nodiscard]] std::wstring NumberText(Number number) {
    char text[64];
    const auto end = std::to_chars(std::begin(text), std::end(text), number).ptr;
    return {std::begin(text), end};
}

// The double with the float's fewest digits: 0.1f was meant as 0.1, not as 0.10000000149011612.
[[nodiscard]] double DoubleOf(float number) noexcept {
    char text[64];
    const auto end = std::to_chars(std::begin(text), std::end(text), number).ptr;
    double result = number;
    std::from_chars(text, end, result);
    return result;
}

[[nodiscard]] std::wstring DateTimeText(const SYSTEMTIME& time) {
    return base::FormatText(L"%04u-%02u-%02uT%02u:%02u:%02u", time.wYear, time.wMonth, time.wDay, time.wHour,
                            time.wMinute, time.wSecond);
}

// The elements of a one-dimensional array. No value: it is no such array, or its elements have another size.
template <class Element>
[[nodiscard]] std::optional<std::vector<Element>> Elements(SAFEARRAY* array) {
    LONG first = 0;
    LONG last = 0;
    if (!array || ::SafeArrayGetDim(array) != 1 || ::SafeArrayGetElemsize(array) != sizeof(Element) ||
        FAILED(::SafeArrayGetLBound(array, 1, &first)) || FAILED(::SafeArrayGetUBound(array, 1, &last)))
        return std::nullopt;
    const std::int64_t count = std::int64_t{last} - first + 1;
    std::vector<Element> elements(static_cast<size_t>(count > 0 ? count : 0));
    void* data = nullptr;
    if (FAILED(::SafeArrayAccessData(array, &data)))
        return std::nullopt;
    if (!elements.empty())
        std::memcpy(elements.data(), data, elements.size() * sizeof(Element));
    ::SafeArrayUnaccessData(array);
    return elements;
}

}  // namespace

std::optional<CTKCFPropertyValue> CTKCFPropertyValue::FromVariant(const VARIANT& variant) {
    auto value = Read(variant);
    if (!value)
        return std::nullopt;
    return CTKCFPropertyValue(std::move(*value));
}

std::optional<CTKCFPropertyValue::Value> CTKCFPropertyValue::Read(const VARIANT& variant) {
    switch (variant.vt) {
        case VT_I1:
            return LONG{static_cast<signed char>(variant.cVal)};
        case VT_UI1:
            return LONG{variant.bVal};
        case VT_I2:
            return LONG{variant.iVal};
        case VT_UI2:
            return LONG{variant.uiVal};
        case VT_I4:
            return variant.lVal;
        case VT_INT:
            return LONG{variant.intVal};
        case VT_UI4:
            return std::int64_t{variant.ulVal};
        case VT_UINT:
            return std::int64_t{variant.uintVal};
        case VT_I8:
            return std::int64_t{variant.llVal};
        case VT_UI8:
            if (variant.ullVal > static_cast<ULONGLONG>(std::numeric_limits<std::int64_t>::max()))
                return std::nullopt;
            return static_cast<std::int64_t>(variant.ullVal);
        case VT_BSTR:
            return std::wstring(variant.bstrVal ? variant.bstrVal : L"", ::SysStringLen(variant.bstrVal));
        case VT_BOOL:
            return variant.boolVal != VARIANT_FALSE;
        case VT_R4:
            return DoubleOf(variant.fltVal);
        case VT_R8:
            return variant.dblVal;
        case VT_DATE:
            return ReadDate(variant.date);
        case VT_ARRAY | VT_I4:
            return ReadDimension(variant.parray);
        case VT_ARRAY | VT_UI1:
            return ReadBytes(variant.parray);
        default:
            return std::nullopt;
    }
}

std::optional<CTKCFPropertyValue::Value> CTKCFPropertyValue::ReadDate(DATE date) noexcept {
    DateTime dateTime{};
    // The last half second of the year 9999 is rounded up to a year that has no four digits.
    if (!::VariantTimeToSystemTime(date, &dateTime.time) || dateTime.time.wYear > 9999)
        return std::nullopt;
    return dateTime;
}

std::optional<CTKCFPropertyValue::Value> CTKCFPropertyValue::ReadDimension(SAFEARRAY* array) {
    const auto sides = Elements<LONG>(array);
    if (!sides || sides->size() != 2)
        return std::nullopt;
    return Dimension{sides->front(), sides->back()};
}

std::optional<CTKCFPropertyValue::Value> CTKCFPropertyValue::ReadBytes(SAFEARRAY* array) {
    auto bytes = Elements<BYTE>(array);
    if (!bytes)
        return std::nullopt;
    return std::move(*bytes);
}

const wchar_t* CTKCFPropertyValue::GetKind() const noexcept {
    static constexpr const wchar_t* kKinds[] = {L"TKCF.PVT.Long",      L"TKCF.PVT.Int64",  L"TKCF.PVT.String",
                                                L"TKCF.PVT.Boolean",   L"TKCF.PVT.Double", L"TKCF.PVT.DateTime",
                                                L"TKCF.PVT.Dimension", L"TKCF.PVT.Bytes"};
    static_assert(ARRAYSIZE(kKinds) == std::variant_size_v<Value>);
    return kKinds[m_value.index()];
}

std::wstring CTKCFPropertyValue::ToString() const {
    struct Text {
        std::wstring operator()(LONG value) const { return NumberText(value); }
        std::wstring operator()(std::int64_t value) const { return NumberText(value); }
        std::wstring operator()(const std::wstring& value) const { return value; }
        std::wstring operator()(bool value) const { return value ? L"true" : L"false"; }
        std::wstring operator()(double value) const { return NumberText(value); }
        std::wstring operator()(const DateTime& value) const { return DateTimeText(value.time); }
        std::wstring operator()(const Dimension& value) const {
            return NumberText(value.width) + L'x' + NumberText(value.height);
        }
        std::wstring operator()(const Bytes& value) const { return FormatHexBytes(value.data(), value.size()); }
    };
    return std::visit(Text{}, m_value);
}
