// One value of a property set, in one of the framework's kinds:
//
//   kind                  made of a VARIANT that holds                      its string form
//   TKCF.PVT.Long         an integer of up to 32 bits (UI4 and UINT not)    -5
//   TKCF.PVT.Int64        any other integer, if it fits                     5000000000
//   TKCF.PVT.String       a BSTR; null is the empty string                  as it is
//   TKCF.PVT.Boolean      BOOL                                              true, false
//   TKCF.PVT.Double       R4, R8                                            0.1: the fewest digits that give it back
//   TKCF.PVT.DateTime     DATE, years 100 to 9999                           2024-01-31T23:59:59
//   TKCF.PVT.Dimension    an array of two I4: width, height                 1920x1080
//   TKCF.PVT.Bytes        an array of UI1                                   00-1A-FF
//
// String forms don't depend on the user's language.
// Threads: as for a plain value.  Errors: memory that runs out is std::bad_alloc.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

class CTKCFPropertyValue final {
public:
    // No value: the VARIANT is of another kind, refers to its value by reference, or is damaged.
    [[nodiscard]] static std::optional<CTKCFPropertyValue> FromVariant(const VARIANT& variant);

    // One of the names above.
    [[nodiscard]] const wchar_t* GetKind() const noexcept;
    [[nodiscard]] std::wstring ToString() const;

private:
    struct DateTime {
        SYSTEMTIME time;
    };
    struct Dimension {
        LONG width;
        LONG height;
    };
    using Bytes = std::vector<BYTE>;
    // In the order of the table.
    using Value = std::variant<LONG, std::int64_t, std::wstring, bool, double, DateTime, Dimension, Bytes>;

    explicit CTKCFPropertyValue(Value value) : m_value(std::move(value)) {}

    [[nodiscard]] static std::optional<Value> Read(const VARIANT& variant);
    [[nodiscard]] static std::optional<Value> ReadDate(DATE date) noexcept;
    [[nodiscard]] static std::optional<Value> ReadDimension(SAFEARRAY* array);
    [[nodiscard]] static std::optional<Value> ReadBytes(SAFEARRAY* array);

    Value m_value;
};
