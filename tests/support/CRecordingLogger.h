// A logging service that writes down whatever it is told, and is published in the real Running Object Table.
//
// A thread looks for a logger once in its life, so what shall be recorded must run on a thread that starts after the
// logger was published: OnNewThread. Publisher and users are in the process's multithreaded apartment; a
// single-threaded one would need a proxy, which the service doesn't bring.
#pragma once

#include "TKRuntimeLogger.h"
#include "tests/support/CTestApartment.h"
#include "tests/support/CTestObject.h"

#include <wrl/client.h>

#include <functional>
#include <future>
#include <mutex>
#include <ostream>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

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
    friend std::ostream& operator<<(std::ostream& out, const LoggedRecord& record) {
        const auto& [severity, category, pid, tid, file, line, function, message] = record;
        return out << ::testing::PrintToString(std::tie(severity, category, pid, tid, file, line, function, message));
    }
};

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

// Threads: any. Calls may throw where a script says so.  Lifetime: that of its references.
class CRecordingLogger final : public CTestObject<ITKRuntimeLogger, ITKRuntimeLoggerQuestion, ITKRuntimeLoggerDump> {
public:
    [[nodiscard]] static Microsoft::WRL::ComPtr<CRecordingLogger> Create() { return {new CRecordingLogger}; }

    // Scripts; set them before the logger is published.
    bool offersLog = true, offersQuestion = false, offersDump = false;
    std::function<void()> onQueryInterface;          // runs inside each query
    std::function<HRESULT()> onCall;                 // runs inside each call; its failure is the call's
    std::function<LONG(const LoggedRecord&)> onAsk;  // gives the answer; the record's message is the question

    [[nodiscard]] std::vector<LoggedRecord> Records() const { return Copy(m_records); }
    [[nodiscard]] std::vector<LoggedRecord> Dumps() const { return Copy(m_dumps); }
    // With the second text.
    [[nodiscard]] std::vector<std::pair<LoggedRecord, std::wstring>> Questions() const { return Copy(m_questions); }
    [[nodiscard]] std::vector<LoggedProfile> Profiles() const { return Copy(m_profiles); }
    // Of the records.
    [[nodiscard]] std::vector<std::wstring> Messages() const {
        std::vector<std::wstring> messages;
        for (const LoggedRecord& record : Records())
            messages.push_back(record.message);
        return messages;
    }

    // IUnknown
    STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
        if (onQueryInterface)
            onQueryInterface();
        const bool refuses = (iid == __uuidof(ITKRuntimeLogger) && !offersLog) ||
                             (iid == __uuidof(ITKRuntimeLoggerQuestion) && !offersQuestion) ||
                             (iid == __uuidof(ITKRuntimeLoggerDump) && !offersDump);
        return refuses ? Refuse(object) : CTestObject::QueryInterface(iid, object);
    }
    STDMETHODIMP_(ULONG) Release() override {
        const ULONG left = CTestObject::Release();
        if (left == 0)
            delete this;
        return left;
    }

    // ITKRuntimeLogger
    STDMETHODIMP Log(LONG severity, BSTR category, ULONG processId, ULONG threadId, BSTR file, LONG line, BSTR function,
                     BSTR message) override {
        return Keep(m_records, Record(severity, category, processId, threadId, file, line, function, message));
    }
    STDMETHODIMP LogProfile(LONG severity, BSTR category, ULONG processId, BSTR file, LONG line, BSTR function,
                            BSTR message, MIDL_uhyper count, double first, double maximum, double total) override {
        return Keep(m_profiles, {severity, Text(category), processId, Text(file), line, Text(function), Text(message),
                                 count, first, maximum, total});
    }
    // A record whose message has the third value and the flag behind it.
    STDMETHODIMP LogExplicit(LONG severity, BSTR category, ULONG value1, ULONG value2, BSTR file, LONG line,
                             ULONG value3, BSTR function, BSTR message, VARIANT_BOOL flag) override {
        LoggedRecord record = Record(severity, category, value1, value2, file, line, function, message);
        record.message += L" " + std::to_wstring(value3) + L" " + std::to_wstring(flag);
        return Keep(m_records, std::move(record));
    }

    // ITKRuntimeLoggerQuestion
    STDMETHODIMP AskQuestion(LONG severity, BSTR category, ULONG processId, ULONG threadId, BSTR file, LONG line,
                             BSTR function, BSTR question, BSTR secondText, LONG defaultAnswer, LONG* answer) override {
        const LoggedRecord record = Record(severity, category, processId, threadId, file, line, function, question);
        *answer = onAsk ? onAsk(record) : defaultAnswer;
        return Keep(m_questions, {record, Text(secondText)});
    }

    // ITKRuntimeLoggerDump
    STDMETHODIMP LogWithDump(LONG severity, BSTR category, ULONG processId, ULONG threadId, BSTR file, LONG line,
                             BSTR function, BSTR message) override {
        return Keep(m_dumps, Record(severity, category, processId, threadId, file, line, function, message));
    }

private:
    CRecordingLogger() = default;

    static std::wstring Text(BSTR text) { return text ? std::wstring(text, ::SysStringLen(text)) : kNullText; }
    static LoggedRecord Record(LONG severity, BSTR category, ULONG processId, ULONG threadId, BSTR file, LONG line,
                               BSTR function, BSTR message) {
        return {severity, Text(category), processId, threadId, Text(file), line, Text(function), Text(message)};
    }
    // Writes the call down and gives its result.
    template <class Entry>
    HRESULT Keep(std::vector<Entry>& list, std::type_identity_t<Entry> entry) {
        std::unique_lock lock(m_lock);
        list.push_back(std::move(entry));
        lock.unlock();
        return onCall ? onCall() : S_OK;
    }
    template <class Entry>
    std::vector<Entry> Copy(const std::vector<Entry>& list) const {
        const std::lock_guard lock(m_lock);
        return list;
    }

    mutable std::mutex m_lock;  // guards what follows
    std::vector<LoggedRecord> m_records, m_dumps;
    std::vector<std::pair<LoggedRecord, std::wstring>> m_questions;
    std::vector<LoggedProfile> m_profiles;
};

// An object in the Running Object Table as the logger, for as long as this lives.
class CPublication final {
public:
    explicit CPublication(IUnknown* logger) {
        Microsoft::WRL::ComPtr<IMoniker> moniker;
        EXPECT_EQ(S_OK, ::GetRunningObjectTable(0, &m_table));
        EXPECT_EQ(S_OK, ::CreateFileMoniker(kTKRuntimeLoggerMoniker, &moniker));
        EXPECT_HRESULT_SUCCEEDED(
            m_table->Register(ROTFLAGS_REGISTRATIONKEEPSALIVE, logger, moniker.Get(), &m_registration));
    }
    CPublication(const CPublication&) = delete;
    CPublication& operator=(const CPublication&) = delete;
    ~CPublication() { m_table->Revoke(m_registration); }

private:
    Microsoft::WRL::ComPtr<IRunningObjectTable> m_table;
    DWORD m_registration = 0;
};

// Publishes a logger for as long as it lives. Enters the multithreaded apartment on its thread for that time.
class CPublishedLogger final {
public:
    explicit CPublishedLogger(Microsoft::WRL::ComPtr<CRecordingLogger> logger = CRecordingLogger::Create())
        : m_logger(std::move(logger)), m_publication(static_cast<ITKRuntimeLogger*>(m_logger.Get())) {}

    CRecordingLogger* operator->() const { return m_logger.Get(); }

private:
    const CTestApartment m_apartment{COINIT_MULTITHREADED};
    const Microsoft::WRL::ComPtr<CRecordingLogger> m_logger;
    const CPublication m_publication;
};

// Runs `body` on a thread of its own in the multithreaded apartment, waits for it, and passes on what it throws.
template <class Body>
void OnNewThread(Body&& body) {
    std::async(std::launch::async, [&] {
        const CTestApartment apartment(COINIT_MULTITHREADED);
        body();
    }).get();
}
