// The service's end of channels: takes records from memory that it shares with writers' processes, and puts them into
// a queue.
//
//   services.openChannel = [readers](ULONG process, const std::wstring& name) { return readers->Open(process, name); };
//   while (...) { readers->Poll(); ::Sleep(25); }  // on a thread that does little else: a writer whose channel is not
//                                                  // looked at for a second leaves the service when it is full
//
// Nothing that a writer does with the memory makes the service read elsewhere, loop or fail: what makes no sense closes
// that writer's channel, which counts as one lost record.
//
// Threads: Open any; Poll one.  Errors: HRESULT from Open, none from Poll.
#pragma once

#include "base/CAutoDestructor.h"
#include "base/CSlimLock.h"
#include "base/Times.h"
#include "diagnostics/RecordRing.h"
#include "logview/CRecordQueue.h"

#include <windows.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace logview {

// One channel.
class CRingReader final {
public:
    explicit CRingReader(std::shared_ptr<CRecordQueue> queue) noexcept : m_queue(std::move(queue)) {}
    CRingReader(const CRingReader&) = delete;
    CRingReader& operator=(const CRingReader&) = delete;
    // Tells the writer that nothing more is taken, and takes what is there.
    ~CRingReader();

    // Once. E_INVALIDARG: not the name or the contents of a channel, or a part of a file. E_ACCESSDENIED and others:
    // the section or the process can't be opened. HRESULT_FROM_WIN32(ERROR_ALREADY_EXISTS): the channel has a reader,
    // or had one.
    [[nodiscard]] HRESULT Open(ULONG processId, const std::wstring& name) noexcept;

    // Takes what has come. False: nothing more comes.
    [[nodiscard]] bool Poll() noexcept;

private:
    bool Take() noexcept;

    const std::shared_ptr<CRecordQueue> m_queue;
    base::CAutoHandle m_process;
    void* m_memory = nullptr;
    std::optional<TKRuntimeLogger::RecordRing::CReader> m_ring;
    bool m_isBroken = false;
    ULONGLONG m_lastLook = base::NowInTicks();
};

// All channels of a service.
class CRingReaders final {
public:
    explicit CRingReaders(std::shared_ptr<CRecordQueue> queue) noexcept : m_queue(std::move(queue)) {}

    // What ITKRuntimeLoggerChannel::OpenChannel does; hold no lock that Poll's thread may want. As CRingReader::Open;
    // E_OUTOFMEMORY, too, when there are too many.
    [[nodiscard]] HRESULT Open(ULONG processId, const std::wstring& name) noexcept;

    void Poll() noexcept;

    [[nodiscard]] std::size_t Count() const noexcept;

private:
    static constexpr std::size_t kMost = 256;

    const std::shared_ptr<CRecordQueue> m_queue;
    mutable base::CSlimLock m_lock;  // guards m_new and m_count
    std::vector<std::unique_ptr<CRingReader>> m_new;
    std::size_t m_count = 0;
    std::vector<std::unique_ptr<CRingReader>> m_readers;  // Poll's
};

}  // namespace logview
