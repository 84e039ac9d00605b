#include "diagnostics/CRecordChannel.h"

#include "base/CBstr.h"
#include "base/CDeadline.h"
#include "base/ComBoundary.h"
#include "base/FormatText.h"

#include <cstdint>
#include <cwchar>
#include <mutex>

namespace TKRuntimeLogger {

namespace {

constexpr std::uint32_t kCapacity = 1u << 20;
constexpr DWORD kPatienceMs = 1000;
constexpr DWORD kSilentMs = 1000;
constexpr DWORD kLookAgainMs = 100;
constexpr int kQuickTries = 50;

// The module's channel to the service that it found last. It is kept when no thread uses it any more: it tells whether
// that service hangs.
base::CSlimLock g_lock;  // guards g_channel; held for a copy
std::shared_ptr<CRecordChannel> g_channel;

std::shared_ptr<CRecordChannel> Channel() noexcept {
    const std::lock_guard lock(g_lock);
    return g_channel;
}

RecordRing::Text TextOf(const wchar_t* text) noexcept {
    static_assert(sizeof(wchar_t) == 2);
    const std::size_t length = text ? std::wcslen(text) : 0;
    // What doesn't fit is TooBig in any case.
    return {text, static_cast<std::uint32_t>(std::min<std::size_t>(length, kCapacity))};
}

// Between two tries: first only other threads get a turn, then time passes.
void Pause(int tries) noexcept {
    if (tries < kQuickTries)
        ::SwitchToThread();
    else
        ::Sleep(1);
}

}  // namespace

std::shared_ptr<CRecordChannel> CRecordChannel::To(ITKRuntimeLoggerChannel& service) noexcept {
    std::shared_ptr<CRecordChannel> made;
    base::RunQuietly([&] {
        ULONG serviceId = 0;
        if (FAILED(service.GetServiceProcess(&serviceId)) || serviceId == ::GetCurrentProcessId())
            return;
        const auto known = Channel();
        if (known && known->m_serviceId == serviceId && !known->m_isGone && !known->HasServiceEnded()) {
            made = known;
            return;
        }
        std::shared_ptr<CRecordChannel> channel(new CRecordChannel);
        channel->m_serviceId = serviceId;
        channel->m_service.Reset(::OpenProcess(SYNCHRONIZE, FALSE, serviceId));
        const base::CBstr name(channel->Make().c_str());
        if (name.Length() == 0 || FAILED(service.OpenChannel(::GetCurrentProcessId(), name.Get())))
            return;
        made = channel;
        const std::lock_guard lock(g_lock);
        g_channel.swap(channel);  // the old one goes after the lock is given back
    });
    return made;
}

bool CRecordChannel::IsServiceHung() noexcept {
    const auto channel = Channel();
    if (!channel || channel->m_isGone)
        return false;
    // After a sleep of the machine, the service may just not have had its turn yet.
    const base::CDeadline limit(2 * kLookAgainMs);
    while (channel->IsSilent()) {
        if (limit.IsOver())
            return !channel->HasServiceEnded();
        ::Sleep(1);
    }
    return false;
}

std::wstring CRecordChannel::Make() {
    static std::atomic<unsigned> made{0};
    LARGE_INTEGER now{};
    ::QueryPerformanceCounter(&now);
    const std::wstring name = base::FormatText(kTKRuntimeLoggerSection, ::GetCurrentProcessId(),
                                               static_cast<unsigned>(now.QuadPart ^ (now.QuadPart >> 32)), ++made,
                                               static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(this) >> 4));
    constexpr DWORD kBytes = sizeof(RecordRing::Header) + kCapacity;
    m_section.Reset(::CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, kBytes, name.c_str()));
    // A section of that name that was there before is somebody else's.
    if (!m_section || ::GetLastError() == ERROR_ALREADY_EXISTS)
        return {};
    m_memory = ::MapViewOfFile(m_section.Get(), FILE_MAP_READ | FILE_MAP_WRITE, 0, 0, kBytes);
    if (!m_memory)
        return {};
    m_writer = std::make_unique<RecordRing::CWriter>(m_memory, kCapacity, ::GetTickCount());
    return name;
}

CRecordChannel::~CRecordChannel() {
    if (m_writer)
        m_writer->Close();
    if (m_memory)
        ::UnmapViewOfFile(m_memory);
}

CRecordChannel::Result CRecordChannel::Write(RecordRing::RecordHead head, const wchar_t* category, const wchar_t* file,
                                             const wchar_t* function, const wchar_t* message) noexcept {
    using RingResult = RecordRing::CWriter::Result;
    const RecordRing::Text texts[] = {TextOf(category), TextOf(file), TextOf(function), TextOf(message)};
    FILETIME now{};
    ::GetSystemTimeAsFileTime(&now);
    head.time[0] = now.dwLowDateTime;
    head.time[1] = now.dwHighDateTime;
    const base::CDeadline limit(kPatienceMs);
    for (int tries = 0;; ++tries) {
        // A reader that is silent for long has perhaps ended without a word.
        if (m_isGone || m_writer->IsReaderClosed() || (IsSilent() && HasServiceEnded()))
            break;
        if (std::unique_lock lock(m_lock, std::try_to_lock); lock.owns_lock()) {
            const RingResult result = m_writer->Write(head, texts);
            if (result == RingResult::Broken)
                break;
            if (result == RingResult::TooBig)
                return Result::TooBig;
            // One that closed meanwhile may not have taken it: better twice than never.
            if (result == RingResult::Written && m_writer->IsReaderClosed())
                break;
            if (result == RingResult::Written)
                return Result::Done;
        }
        if (limit.IsOver())
            return Result::Hangs;
        Pause(tries);
    }
    m_isGone = true;
    return Result::Gone;
}

CRecordChannel::Result CRecordChannel::AwaitTaken() noexcept {
    const base::CDeadline limit(kPatienceMs);
    std::uint32_t position = 0;
    for (int tries = 0;; ++tries) {
        if (std::unique_lock lock(m_lock, std::try_to_lock); lock.owns_lock()) {
            position = m_writer->Written();
            break;
        }
        if (limit.IsOver())
            return Result::Hangs;
        Pause(tries);
    }
    while (!m_writer->IsTaken(position)) {
        if (m_isGone || m_writer->IsReaderClosed() || (IsSilent() && HasServiceEnded())) {
            m_isGone = true;
            return Result::Gone;
        }
        if (limit.IsOver())
            return Result::Hangs;
        ::Sleep(1);
    }
    return Result::Done;
}

bool CRecordChannel::IsSilent() const noexcept {
    return ::GetTickCount() - m_writer->HeartbeatMs() > kSilentMs;
}

bool CRecordChannel::HasServiceEnded() const noexcept {
    return m_service && ::WaitForSingleObject(m_service.Get(), 0) == WAIT_OBJECT_0;
}

}  // namespace TKRuntimeLogger
