#include "logservice/CService.h"

#include "base/FormatText.h"
#include "logservice/Dump.h"
#include "threading/CCallQueue.h"

#include <objbase.h>

#include <utility>

namespace logservice {

namespace {

// About a minute of a process that does nothing but log.
constexpr std::size_t kMostWaiting = 1'000'000;
constexpr std::size_t kMostWaitingBytes = sizeof(void*) == 8 ? 512u << 20 : 128u << 20;

constexpr DWORD kDumpLimitMs = 30'000;

constexpr wchar_t kTurn[] = L"Local\\TKRuntimeLogger.Service";

std::wstring DumpPath(const std::wstring& folder, DWORD processId) {
    SYSTEMTIME now{};
    ::GetSystemTime(&now);
    return base::FormatText(L"%s\\dump-%04u%02u%02uT%02u%02u%02u%03uZ-%lu.dmp", folder.c_str(), unsigned{now.wYear},
                            unsigned{now.wMonth}, unsigned{now.wDay}, unsigned{now.wHour}, unsigned{now.wMinute},
                            unsigned{now.wSecond}, unsigned{now.wMilliseconds}, processId);
}

// The writer waits, which keeps the stacks as they were when it asked. A disk that hangs must not hold it for ever: the
// file is written on a thread of its own.
HRESULT DumpInTime(const std::wstring& folder, const logview::LogRecord& record, logview::CRecordQueue& records) {
    const std::wstring path = DumpPath(folder, record.processId);
    threading::CCallQueue writer("Dump", COINIT_MULTITHREADED);
    const HRESULT hr =
        writer.Call([process = record.processId, path] { return WriteDump(process, path); }, kDumpLimitMs)
            .value_or(HRESULT_FROM_WIN32(ERROR_TIMEOUT));
    FILETIME now{};
    ::GetSystemTimeAsFileTime(&now);
    const ULONGLONG time = (ULONGLONG{now.dwHighDateTime} << 32) | now.dwLowDateTime;
    if (SUCCEEDED(hr))
        records.Put({time, {}, record});
    logview::LogRecord note{SUCCEEDED(hr) ? 1 : 2,
                            L"TKRuntimeLogger",
                            record.processId,
                            record.threadId,
                            record.file,
                            record.line,
                            record.function,
                            {},
                            {}};
    note.message = SUCCEEDED(hr) ? L"Dump: " + path
                                 : base::FormatText(L"No dump could be made: 0x%08X", static_cast<unsigned>(hr));
    records.Put({time, {}, std::move(note)});
    return hr;
}

}  // namespace

CService::CService(std::wstring dumpFolder, DWORD patienceMs)
    : m_records(std::make_shared<logview::CRecordQueue>(kMostWaiting, kMostWaitingBytes)),
      m_questions(std::make_shared<CQuestions>(patienceMs)),
      m_dumpFolder(std::move(dumpFolder)),
      m_publication(std::make_unique<CPublication>()) {}

CService::~CService() {
    Stop();
}

HRESULT CService::Start() {
    m_turn.Reset(::CreateMutexW(nullptr, FALSE, kTurn));
    if (m_turn && ::GetLastError() == ERROR_ALREADY_EXISTS)
        return HRESULT_FROM_WIN32(ERROR_ALREADY_EXISTS);
    logview::CLogSink::Services services;
    services.ask = [questions = m_questions](const logview::Question& question) { return questions->Ask(question); };
    if (!m_dumpFolder.empty())
        services.dump = [folder = m_dumpFolder, records = m_records](const logview::LogRecord& record) {
            return DumpInTime(folder, record, *records);
        };
    if (const HRESULT hr = logview::CLogSink::Create(m_records, std::move(services), &m_sink); FAILED(hr))
        return hr;
    return m_publication->Publish(*static_cast<ITKRuntimeLogger*>(m_sink.Get()));
}

void CService::Stop() noexcept {
    m_questions->Close();
    m_publication.reset();
    if (m_sink)
        ::CoDisconnectObject(static_cast<ITKRuntimeLogger*>(m_sink.Get()), 0);
    m_sink.Reset();
}

bool IsServiceRunning() noexcept {
    return static_cast<bool>(base::CAutoHandle(::OpenMutexW(SYNCHRONIZE, FALSE, kTurn)));
}

}  // namespace logservice
