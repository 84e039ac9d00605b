// The running service: takes records from all processes of the session into a queue, and answers questions and dumps.
//
// Threads: one, from the first to the last, in the multithreaded apartment; writers call on threads of COM's. Lifetime:
// its end takes the service away from its clients, whose calls then fail.
#pragma once

#include "base/CAutoDestructor.h"
#include "logservice/CPublication.h"
#include "logservice/CQuestions.h"
#include "logview/CLogSink.h"
#include "logview/CRecordQueue.h"

#include <memory>
#include <string>

namespace logservice {

class CService final {
public:
    // `dumpFolder`: where dumps are written; empty: none are made.  `patienceMs`: of questions, see CQuestions.
    CService(std::wstring dumpFolder, DWORD patienceMs);
    CService(const CService&) = delete;
    CService& operator=(const CService&) = delete;
    ~CService();

    // Once. Publishes it; see CPublication::Publish.
    [[nodiscard]] HRESULT Start();

    // Takes it away from its clients. What has come by then is in the queue. It counts as running until its end.
    void Stop() noexcept;

    [[nodiscard]] CPublication::Reach ReachesWhom() const noexcept { return m_publication->ReachesWhom(); }
    [[nodiscard]] logview::CRecordQueue& Records() noexcept { return *m_records; }
    [[nodiscard]] const std::shared_ptr<CQuestions>& Questions() noexcept { return m_questions; }

private:
    class CDumps;
    class CChannels;

    [[nodiscard]] HRESULT TakeTurn();

    const std::shared_ptr<logview::CRecordQueue> m_records;
    const std::shared_ptr<CQuestions> m_questions;
    const std::wstring m_dumpFolder;
    base::CAutoHandle m_turn;  // a mutex that the one service of the session owns
    std::shared_ptr<CChannels> m_channels;
    Microsoft::WRL::ComPtr<logview::CLogSink> m_sink;
    std::unique_ptr<CPublication> m_publication;
};

// Waits until no service runs in this session.  S_OK: none does.  HRESULT_FROM_WIN32(ERROR_TIMEOUT): one still does.
// HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED): one of higher rights does.
[[nodiscard]] HRESULT AwaitEndOfService(DWORD limitMs) noexcept;

}  // namespace logservice
