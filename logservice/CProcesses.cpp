#include "logservice/CProcesses.h"

#include "base/Times.h"

#include <mutex>
#include <utility>

namespace logservice {

namespace {

std::wstring NameOfProcess(HANDLE process) {
    std::wstring path(MAX_PATH, L'\0');
    for (;; path.resize(2 * path.size())) {
        auto size = static_cast<DWORD>(path.size());
        if (::QueryFullProcessImageNameW(process, 0, path.data(), &size)) {
            path.resize(size);
            return path.substr(path.find_last_of(L'\\') + 1);
        }
        if (::GetLastError() != ERROR_INSUFFICIENT_BUFFER || path.size() > 0x8000)
            return {};
    }
}

constexpr ULONGLONG kLastRecordsMs = 5000;

ULONGLONG EndOf(HANDLE process) noexcept {
    FILETIME created{}, ended{}, kernel{}, user{};
    if (!::GetProcessTimes(process, &created, &ended, &kernel, &user) || base::TicksOf(ended) == 0)
        return base::NowInTicks();
    return base::TicksOf(ended);
}

base::CAutoHandle OpenRunning(DWORD processId) {
    base::CAutoHandle process(::OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE, processId));
    if (process && ::WaitForSingleObject(process.Get(), 0) == WAIT_OBJECT_0)
        process.Reset();  // somebody else keeps what is left of it
    return process;
}

}  // namespace

std::wstring CProcesses::NameOf(DWORD processId) {
    const std::lock_guard guard(m_lock);
    const auto known = m_processes.find(processId);
    if (known != m_processes.end() && known->second.forgottenMs == 0)
        return known->second.name;
    Process process;
    process.handle = OpenRunning(processId);
    if (!process.handle && known != m_processes.end())
        return known->second.name;  // a last record
    if (process.handle)
        process.name = NameOfProcess(process.handle.Get());
    return m_processes.insert_or_assign(processId, std::move(process)).first->second.name;
}

std::vector<CProcesses::End> CProcesses::TakeEnded() {
    const ULONGLONG now = ::GetTickCount64();
    std::vector<End> ended;
    const std::lock_guard guard(m_lock);
    for (auto& [id, process] : m_processes) {
        if (process.handle && ::WaitForSingleObject(process.handle.Get(), 0) == WAIT_OBJECT_0) {
            ended.push_back({id, EndOf(process.handle.Get())});
            process.handle.Reset();
            process.forgottenMs = now + kLastRecordsMs;
        } else if (!process.handle && process.forgottenMs == 0) {
            process.forgottenMs = now;  // looked for anew: numbers are used again, and writers may make them up
        }
    }
    std::erase_if(m_processes,
                  [&](const auto& each) { return each.second.forgottenMs != 0 && each.second.forgottenMs <= now; });
    return ended;
}

}  // namespace logservice
