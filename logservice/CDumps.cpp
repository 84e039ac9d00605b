#include "logservice/CDumps.h"

#include "base/FormatText.h"
#include "base/Times.h"
#include "logservice/Dump.h"

#include <utility>

namespace logservice {

namespace {

constexpr DWORD kLimitMs = 30'000;
constexpr int kMost = 20;  // of one run: each takes some of the disk

std::wstring PathOfNew(const std::wstring& folder, DWORD processId) {
    SYSTEMTIME now{};
    ::GetSystemTime(&now);
    return base::FormatText(L"%s\\dump-%04u%02u%02uT%02u%02u%02u%03uZ-%lu.dmp", folder.c_str(), unsigned{now.wYear},
                            unsigned{now.wMonth}, unsigned{now.wDay}, unsigned{now.wHour}, unsigned{now.wMinute},
                            unsigned{now.wSecond}, unsigned{now.wMilliseconds}, processId);
}

// Whether the dump is there in time, or given up: whoever comes first has it so.
enum class State { Open, Kept, GivenUp };

}  // namespace

CDumps::CDumps(std::wstring folder, std::shared_ptr<logview::CRecordQueue> records)
    : m_folder(std::move(folder)),
      m_records(std::move(records)),
      m_isGivenUp(std::make_shared<std::atomic<bool>>(false)),
      m_worker("Dumps", COINIT_MULTITHREADED) {}

HRESULT CDumps::Make(const logview::LogRecord& record) {
    const HRESULT hr = WriteCounted(record.processId);
    if (SUCCEEDED(hr)) {
        m_records->Put({base::NowInTicks(), {}, record});
        Note(record, 1, L"The dump is in the folder of the recording");
    } else {
        Note(record, 2, base::FormatText(L"No dump could be made: 0x%08X", static_cast<unsigned>(hr)));
    }
    return hr;
}

void CDumps::Close(DWORD limitMs) noexcept {
    m_worker.Stop(threading::Rest::Discard, limitMs);
    *m_isGivenUp = true;
}

HRESULT CDumps::WriteCounted(DWORD processId) {
    // Dumping itself, the service would stop its own threads wherever they are.
    if (processId == ::GetCurrentProcessId())
        return E_ACCESSDENIED;
    const bool hasRoom = m_count.fetch_add(1) < kMost;
    HRESULT hr = HRESULT_FROM_WIN32(ERROR_NOT_ENOUGH_QUOTA);
    try {
        if (hasRoom)
            hr = Write(processId);
    } catch (...) {
        --m_count;
        throw;
    }
    if (FAILED(hr))
        --m_count;
    return hr;
}

HRESULT CDumps::Write(DWORD processId) {
    const auto state = std::make_shared<std::atomic<State>>(State::Open);
    const auto keep = [state, isGivenUp = m_isGivenUp] {
        State open = State::Open;
        return !*isGivenUp && state->compare_exchange_strong(open, State::Kept);
    };
    const std::optional<HRESULT> hr = m_worker.Call(
        [processId, keep, folder = m_folder] { return WriteDump(processId, PathOfNew(folder, processId), keep); },
        kLimitMs);
    State open = State::Open;
    if (hr || !state->compare_exchange_strong(open, State::GivenUp))
        return hr.value_or(S_OK);
    return HRESULT_FROM_WIN32(ERROR_TIMEOUT);
}

void CDumps::Note(const logview::LogRecord& about, LONG severity, std::wstring text) {
    m_records->Put({base::NowInTicks(),
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

}  // namespace logservice
