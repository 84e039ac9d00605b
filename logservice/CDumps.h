// Makes the dumps that writers ask for, one after the other: the platform's library has no room for two at once.
//
// Threads: any.  Lifetime: its end doesn't wait for a dump that is being written.
#pragma once

#include "logview/CRecordQueue.h"
#include "threading/CCallQueue.h"

#include <atomic>
#include <memory>
#include <string>

namespace logservice {

class CDumps final {
public:
    // Throws std::bad_alloc.
    CDumps(std::wstring folder, std::shared_ptr<logview::CRecordQueue> records);
    CDumps(const CDumps&) = delete;
    CDumps& operator=(const CDumps&) = delete;
    ~CDumps() { Close(0); }

    // Writes a dump of record.processId into the folder, and puts the record into the queue; where that fails, only a
    // record that says why. The writer waits, which keeps its stacks as they were when it asked, but not for ever for a
    // disk that hangs or for the dumps of others: what isn't there by then is not kept when it comes.
    // The result of WriteDump; also E_ACCESSDENIED: of the service itself; HRESULT_FROM_WIN32(ERROR_NOT_ENOUGH_QUOTA):
    // there are enough; HRESULT_FROM_WIN32(ERROR_TIMEOUT): it takes too long, or behind Close.
    [[nodiscard]] HRESULT Make(const logview::LogRecord& record);

    // No dump is begun any more, and one that is being written is waited for: if it were cut off, the system would
    // leave the threads of its process suspended. What isn't there within the limit is not kept.
    void Close(DWORD limitMs) noexcept;

private:
    [[nodiscard]] HRESULT Write(DWORD processId);
    [[nodiscard]] HRESULT WriteCounted(DWORD processId);
    void Note(const logview::LogRecord& about, LONG severity, std::wstring text);

    const std::wstring m_folder;
    const std::shared_ptr<logview::CRecordQueue> m_records;
    const std::shared_ptr<std::atomic<bool>> m_isGivenUp;
    std::atomic<int> m_count{0};  // those that are there, and those that are being made
    threading::CCallQueue m_worker;
};

}  // namespace logservice
