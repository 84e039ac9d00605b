#include "logservice/CService.h"

#include "base/FormatText.h"
#include "logservice/Dump.h"
#include "logview/CRingReader.h"
#include "threading/CCallQueue.h"

#include <objbase.h>

#include <atomic>
#include <utility>

namespace logservice {

namespace {

// About a minute of a process that does nothing but log.
constexpr std::size_t kMostWaiting = 1'000'000;
constexpr std::size_t kMostWaitingBytes = sizeof(void*) == 8 ? 512u << 20 : 128u << 20;

constexpr DWORD kDumpLimitMs = 30'000;
constexpr int kMostDumps = 20;  // of one run: each takes some of the disk

constexpr DWORD kCallsEndMs = 2000;

constexpr wchar_t kTurn[] = L"Local\\TKRuntimeLogger.Service";

std::wstring DumpPath(const std::wstring& folder, DWORD processId) {
    SYSTEMTIME now{};
    ::GetSystemTime(&now);
    return base::FormatText(L"%s\\dump-%04u%02u%02uT%02u%02u%02u%03uZ-%lu.dmp", folder.c_str(), unsigned{now.wYear},
                            unsigned{now.wMonth}, unsigned{now.wDay}, unsigned{now.wHour}, unsigned{now.wMinute},
                            unsigned{now.wSecond}, unsigned{now.wMilliseconds}, processId);
}

ULONGLONG Now() noexcept {
    FILETIME now{};
    ::GetSystemTimeAsFileTime(&now);
    return (ULONGLONG{now.dwHighDateTime} << 32) | now.dwLowDateTime;
}

}  // namespace

CService::CService(std::wstring dumpFolder, DWORD patienceMs)
    : m_records(std::make_shared<logview::CRecordQueue>(kMostWaiting, kMostWaitingBytes)),
      m_questions(std::make_shared<CQuestions>(patienceMs)),
      m_dumpFolder(std::move(dumpFolder)),
      m_publication(std::make_unique<CPublication>()) {}

CService::~CService() {
    Stop();
    if (m_turn)
        ::ReleaseMutex(m_turn.Get());
}

// Makes dumps, one after the other: the platform's library has no room for two at once.
class CService::CDumps final {
public:
    CDumps(std::wstring folder, std::shared_ptr<logview::CRecordQueue> records)
        : m_folder(std::move(folder)), m_records(std::move(records)) {}

    // The writer waits, which keeps its stacks as they were when it asked; but not for ever for a disk that hangs, or
    // for the dumps of others.
    HRESULT Make(const logview::LogRecord& record) {
        const HRESULT hr = Write(record.processId);
        if (SUCCEEDED(hr)) {
            m_records->Put({Now(), {}, record});
            Note(record, 1, L"The dump is in the folder of the recording");
        } else {
            Note(record, 2, base::FormatText(L"No dump could be made: 0x%08X", static_cast<unsigned>(hr)));
        }
        return hr;
    }

private:
    HRESULT Write(DWORD processId) {
        // Dumping itself, the service would stop its own threads wherever they are.
        if (processId == ::GetCurrentProcessId())
            return E_ACCESSDENIED;
        if (m_count.fetch_add(1) >= kMostDumps)
            return HRESULT_FROM_WIN32(ERROR_NOT_ENOUGH_QUOTA);
        return m_worker
            .Call([processId, path = DumpPath(m_folder, processId)] { return WriteDump(processId, path); },
                  kDumpLimitMs)
            .value_or(HRESULT_FROM_WIN32(ERROR_TIMEOUT));
    }
    void Note(const logview::LogRecord& about, LONG severity, std::wstring text) {
        m_records->Put({Now(),
                        {},
                        logview::LogRecord{severity,
                                           L"TKRuntimeLogger",
                                           about.processId,
                                           about.threadId,
                                           about.file,
                                           about.line,
                                           about.function,
                                           std::move(text),
                                           {}}});
    }

    const std::wstring m_folder;
    const std::shared_ptr<logview::CRecordQueue> m_records;
    std::atomic<int> m_count{0};
    threading::CCallQueue m_worker{"Dumps", COINIT_MULTITHREADED};
};

// Looks into the channels of writers, on a thread that nothing else holds up.
class CService::CChannels final {
public:
    explicit CChannels(std::shared_ptr<logview::CRecordQueue> records)
        : m_state(std::make_shared<State>(std::move(records))) {
        if (m_thread.Post([state = m_state] { state->Run(); }) == 0)
            throw std::bad_alloc();
    }
    // What is in the channels is taken, and their writers are told that nothing more will be.
    ~CChannels() {
        ::SetEvent(m_state->ending.Get());
        m_thread.Stop(threading::Rest::Drain, kCallsEndMs);
    }

    HRESULT Open(ULONG processId, const std::wstring& name) noexcept { return m_state->readers->Open(processId, name); }

private:
    struct State {
        explicit State(std::shared_ptr<logview::CRecordQueue> records)
            : readers(std::make_unique<logview::CRingReaders>(std::move(records))) {}
        void Run() noexcept {
            while (::WaitForSingleObject(ending.Get(), kLookEveryMs) == WAIT_TIMEOUT)
                readers->Poll();
            readers.reset();
        }

        const base::CAutoHandle ending{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
        std::unique_ptr<logview::CRingReaders> readers;
    };

    static constexpr DWORD kLookEveryMs = 25;

    const std::shared_ptr<State> m_state;
    threading::CCallQueue m_thread{"Channels", COINIT_MULTITHREADED};
};

HRESULT CService::TakeTurn() {
    // Whoever owns it serves; one that was killed has given it up.
    m_turn.Reset(::CreateMutexW(nullptr, FALSE, kTurn));
    if (!m_turn)
        return ::GetLastError() == ERROR_ACCESS_DENIED ? HRESULT_FROM_WIN32(ERROR_ALREADY_EXISTS)  // of other rights
                                                       : HRESULT_FROM_WIN32(::GetLastError());
    const DWORD waited = ::WaitForSingleObject(m_turn.Get(), 0);
    if (waited == WAIT_OBJECT_0 || waited == WAIT_ABANDONED)
        return S_OK;
    m_turn.Reset();
    return HRESULT_FROM_WIN32(ERROR_ALREADY_EXISTS);
}

HRESULT CService::Start() {
    if (const HRESULT hr = TakeTurn(); FAILED(hr))
        return hr;
    logview::CLogSink::Services services;
    services.ask = [questions = m_questions](const logview::Question& question) { return questions->Ask(question); };
    if (!m_dumpFolder.empty()) {
        const auto dumps = std::make_shared<CDumps>(m_dumpFolder, m_records);
        services.dump = [dumps](const logview::LogRecord& record) { return dumps->Make(record); };
    }
    m_channels = std::make_shared<CChannels>(m_records);
    services.openChannel = [channels = std::weak_ptr(m_channels)](ULONG process, const std::wstring& name) {
        const auto open = channels.lock();
        return open ? open->Open(process, name) : RPC_E_DISCONNECTED;
    };
    if (const HRESULT hr = logview::CLogSink::Create(m_records, std::move(services), &m_sink); FAILED(hr))
        return hr;
    return m_publication->Publish(*static_cast<ITKRuntimeLogger*>(m_sink.Get()));
}

void CService::Stop() noexcept {
    m_questions->Close();
    m_publication.reset();
    if (!m_sink)
        return;
    m_sink->Close(kCallsEndMs);
    m_channels.reset();
    ::CoDisconnectObject(static_cast<ITKRuntimeLogger*>(m_sink.Get()), 0);
    m_sink.Reset();
}

HRESULT AwaitEndOfService(DWORD limitMs) noexcept {
    const base::CAutoHandle turn(::OpenMutexW(SYNCHRONIZE, FALSE, kTurn));
    if (!turn)
        return ::GetLastError() == ERROR_FILE_NOT_FOUND ? S_OK : HRESULT_FROM_WIN32(::GetLastError());
    const DWORD waited = ::WaitForSingleObject(turn.Get(), limitMs);
    if (waited != WAIT_OBJECT_0 && waited != WAIT_ABANDONED)
        return HRESULT_FROM_WIN32(ERROR_TIMEOUT);
    ::ReleaseMutex(turn.Get());
    return S_OK;
}

}  // namespace logservice
