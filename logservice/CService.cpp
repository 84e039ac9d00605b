#include "logservice/CService.h"

#include <objbase.h>

#include <utility>

namespace logservice {

namespace {

// Seconds of a process that does nothing but log, should the disk or this program hang so long.
constexpr std::size_t kMostWaiting = 1'000'000;
constexpr std::size_t kMostWaitingBytes = sizeof(void*) == 8 ? 512u << 20 : 128u << 20;

constexpr DWORD kCallsEndMs = 2000;
constexpr DWORD kDumpEndsMs = 30'000;

}  // namespace

CService::CService(std::wstring dumpFolder, DWORD patienceMs)
    : m_records(std::make_shared<logview::CRecordQueue>(kMostWaiting, kMostWaitingBytes)),
      m_questions(std::make_shared<CQuestions>(patienceMs)),
      m_processes(std::make_shared<CProcesses>()),
      m_dumpFolder(std::move(dumpFolder)) {}

CService::~CService() {
    static_cast<void>(Stop());
}

HRESULT CService::Start() {
    logview::CLogSink::Services services;
    services.ask = [questions = m_questions](const logview::Question& question) { return questions->Ask(question); };
    if (!m_dumpFolder.empty()) {
        m_dumps = std::make_shared<CDumps>(m_dumpFolder, m_records);
        services.dump = [dumps = m_dumps](const logview::LogRecord& record) { return dumps->Make(record); };
    }
    m_channels = std::make_shared<CChannels>(m_records);
    services.openChannel = [channels = m_channels, processes = m_processes](ULONG process, const std::wstring& name) {
        // While it waits for the answer, it is there to be looked at; its records may outlive it.
        static_cast<void>(processes->NameOf(process));
        return channels->Open(process, name);
    };
    if (const HRESULT hr = logview::CLogSink::Create(m_records, std::move(services), &m_sink); FAILED(hr))
        return hr;
    return m_publication.Publish(*static_cast<ITKRuntimeLogger*>(m_sink.Get()));
}

bool CService::Stop() noexcept {
    m_questions->Close();
    m_publication.TakeBack();
    if (!m_sink)
        return m_isWhole;
    // Before the wait for a dump, in which nobody takes what others write.
    m_sink->Close(kCallsEndMs);
    m_isWhole = m_channels->Stop(kCallsEndMs);
    if (m_dumps) {
        m_dumps->Close(kDumpEndsMs);
        m_sink->Close(kCallsEndMs);  // the call that has waited for it
    }
    ::CoDisconnectObject(static_cast<ITKRuntimeLogger*>(m_sink.Get()), 0);
    m_sink.Reset();
    return m_isWhole;
}

}  // namespace logservice
