#include "logview/CLogSink.h"

#include "base/CDeadline.h"
#include "base/ComBoundary.h"
#include "base/Times.h"

#include <objbase.h>
#include <oleauto.h>

#include <new>
#include <utility>

namespace logview {

namespace {

// All of the characters, those behind an embedded zero too; the length is the allocation's own.
std::wstring TextOf(BSTR text) {
    return text ? std::wstring(text, ::SysStringLen(text)) : std::wstring();
}

LogRecord RecordOf(LONG severity, BSTR category, ULONG processId, ULONG threadId, BSTR file, LONG line, BSTR function,
                   BSTR message) {
    return {severity, TextOf(category), processId, threadId, TextOf(file), line, TextOf(function), TextOf(message), {}};
}

}  // namespace

CLogSink::CLogSink(std::shared_ptr<CRecordQueue> queue, Services services) noexcept
    : m_queue(std::move(queue)), m_services(std::move(services)) {}

HRESULT CLogSink::Create(std::shared_ptr<CRecordQueue> queue, Services services, CLogSink** sink) noexcept {
    *sink = nullptr;
    Microsoft::WRL::ComPtr<CLogSink> made;
    *made.GetAddressOf() = new (std::nothrow) CLogSink(std::move(queue), std::move(services));
    if (!made)
        return E_OUTOFMEMORY;
    const HRESULT hr = ::CoCreateFreeThreadedMarshaler(static_cast<ITKRuntimeLogger*>(made.Get()), &made->m_marshaler);
    if (SUCCEEDED(hr))
        *sink = made.Detach();
    return hr;
}

STDMETHODIMP CLogSink::QueryInterface(REFIID iid, void** object) noexcept {
    if (!object)
        return E_POINTER;
    *object = nullptr;
    if (iid == __uuidof(IMarshal))
        return m_marshaler->QueryInterface(iid, object);
    if (iid == __uuidof(IUnknown) || iid == __uuidof(ITKRuntimeLogger))
        *object = static_cast<ITKRuntimeLogger*>(this);
    else if (iid == __uuidof(ITKRuntimeLoggerQuestion) && m_services.ask)
        *object = static_cast<ITKRuntimeLoggerQuestion*>(this);
    else if (iid == __uuidof(ITKRuntimeLoggerDump) && m_services.dump)
        *object = static_cast<ITKRuntimeLoggerDump*>(this);
    else if (iid == __uuidof(ITKRuntimeLoggerChannel) && m_services.openChannel)
        *object = static_cast<ITKRuntimeLoggerChannel*>(this);
    else
        return E_NOINTERFACE;
    AddRef();
    return S_OK;
}

STDMETHODIMP_(ULONG) CLogSink::AddRef() noexcept {
    return m_references.fetch_add(1) + 1;
}

STDMETHODIMP_(ULONG) CLogSink::Release() noexcept {
    const ULONG left = m_references.fetch_sub(1) - 1;
    if (left == 0)
        delete this;
    return left;
}

void CLogSink::Close(DWORD limitMs) noexcept {
    m_isClosed = true;
    for (const base::CDeadline limit(limitMs); m_calls != 0 && !limit.IsOver();)
        ::Sleep(1);
}

template <class Work>
HRESULT CLogSink::WhileOpen(Work&& work) noexcept {
    ++m_calls;  // before the look: Close sees the one or the other
    const HRESULT hr = m_isClosed ? RPC_E_DISCONNECTED : base::ComBoundary(std::forward<Work>(work));
    --m_calls;
    return hr;
}

template <class Make>
HRESULT CLogSink::Put(Make&& make) noexcept {
    return WhileOpen([&] {
        const ULONGLONG now = base::NowInTicks();
        try {
            m_queue->Put({now, {}, make()});
        } catch (...) {
            m_queue->AddLost(1);
        }
        return S_OK;
    });
}

STDMETHODIMP CLogSink::Log(LONG severity, BSTR category, ULONG processId, ULONG threadId, BSTR file, LONG line,
                           BSTR function, BSTR message) noexcept {
    return Put([&] { return RecordOf(severity, category, processId, threadId, file, line, function, message); });
}

STDMETHODIMP CLogSink::LogProfile(LONG severity, BSTR category, ULONG processId, BSTR file, LONG line, BSTR function,
                                  BSTR message, unsigned __int64 count, double firstDuration, double maximumDuration,
                                  double totalDuration) noexcept {
    return Put([&] {
        return ProfileRecord{severity,      TextOf(category), processId,       TextOf(file),
                             line,          TextOf(function), TextOf(message), count,
                             firstDuration, maximumDuration,  totalDuration};
    });
}

STDMETHODIMP CLogSink::LogExplicit(LONG severity, BSTR category, ULONG value1, ULONG value2, BSTR file, LONG line,
                                   ULONG value3, BSTR function, BSTR message, VARIANT_BOOL flag) noexcept {
    return Put([&] {
        LogRecord record = RecordOf(severity, category, value1, value2, file, line, function, message);
        record.explicitValues = {value3, flag != VARIANT_FALSE};
        return record;
    });
}

STDMETHODIMP CLogSink::AskQuestion(LONG severity, BSTR category, ULONG processId, ULONG threadId, BSTR file, LONG line,
                                   BSTR function, BSTR question, BSTR secondText, LONG defaultAnswer,
                                   LONG* answer) noexcept {
    if (!answer)
        return E_POINTER;
    *answer = defaultAnswer;
    return WhileOpen([&]() -> HRESULT {
        *answer = m_services.ask({RecordOf(severity, category, processId, threadId, file, line, function, question),
                                  TextOf(secondText), defaultAnswer});
        return S_OK;
    });
}

STDMETHODIMP CLogSink::LogWithDump(LONG severity, BSTR category, ULONG processId, ULONG threadId, BSTR file, LONG line,
                                   BSTR function, BSTR message) noexcept {
    return WhileOpen([&]() -> HRESULT {
        return m_services.dump(RecordOf(severity, category, processId, threadId, file, line, function, message));
    });
}

STDMETHODIMP CLogSink::GetServiceProcess(ULONG* processId) noexcept {
    if (!processId)
        return E_POINTER;
    *processId = ::GetCurrentProcessId();
    return S_OK;
}

STDMETHODIMP CLogSink::OpenChannel(ULONG processId, BSTR sectionName) noexcept {
    return WhileOpen([&]() -> HRESULT { return m_services.openChannel(processId, TextOf(sectionName)); });
}

}  // namespace logview
