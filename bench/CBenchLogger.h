// A logging service inside this process that counts what it is told. While the object lives, it is published in the
// Running Object Table, where each thread of each component that logs for the first time finds it.
//
// Threads: any, while in the multithreaded apartment.
#pragma once

#include "TKRuntimeLogger.h"
#include "framework/com/CComObjectBase.h"

#include <atomic>

namespace bench {

class CBenchLogger final {
public:
    // Throws std::runtime_error when the table doesn't take it.
    CBenchLogger();
    CBenchLogger(const CBenchLogger&) = delete;
    CBenchLogger& operator=(const CBenchLogger&) = delete;
    // Threads that have found the service keep it.
    ~CBenchLogger();

    [[nodiscard]] long long Records() const noexcept { return m_service->records; }
    [[nodiscard]] long long ProfileRecords() const noexcept { return m_service->profileRecords; }

private:
    class CService final : public framework::CComObjectBase<ITKRuntimeLogger> {
    public:
        STDMETHODIMP Log(LONG severity, BSTR category, ULONG processId, ULONG threadId, BSTR file, LONG line,
                         BSTR function, BSTR message) noexcept override;
        STDMETHODIMP LogProfile(LONG severity, BSTR category, ULONG processId, BSTR file, LONG line, BSTR function,
                                BSTR message, ULONGLONG count, double firstDuration, double maximumDuration,
                                double totalDuration) noexcept override;
        STDMETHODIMP LogExplicit(LONG severity, BSTR category, ULONG value1, ULONG value2, BSTR file, LONG line,
                                 ULONG value3, BSTR function, BSTR message, VARIANT_BOOL flag) noexcept override;

        std::atomic<long long> records{0};
        std::atomic<long long> profileRecords{0};
    };

    Microsoft::WRL::ComPtr<CService> m_service;
    Microsoft::WRL::ComPtr<IRunningObjectTable> m_table;
    DWORD m_registration = 0;
};

}  // namespace bench
