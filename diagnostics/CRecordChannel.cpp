#include "diagnostics/CRecordChannel.h"

#include "base/AwakeTime.h"
#include "base/CBstr.h"
#include "base/ComBoundary.h"
#include "base/FormatText.h"

#include <cstdint>
#include <cwchar>
#include <mutex>
#include <optional>

namespace TKRuntimeLogger {

namespace {

constexpr std::uint32_t kCapacity = 1u << 20;
// Bigger records would seldom find room beside those of other threads.
constexpr std::size_t kMostCharacters = kCapacity / 4 / sizeof(wchar_t);
constexpr ULONGLONG kPatienceMs = 1000;
constexpr ULONGLONG kMostWaitMs = 10'000;
constexpr std::uint32_t kSilentMs = 1000;
constexpr ULONGLONG kSecondLookMs = 200;
constexpr ULONGLONG kFindingLastsMs = 1000;
constexpr int kQuickTries = 50;

// The module's channel to the service that it found last. It is kept when no thread uses it any more: it tells whether
// that service hangs. Never destroyed, so that records of statics that end later find it empty instead of gone.
union Kept {
    constexpr Kept() noexcept : channel() {}
    ~Kept() {}
    std::shared_ptr<CRecordChannel> channel;
};
constinit base::CSlimLock g_lock;  // guards the next two; held for a copy and a look
constinit Kept g_kept;
constinit bool g_isModuleEnding = false;

std::shared_ptr<CRecordChannel> Channel() noexcept {
    const std::lock_guard lock(g_lock);
    return g_kept.channel;
}

// What the reader of a channel does while it is watched. Its last sign of life alone says too little: it looks old,
// too, where a virtual machine was stopped and has just gone on.
class CWatch final {
public:
    explicit CWatch(const RecordRing::CWriter& writer) noexcept
        : m_writer(&writer), m_heartbeatMs(writer.HeartbeatMs()), m_taken(writer.Taken()) {}

    // For how long it has been watched.
    [[nodiscard]] ULONGLONG Ms() const noexcept { return base::AwakeMs() - m_beganMs; }
    [[nodiscard]] bool HasMoved() const noexcept {
        return m_writer->HeartbeatMs() != m_heartbeatMs || m_writer->Taken() != m_taken;
    }

private:
    const RecordRing::CWriter* m_writer;
    ULONGLONG m_beganMs = base::AwakeMs();
    std::uint32_t m_heartbeatMs;
    std::uint32_t m_taken;
};

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
        if (known && known->IsOf(serviceId)) {
            made = known;
            return;
        }
        std::shared_ptr<CRecordChannel> channel(new CRecordChannel);
        channel->m_serviceId = serviceId;
        // Without it, one that was killed would look like one that hangs, for ever.
        channel->m_service.Reset(::OpenProcess(SYNCHRONIZE, FALSE, serviceId));
        if (!channel->m_service)
            return;
        const base::CBstr name(channel->Make().c_str());
        if (name.Length() == 0 || FAILED(service.OpenChannel(::GetCurrentProcessId(), name.Get())))
            return;
        made = Keep(std::move(channel));
    });
    return made;
}

std::shared_ptr<CRecordChannel> CRecordChannel::Keep(std::shared_ptr<CRecordChannel> opened) noexcept {
    // What it takes the place of goes after the lock was given back.
    const std::lock_guard lock(g_lock);
    if (g_isModuleEnding)
        return nullptr;
    if (!g_kept.channel || !g_kept.channel->IsOf(opened->m_serviceId))
        g_kept.channel.swap(opened);
    return g_kept.channel;
}

bool CRecordChannel::IsOf(DWORD serviceId) noexcept {
    return m_serviceId == serviceId && !IsOver() && !HasServiceEnded();
}

bool CRecordChannel::IsServiceHung() noexcept {
    const auto channel = Channel();
    return channel && channel->IsHung();
}

bool CRecordChannel::IsHung() noexcept {
    if (IsOver() || !IsSilent())
        return false;
    if (base::AwakeMs() < m_hungUntilMs)
        return true;
    for (const CWatch watch(*m_writer); watch.Ms() < kSecondLookMs; ::Sleep(1)) {
        if (watch.HasMoved())
            return false;
    }
    if (IsOver())
        return false;
    static_cast<void>(SayItHangs());
    return true;
}

void CRecordChannel::EndOfModule() noexcept {
    std::shared_ptr<CRecordChannel> last;
    // Where a thread that holds the lock was ended with the process, the process gives everything back.
    if (const std::unique_lock lock(g_lock, std::try_to_lock); lock.owns_lock()) {
        g_isModuleEnding = true;
        g_kept.channel.swap(last);
    }
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
    m_writer = std::make_unique<RecordRing::CWriter>(m_memory, kCapacity, static_cast<std::uint32_t>(base::AwakeMs()));
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
    std::size_t characters = 0;
    for (const RecordRing::Text& text : texts)
        characters += text.length;
    if (characters > kMostCharacters)
        return Result::NeedsCall;
    FILETIME now{};
    ::GetSystemTimeAsFileTime(&now);
    head.time[0] = now.dwLowDateTime;
    head.time[1] = now.dwHighDateTime;
    std::optional<CWatch> watch;
    for (int tries = 0; !IsOver(); ++tries) {
        if (const std::unique_lock lock(m_lock, std::try_to_lock); lock.owns_lock()) {
            const RingResult result = m_writer->Write(head, texts);
            if (result == RingResult::Broken)
                break;
            if (result == RingResult::TooBig)
                return Result::NeedsCall;
            // One that closed meanwhile may not have taken it: better twice than never.
            if (result == RingResult::Written && m_writer->IsReaderClosed())
                break;
            if (result == RingResult::Written)
                return Result::Done;
        }
        if (!watch)
            watch.emplace(*m_writer);
        if (watch->Ms() >= kPatienceMs)
            return watch->HasMoved() ? Result::NeedsCall : SayItHangs();
        Pause(tries);
    }
    m_isGone = true;
    return Result::Gone;
}

CRecordChannel::Result CRecordChannel::AwaitTaken() noexcept {
    // Also where nothing waits: the call that comes next has no limit.
    if (IsHung())
        return Result::Hangs;
    const std::uint32_t position = m_writer->Written();
    const CWatch whole(*m_writer);
    for (CWatch last = whole; !m_writer->IsTaken(position); ::Sleep(1)) {
        if (IsOver()) {
            m_isGone = true;
            return Result::Gone;
        }
        if (whole.Ms() >= kMostWaitMs)
            return Result::Hangs;
        if (last.HasMoved())
            last = CWatch(*m_writer);
        else if (last.Ms() >= kPatienceMs)
            return SayItHangs();
    }
    return Result::Done;
}

bool CRecordChannel::IsOver() noexcept {
    // A reader that is silent for long has perhaps ended without a word.
    return m_isGone || m_writer->IsReaderClosed() || (IsSilent() && HasServiceEnded());
}

bool CRecordChannel::IsSilent() const noexcept {
    const std::uint32_t heartbeatMs =
        m_writer->HeartbeatMs();  // first: it must not be later than what it is compared to
    return static_cast<std::uint32_t>(base::AwakeMs()) - heartbeatMs > kSilentMs;
}

bool CRecordChannel::HasServiceEnded() const noexcept {
    return ::WaitForSingleObject(m_service.Get(), 0) == WAIT_OBJECT_0;
}

CRecordChannel::Result CRecordChannel::SayItHangs() noexcept {
    m_hungUntilMs = base::AwakeMs() + kFindingLastsMs;
    return Result::Hangs;
}

}  // namespace TKRuntimeLogger
