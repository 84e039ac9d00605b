#include "diagnostics/CTKRuntimeLoggerAPI.h"

#include "base/AwakeTime.h"
#include "base/CBstr.h"
#include "base/ComBoundary.h"
#include "base/FormatText.h"
#include "base/OrEmpty.h"
#include "diagnostics/CAnswerCache.h"
#include "diagnostics/LogSite.h"

#include <cstdarg>
#include <string>
#include <utility>

// The logger is foreign code: whatever it throws is dropped, since logging fails no operation.
namespace TKRuntimeLogger {

namespace {

constexpr ULONGLONG kSlowCallMs = 1000;

}  // namespace

CTKRuntimeLoggerAPI::CTKRuntimeLoggerAPI(ITKRuntimeLogger* fallback) noexcept
    : m_fallback(fallback), m_threadId(::GetCurrentThreadId()), m_processId(::GetCurrentProcessId()) {
    LARGE_INTEGER frequency{};
    ::QueryPerformanceFrequency(&frequency);
    m_frequency = frequency.QuadPart;
    m_usesService = m_service.Find();
}

template <class Call>
bool CTKRuntimeLoggerAPI::CallService(const Call& call) noexcept {
    // A call must not overtake what went through the channel.
    if (m_usesService && m_service.Channel() && !Judge(m_service.Channel()->AwaitTaken()))
        return false;
    const auto isDelivered = [&] { return !IsLostConnection(base::ComBoundary([&] { return call(m_service); })); };
    if (!HasService())
        return false;
    if (isDelivered())
        return true;
    if (!FindServiceAgain())
        return false;
    if (isDelivered())
        return true;
    EndUse();
    return false;
}

template <class Call>
void CTKRuntimeLoggerAPI::Deliver(const Call& call) noexcept {
    const auto callTimed = [&](const CFoundService& service) {
        const bool isProxy = service.IsProxy();
        const ULONGLONG beganMs = base::AwakeMs();
        const HRESULT hr = call(*service.Logger());
        if (isProxy && !IsLostConnection(hr) && base::AwakeMs() - beganMs > kSlowCallMs)
            EndUse();
        return hr;
    };
    if (!CallService(callTimed) && m_fallback)
        base::RunQuietly([&] { static_cast<void>(call(*m_fallback)); });
}

bool CTKRuntimeLoggerAPI::Write(const RecordRing::RecordHead& head, const wchar_t* category, const wchar_t* file,
                                const wchar_t* function, const wchar_t* message) noexcept {
    // Twice at most: to the service that was there, and to the one that has taken its place.
    for (int attempt = 0; attempt < 2 && m_usesService && m_service.Channel(); ++attempt) {
        const std::shared_ptr<CRecordChannel> channel = m_service.Channel();
        const CRecordChannel::Result result = channel->Write(head, category, file, function, message);
        if (result == CRecordChannel::Result::Done)
            return true;
        if (result == CRecordChannel::Result::NeedsCall || !Judge(result))
            return false;
    }
    return false;
}

bool CTKRuntimeLoggerAPI::Judge(CRecordChannel::Result result) noexcept {
    if (result == CRecordChannel::Result::Gone)
        return FindServiceAgain();
    if (result == CRecordChannel::Result::Hangs)
        EndUse();
    return m_usesService;
}

bool CTKRuntimeLoggerAPI::HasService() noexcept {
    if (!m_usesService || m_isSearching)
        return false;
    return !m_isAway || FindServiceAgain();
}

bool CTKRuntimeLoggerAPI::FindServiceAgain() noexcept {
    // A record that came from within the call may have ended the use already.
    if (!m_usesService || m_isSearching)
        return false;
    m_isAway = !IsInApartment();
    if (m_isAway)
        return false;
    m_isSearching = true;
    const bool isFound = m_service.Find();
    m_isSearching = false;
    if (!isFound)
        EndUse();
    return isFound;
}

void CTKRuntimeLoggerAPI::EndUse() noexcept {
    m_usesService = false;
    m_service.Abandon();
    // Without a file, the thread's log sites cost as little again as those of a thread that found no logger.
    if (!m_fallback && ::TlsGetValue(Detail::g_frontEndSlot) == this)
        ::TlsSetValue(Detail::g_frontEndSlot, nullptr);
}

RecordRing::RecordHead CTKRuntimeLoggerAPI::HeadOf(RecordRing::Kind kind, LONG severity, LONG line) const noexcept {
    RecordRing::RecordHead head{};
    head.kind = kind;
    head.severity = severity;
    head.processId = m_processId;
    head.line = line;
    return head;
}

void CTKRuntimeLoggerAPI::Send(const RecordRing::RecordHead& head, const wchar_t* category, const wchar_t* file,
                               const wchar_t* function, const wchar_t* message) {
    if (!HasLogger() || Write(head, category, file, function, message))
        return;
    const base::CBstr categoryText(category), fileText(file), functionText(function), messageText(message);
    Deliver([&](ITKRuntimeLogger& logger) {
        switch (head.kind) {
            case RecordRing::Profile:
                return logger.LogProfile(head.severity, categoryText.Get(), head.processId, fileText.Get(), head.line,
                                         functionText.Get(), messageText.Get(),
                                         (ULONGLONG{head.count[1]} << 32) | head.count[0], head.first, head.maximum,
                                         head.total);
            case RecordRing::Explicit:
                return logger.LogExplicit(head.severity, categoryText.Get(), head.processId, head.threadId,
                                          fileText.Get(), head.line, head.value, functionText.Get(), messageText.Get(),
                                          head.flag ? VARIANT_TRUE : VARIANT_FALSE);
            default:
                return logger.Log(head.severity, categoryText.Get(), head.processId, head.threadId, fileText.Get(),
                                  head.line, functionText.Get(), messageText.Get());
        }
    });
}

void CTKRuntimeLoggerAPI::Log(LONG severity, const wchar_t* category, const wchar_t* file, LONG line,
                              const wchar_t* function, const wchar_t* message) {
    RecordRing::RecordHead head = HeadOf(RecordRing::Log, severity, line);
    head.threadId = m_threadId;
    Send(head, category, file, function, message);
}

void CTKRuntimeLoggerAPI::LogProfile(LONG severity, const wchar_t* category, const wchar_t* file, LONG line,
                                     const wchar_t* function, const wchar_t* message, ULONGLONG count,
                                     double firstDuration, double maximumDuration, double totalDuration) {
    RecordRing::RecordHead head = HeadOf(RecordRing::Profile, severity, line);
    head.count[0] = static_cast<ULONG>(count);
    head.count[1] = static_cast<ULONG>(count >> 32);
    head.first = firstDuration;
    head.maximum = maximumDuration;
    head.total = totalDuration;
    Send(head, category, file, function, message);
}

void CTKRuntimeLoggerAPI::LogExplicit(LONG severity, const wchar_t* category, ULONG value1, ULONG value2,
                                      const wchar_t* file, LONG line, ULONG value3, const wchar_t* function,
                                      const wchar_t* message, BYTE flag) {
    RecordRing::RecordHead head = HeadOf(RecordRing::Explicit, severity, line);
    head.processId = value1;
    head.threadId = value2;
    head.value = value3;
    head.flag = flag != 0;
    Send(head, category, file, function, message);
}

LONG CTKRuntimeLoggerAPI::AskQuestion(LONG severity, const wchar_t* category, const wchar_t* file, LONG line,
                                      const wchar_t* function, const wchar_t* question, const wchar_t* secondText,
                                      LONG defaultAnswer, bool remember) {
    CAnswerCache::Key key;
    if (remember) {
        key = {severity,
               base::OrEmpty(category),
               base::OrEmpty(file),
               line,
               base::OrEmpty(function),
               base::OrEmpty(question),
               base::OrEmpty(secondText)};
        if (HasService() && m_service.Questioner()) {
            if (const auto answer = CAnswerCache::Instance().Find(key))
                return *answer;
        }
    }
    const base::CBstr categoryText(category), fileText(file), functionText(function), questionText(question),
        secondTextText(secondText);
    LONG answer = defaultAnswer;
    HRESULT hr = E_FAIL;
    bool isAsked = false;
    const bool isDelivered = CallService([&](const CFoundService& service) {
        isAsked = service.Questioner() != nullptr;
        if (!isAsked)
            return S_FALSE;
        answer = defaultAnswer;
        return hr = service.Questioner()->AskQuestion(severity, categoryText.Get(), m_processId, m_threadId,
                                                      fileText.Get(), line, functionText.Get(), questionText.Get(),
                                                      secondTextText.Get(), defaultAnswer, &answer);
    });
    if (!isDelivered || !isAsked) {
        const std::wstring message = std::wstring(L"Cannot ask question: ") + (question ? question : L"<null>");
        Log(severity, category, file, line, function, message.c_str());
        return defaultAnswer;
    }
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
    const base::CBstr categoryText(category), fileText(file), functionText(function), messageText(formatted.c_str());
    HRESULT hr = E_FAIL;
    const bool isDelivered = CallService([&](const CFoundService& service) {
        if (!service.DumpWriter())
            return hr = E_NOTIMPL;
        return hr = service.DumpWriter()->LogWithDump(severity, categoryText.Get(), m_processId, m_threadId,
                                                      fileText.Get(), line, functionText.Get(), messageText.Get());
    });
    if (!isDelivered || FAILED(hr))
        Log(severity, category, file, line, function, (formatted + L" <a dump could not be created>").c_str());
}

LONGLONG CTKRuntimeLoggerAPI::GetTimestamp() const noexcept {
    LARGE_INTEGER now{};
    ::QueryPerformanceCounter(&now);
    return now.QuadPart;
}

}  // namespace TKRuntimeLogger
