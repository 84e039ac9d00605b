// A flag or number whose changes are reported to the log by name:
//
//   CWatchedValue<bool> m_bInfiniteStream{kSource, L"TvFileSourceAsync Output Pin", L"m_bInfiniteStream", false};
//   m_bInfiniteStream.Set(true, L"CCustomFileSourcePin::SetSourceFileStream", __LINE__);
//
// logs one record of severity kDebug: TvFileSourceAsync Output Pin: m_bInfiniteStream = true
// A value without a name is reported as that of the object: TvFileSourceAsync Output Pin = true
//
// Threads: any; the value is atomic. Of two threads that set it at once, each reports the change that it made.
// Errors: none; out of memory loses the record, not the value.
#pragma once

#include "diagnostics/LogSite.h"

#include <atomic>
#include <string>
#include <type_traits>

namespace TKRuntimeLogger {

template <class T>
class CWatchedValue final {
    static_assert(std::is_integral_v<T>, "a watched value is a flag or a whole number");

public:
    // The names are literals. The initial value is not reported.
    constexpr CWatchedValue(const LogSource& source, const wchar_t* objectName, const wchar_t* valueName,
                            T initial) noexcept
        : m_source(source), m_objectName(objectName), m_valueName(valueName), m_value(initial) {}
    CWatchedValue(const CWatchedValue&) = delete;
    CWatchedValue& operator=(const CWatchedValue&) = delete;

    [[nodiscard]] T Get() const noexcept { return m_value.load(); }
    operator T() const noexcept { return Get(); }

    // `function` and `line` are where the change is made.
    void Set(T value, const wchar_t* function, LONG line) noexcept {
        if (m_value.exchange(value) == value)
            return;
        AtLogSite([&](ITKRuntimeLoggerAPI& logger) {
            const bool named = m_valueName && *m_valueName;
            LogFormatted(logger, m_source, kDebug, line, function, L"%s%s%s = %s", m_objectName, named ? L": " : L"",
                         named ? m_valueName : L"", Text(value).c_str());
        });
    }

private:
    static std::wstring Text(T value) {
        if constexpr (std::is_same_v<T, bool>)
            return value ? L"true" : L"false";
        else
            return std::to_wstring(value);
    }

    const LogSource m_source;
    const wchar_t* const m_objectName;
    const wchar_t* const m_valueName;
    std::atomic<T> m_value;
};

}  // namespace TKRuntimeLogger
