// The object that writers call: takes records with the time at which they came and puts them into a queue. Records need
// nothing else on the caller's thread, so that no file, console or window holds a writer up; who asks a question or for
// a dump waits for it.
//
// Threads: any, many at once; free-threaded, so that it may be published from any apartment.  Lifetime: on the heap, by
// Create; the count starts at one.  Errors: none; what is lost is counted by the queue.
#pragma once

#include "TKRuntimeLogger.h"
#include "logview/CRecordQueue.h"

#include <objidl.h>
#include <wrl/client.h>

#include <atomic>
#include <functional>
#include <memory>

namespace logview {

// A question for the person in front of the log.
struct Question {
    LogRecord record;  // the question is its message
    std::wstring secondText;
    LONG defaultAnswer = 0;
};

class CLogSink final : public ITKRuntimeLogger,
                       public ITKRuntimeLoggerQuestion,
                       public ITKRuntimeLoggerDump,
                       public ITKRuntimeLoggerChannel {
public:
    // What only some logs can do. Each is called on the writer's thread, and what it throws counts as a failure.
    // Without it, its interface isn't offered.
    struct Services {
        std::function<LONG(const Question&)> ask;
        std::function<HRESULT(const LogRecord&)> dump;  // writes a dump of record.processId
        // Takes what a process, by its id, writes into the section of that name; for writers of other processes alone.
        std::function<HRESULT(ULONG, const std::wstring&)> openChannel;
    };

    [[nodiscard]] static HRESULT Create(std::shared_ptr<CRecordQueue> queue, Services services,
                                        CLogSink** sink) noexcept;
    CLogSink(const CLogSink&) = delete;
    CLogSink& operator=(const CLogSink&) = delete;

    // From now on every call but GetServiceProcess answers RPC_E_DISCONNECTED, so that writers look for another log.
    // Waits up to `limitMs` for calls under way: what came before is in the queue then.
    void Close(DWORD limitMs) noexcept;

    // IUnknown
    STDMETHODIMP QueryInterface(REFIID iid, void** object) noexcept override;
    STDMETHODIMP_(ULONG) AddRef() noexcept override;
    STDMETHODIMP_(ULONG) Release() noexcept override;

    // ITKRuntimeLogger. S_OK; behind Close RPC_E_DISCONNECTED, as everywhere.
    STDMETHODIMP Log(LONG severity, BSTR category, ULONG processId, ULONG threadId, BSTR file, LONG line, BSTR function,
                     BSTR message) noexcept override;
    STDMETHODIMP LogProfile(LONG severity, BSTR category, ULONG processId, BSTR file, LONG line, BSTR function,
                            BSTR message, unsigned __int64 count, double firstDuration, double maximumDuration,
                            double totalDuration) noexcept override;
    STDMETHODIMP LogExplicit(LONG severity, BSTR category, ULONG value1, ULONG value2, BSTR file, LONG line,
                             ULONG value3, BSTR function, BSTR message, VARIANT_BOOL flag) noexcept override;

    // ITKRuntimeLoggerQuestion. E_POINTER: nowhere to put the answer. Any other failure: nobody was asked.
    STDMETHODIMP AskQuestion(LONG severity, BSTR category, ULONG processId, ULONG threadId, BSTR file, LONG line,
                             BSTR function, BSTR question, BSTR secondText, LONG defaultAnswer,
                             LONG* answer) noexcept override;

    // ITKRuntimeLoggerDump. A failure: no dump was made, and the message wasn't logged.
    STDMETHODIMP LogWithDump(LONG severity, BSTR category, ULONG processId, ULONG threadId, BSTR file, LONG line,
                             BSTR function, BSTR message) noexcept override;

    // ITKRuntimeLoggerChannel. OpenChannel fails as the service does.
    STDMETHODIMP GetServiceProcess(ULONG* processId) noexcept override;
    STDMETHODIMP OpenChannel(ULONG processId, BSTR sectionName) noexcept override;

private:
    CLogSink(std::shared_ptr<CRecordQueue> queue, Services services) noexcept;
    ~CLogSink() = default;

    // Runs `work`, which gives a result, unless this is closed.
    template <class Work>
    HRESULT WhileOpen(Work&& work) noexcept;

    // Runs `make`, which gives a record, and puts what it gives.
    template <class Make>
    HRESULT Put(Make&& make) noexcept;

    const std::shared_ptr<CRecordQueue> m_queue;
    const Services m_services;
    std::atomic<ULONG> m_references{1};
    std::atomic<bool> m_isClosed{false};
    std::atomic<unsigned> m_calls{0};  // under way
    Microsoft::WRL::ComPtr<IUnknown> m_marshaler;
};

}  // namespace logview
