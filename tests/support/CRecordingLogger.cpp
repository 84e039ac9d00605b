#include "tests/support/CRecordingLogger.h"

#include <ostream>

using Microsoft::WRL::ComPtr;

namespace {

std::wstring Text(BSTR text) {
    return text ? std::wstring(text, ::SysStringLen(text)) : kNullText;
}

std::string Narrow(const std::wstring& text) {
    std::string bytes(text.size() * 3, '\0');
    bytes.resize(static_cast<std::size_t>(::WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                                                bytes.data(), static_cast<int>(bytes.size()), nullptr,
                                                                nullptr)));
    return bytes;
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const LoggedRecord& record) {
    return out << "severity " << record.severity << ", category " << Narrow(record.category) << ", process "
               << record.processId << ", thread " << record.threadId << ", file " << Narrow(record.file) << ", line "
               << record.line << ", function " << Narrow(record.function) << ", message " << Narrow(record.message);
}

ComPtr<CRecordingLogger> CRecordingLogger::Create() {
    ComPtr<CRecordingLogger> logger;
    logger.Attach(new CRecordingLogger);
    return logger;
}

std::vector<LoggedRecord> CRecordingLogger::Records() const {
    const std::lock_guard lock(m_lock);
    return m_records;
}

std::vector<LoggedRecord> CRecordingLogger::Dumps() const {
    const std::lock_guard lock(m_lock);
    return m_dumps;
}

std::vector<std::pair<LoggedRecord, std::wstring>> CRecordingLogger::Questions() const {
    const std::lock_guard lock(m_lock);
    return m_questions;
}

std::vector<LoggedProfile> CRecordingLogger::Profiles() const {
    const std::lock_guard lock(m_lock);
    return m_profiles;
}

std::vector<LoggedExplicit> CRecordingLogger::Explicits() const {
    const std::lock_guard lock(m_lock);
    return m_explicits;
}

std::vector<std::wstring> CRecordingLogger::Messages() const {
    const std::lock_guard lock(m_lock);
    std::vector<std::wstring> messages;
    for (const LoggedRecord& record : m_records)
        messages.push_back(record.message);
    return messages;
}

STDMETHODIMP
CRecordingLogger::QueryInterface(REFIID iid, void** object) {
    if (onQueryInterface)
        onQueryInterface();
    *object = nullptr;
    if (iid == __uuidof(IUnknown) || (iid == __uuidof(ITKRuntimeLogger) && offersLog))
        *object = static_cast<ITKRuntimeLogger*>(this);
    else if (iid == __uuidof(ITKRuntimeLoggerQuestion) && offersQuestion)
        *object = static_cast<ITKRuntimeLoggerQuestion*>(this);
    else if (iid == __uuidof(ITKRuntimeLoggerDump) && offersDump)
        *object = static_cast<ITKRuntimeLoggerDump*>(this);
    else
        return E_NOINTERFACE;
    AddRef();
    return S_OK;
}

STDMETHODIMP_(ULONG) CRecordingLogger::Release() {
    const ULONG left = --m_references;
    if (left == 0)
        delete this;
    return left;
}

STDMETHODIMP
CRecordingLogger::Log(LONG severity, BSTR category, ULONG processId, ULONG threadId, BSTR file, LONG line,
                      BSTR function, BSTR message) {
    {
        const std::lock_guard lock(m_lock);
        m_records.push_back(
            {severity, Text(category), processId, threadId, Text(file), line, Text(function), Text(message)});
    }
    return onCall ? onCall() : S_OK;
}

STDMETHODIMP
CRecordingLogger::LogProfile(LONG severity, BSTR category, ULONG processId, BSTR file, LONG line, BSTR function,
                             BSTR message, MIDL_uhyper count, double firstDuration, double maximumDuration,
                             double totalDuration) {
    {
        const std::lock_guard lock(m_lock);
        m_profiles.push_back({severity, Text(category), processId, Text(file), line, Text(function), Text(message),
                              count, firstDuration, maximumDuration, totalDuration});
    }
    return onCall ? onCall() : S_OK;
}

STDMETHODIMP
CRecordingLogger::LogExplicit(LONG severity, BSTR category, ULONG value1, ULONG value2, BSTR file, LONG line,
                              ULONG value3, BSTR function, BSTR message, VARIANT_BOOL flag) {
    {
        const std::lock_guard lock(m_lock);
        m_explicits.push_back(
            {severity, Text(category), value1, value2, Text(file), line, value3, Text(function), Text(message), flag});
    }
    return onCall ? onCall() : S_OK;
}

STDMETHODIMP
CRecordingLogger::AskQuestion(LONG severity, BSTR category, ULONG processId, ULONG threadId, BSTR file, LONG line,
                              BSTR function, BSTR question, BSTR secondText, LONG defaultAnswer, LONG* answer) {
    const LoggedRecord record{severity,   Text(category), processId,      threadId,
                              Text(file), line,           Text(function), Text(question)};
    {
        const std::lock_guard lock(m_lock);
        m_questions.emplace_back(record, Text(secondText));
    }
    *answer = onAsk ? onAsk(record) : defaultAnswer;
    return onCall ? onCall() : S_OK;
}

STDMETHODIMP
CRecordingLogger::LogWithDump(LONG severity, BSTR category, ULONG processId, ULONG threadId, BSTR file, LONG line,
                              BSTR function, BSTR message) {
    {
        const std::lock_guard lock(m_lock);
        m_dumps.push_back(
            {severity, Text(category), processId, threadId, Text(file), line, Text(function), Text(message)});
    }
    return onCall ? onCall() : S_OK;
}

CPublishedLogger::CPublishedLogger(ComPtr<CRecordingLogger> logger) : m_logger(std::move(logger)) {
    ComPtr<IRunningObjectTable> table;
    ComPtr<IMoniker> moniker;
    if (SUCCEEDED(::CoInitializeEx(nullptr, COINIT_MULTITHREADED)) && SUCCEEDED(::GetRunningObjectTable(0, &table)) &&
        SUCCEEDED(::CreateFileMoniker(kTKRuntimeLoggerMoniker, &moniker)))
        table->Register(ROTFLAGS_REGISTRATIONKEEPSALIVE, static_cast<ITKRuntimeLogger*>(m_logger.Get()), moniker.Get(),
                        &m_registration);
}

CPublishedLogger::~CPublishedLogger() {
    ComPtr<IRunningObjectTable> table;
    if (m_registration != 0 && SUCCEEDED(::GetRunningObjectTable(0, &table)))
        table->Revoke(m_registration);
    table.Reset();
    ::CoUninitialize();
}
