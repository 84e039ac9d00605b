// The running service: takes records from all processes of the session into a queue, and answers questions and dumps.
//
// Threads: one, from the first to the last, in the multithreaded apartment; writers call on threads of COM's. Lifetime:
// for those who have a turn (CTurn); its end is a Stop, behind which its clients' calls fail.
#pragma once

#include "logservice/CChannels.h"
#include "logservice/CDumps.h"
#include "logservice/CProcesses.h"
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

    // Takes it away from its clients. What has come by then is in the queue. A dump that isn't done within two seconds
    // is not kept.  False: what was in channels may not be in the queue, or not all of it, because that takes too long.
    [[nodiscard]] bool Stop() noexcept;

    [[nodiscard]] CPublication::Reach ReachesWhom() const noexcept { return m_publication.ReachesWhom(); }
    [[nodiscard]] CProcesses& Processes() noexcept { return *m_processes; }
    [[nodiscard]] logview::CRecordQueue& Records() noexcept { return *m_records; }
    [[nodiscard]] const std::shared_ptr<CQuestions>& Questions() noexcept { return m_questions; }

private:
    const std::shared_ptr<logview::CRecordQueue> m_records;
    const std::shared_ptr<CQuestions> m_questions;
    const std::shared_ptr<CProcesses> m_processes;
    const std::wstring m_dumpFolder;
    std::shared_ptr<CDumps> m_dumps;
    std::shared_ptr<CChannels> m_channels;
    Microsoft::WRL::ComPtr<logview::CLogSink> m_sink;
    CPublication m_publication;
    bool m_isWhole = true;  // of what came by channels
};

}  // namespace logservice
