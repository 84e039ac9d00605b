#include "diagnostics/CTKRuntimeLoggerAPI.h"

#include "base/CBstr.h"
#include "base/ComBoundary.h"
#include "base/ForeignCalls.h"
#include "base/FormatText.h"
#include "base/OrEmpty.h"
#include "diagnostics/CAnswerCache.h"
#include "diagnostics/LogSite.h"

#include <cstdarg>
#include <string>
#include <utility>

using Microsoft::WRL::ComPtr;

// The logger is foreign code: whatever it throws is dropped, since logging fails no operation.
namespace TKRuntimeLogger {

CTKRuntimeLoggerAPI::CTKRuntimeLoggerAPI(ITKRuntimeLogger* fallback) noexcept
    : m_threadId(::GetCurrentThreadId()), m_processId(::GetCurrentProcessId()) {
    LARGE_INTEGER frequency{};
    ::QueryPerformanceFrequency(&frequency);
    m_frequency = frequency.QuadPart;
    base::RunQuietly([&] { FindService(); });
    if (!m_logger)
        m_logger = fallback;
}

void CTKRuntimeLoggerAPI::FindService() {
    ComPtr<IRunningObjectTable> table;
    ComPtr<IMoniker> moniker;
    ComPtr<IUnknown> service;
    if (FAILED(::GetRunningObjectTable(0, &table)) || FAILED(::CreateFileMoniker(kTKRuntimeLoggerMoniker, &moniker)) ||
        table->GetObject(moniker.Get(), &service) != S_OK || !service)
        return;
    // An interface that can't be had stays null. A service in another process whose interfaces have no proxy here gives
    // none of them, and counts as no service.
    static_cast<void>(base::QueryFor(*service.Get(), base::SlotOf(m_logger)));
    static_cast<void>(base::QueryFor(*service.Get(), base::SlotOf(m_questioner)));
    static_cast<void>(base::QueryFor(*service.Get(), base::SlotOf(m_dumpWriter)));
}

void CTKRuntimeLoggerAPI::AbandonReferences() noexcept {
    static_cast<void>(m_logger.Detach());
    static_cast<void>(m_questioner.Detach());
    static_cast<void>(m_dumpWriter.Detach());
}

void CTKRuntimeLoggerAPI::Log(LONG severity, const wchar_t* category, const wchar_t* file, LONG line,
                              const wchar_t* function, const wchar_t* message) {
    if (!m_logger)
        return;
    const base::CBstr categoryText(category), fileText(file), functionText(function), messageText(message);
    base::RunQuietly([&] {
        m_logger->Log(severity, categoryText.Get(), m_processId, m_threadId, fileText.Get(), line, functionText.Get(),
                      messageText.Get());
    });
}

void CTKRuntimeLoggerAPI::LogProfile(LONG severity, const wchar_t* category, const wchar_t* file, LONG line,
                                     const wchar_t* function, const wchar_t* message, ULONGLONG count,
                                     double firstDuration, double maximumDuration, double totalDuration) {
    if (!m_logger)
        return;
    const base::CBstr categoryText(category), fileText(file), functionText(function), messageText(message);
    base::RunQuietly([&] {
        m_logger->LogProfile(severity, categoryText.Get(), m_processId, fileText.Get(), line, functionText.Get(),
                             messageText.Get(), count, firstDuration, maximumDuration, totalDuration);
    });
}

void CTKRuntimeLoggerAPI::LogExplicit(LONG severity, const wchar_t* category, ULONG value1, ULONG value2,
                                      const wchar_t* file, LONG line, ULONG value3, const wchar_t* function,
                                      const wchar_t* message, BYTE flag) {
    if (!m_logger)
        return;
    const base::CBstr categoryText(category), fileText(file), functionText(function), messageText(message);
    base::RunQuietly([&] {
        m_logger->LogExplicit(severity, categoryText.Get(), value1, value2, fileText.Get(), line, value3,
                              functionText.Get(), messageText.Get(), flag ? VARIANT_TRUE : VARIANT_FALSE);
    });
}

LONG CTKRuntimeLoggerAPI::AskQuestion(LONG severity, const wchar_t* category, const wchar_t* file, LONG line,
                                      const wchar_t* function, const wchar_t* question, const wchar_t* secondText,
                                      LONG defaultAnswer, bool remember) {
    if (!m_questioner) {
        const std::wstring message = std::wstring(L"Cannot ask question: ") + (question ? question : L"<null>");
        Log(severity, category, file, line, function, message.c_str());
        return defaultAnswer;
    }
    CAnswerCache::Key key;
    if (remember) {
        key = {severity,
               base::OrEmpty(category),
               base::OrEmpty(file),
               line,
               base::OrEmpty(function),
               base::OrEmpty(question),
               base::OrEmpty(secondText)};
        if (const auto answer = CAnswerCache::Instance().Find(key))
            return *answer;
    }
    const base::CBstr categoryText(category), fileText(file), functionText(function), questionText(question),
        secondTextText(secondText);
    LONG answer = defaultAnswer;
    HRESULT hr = E_FAIL;
    base::RunQuietly([&] {
        hr = m_questioner->AskQuestion(severity, categoryText.Get(), m_processId, m_threadId, fileText.Get(), line,
                                       functionText.Get(), questionText.Get(), secondTextText.Get(), defaultAnswer,
                                       &answer);
    });
    if (FAILED(hr))
        return defaultAnswer;  // nobody answered, so there is nothing to remember
    if (remember)
        CAnswerCache::Instance().Store(std::move(key), answer);
    return answer;
}

void CTKRuntimeLoggerAPI::LogWithDump(LONG severity, const wchar_t* category, const wchar_t* file, LONG line,
                                      const wchar_t* function, const wchar_t* message, ...) {
    va_list arguments;
    va_start(arguments, message);
    const std::wstring formatted = base::FormatTextV(message, arguments);
    va_end(arguments);
    if (m_dumpWriter) {
        const base::CBstr categoryText(category), fileText(file), functionText(function),
            messageText(formatted.c_str());
        HRESULT hr = E_FAIL;
        base::RunQuietly([&] {
            hr = m_dumpWriter->LogWithDump(severity, categoryText.Get(), m_processId, m_threadId, fileText.Get(), line,
                                           functionText.Get(), messageText.Get());
        });
        if (SUCCEEDED(hr))
            return;
    }
    Log(severity, category, file, line, function, (formatted + L" <a dump could not be created>").c_str());
}

LONGLONG CTKRuntimeLoggerAPI::GetTimestamp() const noexcept {
    LARGE_INTEGER now{};
    ::QueryPerformanceCounter(&now);
    return now.QuadPart;
}

}  // namespace TKRuntimeLogger
