#include "tests/support/CRecordingLogger.h"

#include <gtest/gtest.h>

using Microsoft::WRL::ComPtr;
using ::testing::PrintToString;

namespace {

std::wstring Text(BSTR text) {
    return text ? std::wstring(text, ::SysStringLen(text)) : kNullText;
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const LoggedRecord& record) {
    return out << "severity " << record.severity << ", category " << PrintToString(record.category) << ", process "
               << record.processId << ", thread " << record.threadId << ", file " << PrintToString(record.file)
               << ", line " << record.line << ", function " << PrintToString(record.function) << ", message "
               << PrintToString(record.message);
}

ComPtr<CRecordingLogger> CRecordingLogger::Create() {
    ComPtr<CRecordingLogger> logger;
    *logger.GetAddressOf() = new CRecordingLogger;  // Attach of this toolchain would take a reference of its own
    return logger;
}

std::vector<std::wstring> CRecordingLogger::Messages() const {
    std::vector<std::wstring> messages;
    for (const LoggedRecord& record : Records())
        messages.push_back(record.message);
    return messages;
}

STDMETHODIMP CRecordingLogger::QueryInterface(REFIID iid, void** object) {
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

STDMETHODIMP CRecordingLogger::Log(LONG severity, BSTR category, ULONG processId, ULONG threadId, BSTR file, LONG line,
                                   BSTR function, BSTR message) {
    Keep(m_records, {severity, Text(category), processId, threadId, Text(file), line, Text(function), Text(message)});
    return onCall ? onCall() : S_OK;
}

STDMETHODIMP CRecordingLogger::LogProfile(LONG severity, BSTR category, ULONG processId, BSTR file, LONG line,
                                          BSTR function, BSTR message, MIDL_uhyper count, double firstDuration,
                                          double maximumDuration, double totalDuration) {
    Keep(m_profiles, {severity, Text(category), processId, Text(file), line, Text(function), Text(message), count,
                      firstDuration, maximumDuration, totalDuration});
    return onCall ? onCall() : S_OK;
}

STDMETHODIMP CRecordingLogger::LogExplicit(LONG severity, BSTR category, ULONG value1, ULONG value2, BSTR file,
                                           LONG line, ULONG value3, BSTR function, BSTR message, VARIANT_BOOL flag) {
    Keep(m_explicits,
         {severity, Text(category), value1, value2, Text(file), line, value3, Text(function), Text(message), flag});
    return onCall ? onCall() : S_OK;
}

STDMETHODIMP CRecordingLogger::AskQuestion(LONG severity, BSTR category, ULONG processId, ULONG threadId, BSTR file,
                                           LONG line, BSTR function, BSTR question, BSTR secondText, LONG defaultAnswer,
                                           LONG* answer) {
    const LoggedRecord record{severity,   Text(category), processId,      threadId,
                              Text(file), line,           Text(function), Text(question)};
    Keep(m_questions, {record, Text(secondText)});
    *answer = onAsk ? onAsk(record) : defaultAnswer;
    return onCall ? onCall() : S_OK;
}

STDMETHODIMP CRecordingLogger::LogWithDump(LONG severity, BSTR category, ULONG processId, ULONG threadId, BSTR file,
                                           LONG line, BSTR function, BSTR message) {
    Keep(m_dumps, {severity, Text(category), processId, threadId, Text(file), line, Text(function), Text(message)});
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
