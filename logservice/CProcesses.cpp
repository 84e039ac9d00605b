#include "logservice/CProcesses.h"

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

ULONGLONG EndOf(HANDLE process) noexcept {
    FILETIME created{}, ended{}, kernel{}, user{};
    if (!::GetProcessTimes(process, &created, &ended, &kernel, &user) ||
        (ended.dwHighDateTime == 0 && ended.dwLowDateTime == 0))
        ::GetSystemTimeAsFileTime(&ended);
    return (ULONGLONG{ended.dwHighDateTime} << 32) | ended.dwLowDateTime;
}

}  // namespace

const std::wstring& CProcesses::NameOf(DWORD processId) {
    const auto known = m_processes.find(processId);
    if (known != m_processes.end())
        return known->second.name;
    Process process;
    process.handle =
        base::CAutoHandle(::OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE, processId));
    if (process.handle)
        process.name = NameOfProcess(process.handle.Get());
    else if (++m_unknown > kMostUnknown) {
        std::erase_if(m_processes, [](const auto& each) { return !each.second.handle; });
        m_unknown = 1;
    }
    return m_processes.emplace(processId, std::move(process)).first->second.name;
}

std::vector<CProcesses::End> CProcesses::TakeEnded() {
    std::vector<End> ended;
    for (auto process = m_processes.begin(); process != m_processes.end();) {
        const HANDLE handle = process->second.handle.Get();
        const bool hasEnded = process->second.handle && ::WaitForSingleObject(handle, 0) == WAIT_OBJECT_0;
        if (hasEnded)
            ended.push_back({process->first, EndOf(handle)});
        process = hasEnded ? m_processes.erase(process) : std::next(process);
    }
    return ended;
}

}  // namespace logservice
