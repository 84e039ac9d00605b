// A logging service that writes down whatever it is told, and is published in the real Running Object Table.
//
//   CPublishedLogger published;
//   OnNewThread([] { DoSomethingThatLogs(); });
//   EXPECT_EQ(published->Messages(), ...);
//
// A thread looks for a logger once in its life, so what shall be recorded must run on a thread that starts after the
// logger was published: OnNewThread. Publisher and users are in the process's multithreaded apartment; a
// single-threaded one would need a proxy, which the service doesn't bring.
#pragma once

#include <windows.h>

#include <objbase.h>
#include <wrl/client.h>

#include <atomic>
#include <functional>
#include <future>
#include <mutex>
#include <ostream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "TKRuntimeLogger.h"

// Texts that were null are recorded as this.
inline constexpr wchar_t kNullText[] = L"<null>";

struct LoggedRecord {
    LONG severity = -1;
    std::wstring category;
    ULONG processId = 0, threadId = 0;
    std::wstring file;
    LONG line = 0;
    std::wstring function, message;

    bool operator==(const LoggedRecord&) const = default;
};
std::ostream& operator<<(std::ostream& out, const LoggedRecord& record);

struct LoggedProfile {
    LONG severity = -1;
    std::wstring category;
    ULONG processId = 0;
    std::wstring file;
    LONG line = 0;
    std::wstring function, message;
    ULONGLONG count = 0;
    double firstDuration = -1, maximumDuration = -1, totalDuration = -1;

    bool operator==(const LoggedProfile&) const = default;
};

struct LoggedExplicit {
    LONG severity = -1;
    std::wstring category;
    ULONG value1 = 0, value2 = 0;
    std::wstring file;
    LONG line = 0;
    ULONG value3 = 0;
    std::wstring function, message;
    VARIANT_BOOL flag = 1;

    bool operator==(const LoggedExplicit&) const = default;
};

// Threads: any. Calls may throw where a script says so.
class CRecordingLogger final : public ITKRuntimeLogger, public ITKRuntimeLoggerQuestion, public ITKRuntimeLoggerDump {
public:
    [[nodiscard]] static Microsoft::WRL::ComPtr<CRecordingLogger> Create();

    // Scripts; set them before the logger is published.
    bool offersLog = true;
    bool offersQuestion = false;
    bool offersDump = false;
    std::function<void()> onQueryInterface;          // runs inside each query
    std::function<HRESULT()> onCall;                 // runs inside each call; its failure is the call's
    std::function<LONG(const LoggedRecord&)> onAsk;  // gives the answer; the record's message is the question

    [[nodiscard]] std::vector<LoggedRecord> Records() const { return Copy(m_records); }
    [[nodiscard]] std::vector<LoggedRecord> Dumps() const { return Copy(m_dumps); }
    // With the second text.
    [[nodiscard]] std::vector<std::pair<LoggedRecord, std::wstring>> Questions() const { return Copy(m_questions); }
    [[nodiscard]] std::vector<LoggedProfile> Profiles() const { return Copy(m_profiles); }
    [[nodiscard]] std::vector<LoggedExplicit> Explicits() const { return Copy(m_explicits); }
    [[nodiscard]] std::vector<std::wstring> Messages() const;  // of the records

    // IUnknown
    STDMETHODIMP QueryInterface(REFIID iid, void** object) override;
    STDMETHODIMP_(ULONG) AddRef() override { return ++m_references; }
    STDMETHODIMP_(ULONG) Release() override;

    // ITKRuntimeLogger
    STDMETHODIMP Log(LONG severity, BSTR category, ULONG processId, ULONG threadId, BSTR file, LONG line, BSTR function,
                     BSTR message) override;
    STDMETHODIMP LogProfile(LONG severity, BSTR category, ULONG processId, BSTR file, LONG line, BSTR function,
                            BSTR message, MIDL_uhyper count, double firstDuration, double maximumDuration,
                            double totalDuration) override;
    STDMETHODIMP LogExplicit(LONG severity, BSTR category, ULONG value1, ULONG value2, BSTR file, LONG line,
                             ULONG value3, BSTR function, BSTR message, VARIANT_BOOL flag) override;

    // ITKRuntimeLoggerQuestion
    STDMETHODIMP AskQuestion(LONG severity, BSTR category, ULONG processId, ULONG threadId, BSTR file, LONG line,
                             BSTR function, BSTR question, BSTR secondText, LONG defaultAnswer, LONG* answer) override;

    // ITKRuntimeLoggerDump
    STDMETHODIMP LogWithDump(LONG severity, BSTR category, ULONG processId, ULONG threadId, BSTR file, LONG line,
                             BSTR function, BSTR message) override;

private:
    CRecordingLogger() = default;

    template <class Entry>
    void Keep(std::vector<Entry>& list, std::type_identity_t<Entry> entry) {
        const std::lock_guard lock(m_lock);
        list.push_back(std::move(entry));
    }
    template <class Entry>
    std::vector<Entry> Copy(const std::vector<Entry>& list) const {
        const std::lock_guard lock(m_lock);
        return list;
    }

    std::atomic<ULONG> m_references{1};
    mutable std::mutex m_lock;  // guards what follows
    std::vector<LoggedRecord> m_records, m_dumps;
    std::vector<std::pair<LoggedRecord, std::wstring>> m_questions;
    std::vector<LoggedProfile> m_profiles;
    std::vector<LoggedExplicit> m_explicits;
};

// Publishes a logger for as long as it lives. Enters the multithreaded apartment on its thread for that time.
class CPublishedLogger final {
public:
    explicit CPublishedLogger(Microsoft::WRL::ComPtr<CRecordingLogger> logger = CRecordingLogger::Create());
    CPublishedLogger(const CPublishedLogger&) = delete;
    CPublishedLogger& operator=(const CPublishedLogger&) = delete;
    ~CPublishedLogger();

    [[nodiscard]] bool IsPublished() const { return m_registration != 0; }
    CRecordingLogger* operator->() const { return m_logger.Get(); }

private:
    const Microsoft::WRL::ComPtr<CRecordingLogger> m_logger;
    DWORD m_registration = 0;
};

// Runs `body` on a thread of its own in the multithreaded apartment, waits for it, and passes on what it throws.
template <class Body>
void OnNewThread(Body&& body) {
    std::async(std::launch::async, [&] {
        const HRESULT entered = ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        struct Leave {
            bool entered;
            ~Leave() {
                if (entered)
                    ::CoUninitialize();
            }
        } const leave{SUCCEEDED(entered)};
        body();
    }).get();
}
