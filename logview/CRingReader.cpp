#include "logview/CRingReader.h"

#include "TKRuntimeLogger.h"
#include "base/AwakeTime.h"
#include "base/ComBoundary.h"

#include <psapi.h>

#include <algorithm>
#include <mutex>
#include <utility>

namespace logview {

namespace RecordRing = TKRuntimeLogger::RecordRing;

namespace {

// What says that it was written so long before the last look is wrong: it would have been taken then.
constexpr ULONGLONG kOldest = 60ull * 10'000'000;

ULONGLONG Number(const std::uint32_t (&halves)[2]) noexcept {
    return (ULONGLONG{halves[1]} << 32) | halves[0];
}

// The bytes from `memory` on that are there for good: 0 if any part may be missing.
std::size_t SizeOfView(const void* memory) noexcept {
    MEMORY_BASIC_INFORMATION region{};
    if (::VirtualQuery(memory, &region, sizeof region) == 0 || region.State != MEM_COMMIT ||
        region.Type != MEM_MAPPED || region.AllocationBase != memory)
        return 0;
    wchar_t file[8];  // what fits of its name
    if (::GetMappedFileNameW(::GetCurrentProcess(), const_cast<void*>(memory), file, ARRAYSIZE(file)) != 0)
        return 0;  // its disk may go away
    return region.RegionSize;
}

Arrival ArrivalOf(const RecordRing::CReader::CRecord& taken, ULONGLONG lastLook, ULONGLONG now) {
    const RecordRing::RecordHead& head = taken.Head();
    std::wstring texts[RecordRing::kTexts];
    for (std::size_t i = 0; i < RecordRing::kTexts; ++i) {
        texts[i].resize(taken.Length(i));
        taken.CopyText(i, texts[i].data());
    }
    auto& [category, file, function, message] = texts;
    Arrival arrival;
    arrival.time = Number(head.time);
    if (arrival.time > now || arrival.time + kOldest < lastLook)
        arrival.time = now;
    if (head.kind == RecordRing::Profile) {
        arrival.record = ProfileRecord{head.severity, std::move(category), head.processId,     std::move(file),
                                       head.line,     std::move(function), std::move(message), Number(head.count),
                                       head.first,    head.maximum,        head.total};
        return arrival;
    }
    LogRecord record{head.severity,       std::move(category), head.processId,
                     head.threadId,       std::move(file),     head.line,
                     std::move(function), std::move(message),  {}};
    if (head.kind == RecordRing::Explicit)
        record.explicitValues = {head.value, head.flag != 0};
    arrival.record = std::move(record);
    return arrival;
}

}  // namespace

HRESULT CRingReader::Open(ULONG processId, const std::wstring& name) noexcept {
    // No other section, nor one of another process: looking at one writes into it.
    const std::wstring prefix = kTKRuntimeLoggerSectionPrefix + std::to_wstring(processId) + L"-";
    if (!name.starts_with(prefix) || name.find(L'\\', prefix.size()) != name.npos)
        return E_INVALIDARG;
    m_process.Reset(::OpenProcess(SYNCHRONIZE, FALSE, processId));
    if (!m_process)
        return HRESULT_FROM_WIN32(::GetLastError());
    constexpr DWORD kAccess = FILE_MAP_READ | FILE_MAP_WRITE;
    const base::CAutoHandle section(::OpenFileMappingW(kAccess, FALSE, name.c_str()));
    m_memory = section ? ::MapViewOfFile(section.Get(), kAccess, 0, 0, 0) : nullptr;
    if (!m_memory)
        return HRESULT_FROM_WIN32(::GetLastError());
    const std::size_t bytes = SizeOfView(m_memory);
    if (!RecordRing::CReader::IsRing(m_memory, bytes))
        return E_INVALIDARG;
    RecordRing::CReader ring(m_memory, bytes);
    if (!ring.Claim())
        return HRESULT_FROM_WIN32(ERROR_ALREADY_EXISTS);
    m_ring.emplace(ring);
    return S_OK;
}

CRingReader::~CRingReader() {
    if (m_ring) {
        m_ring->Close();
        Take();
        m_ring.reset();
    }
    if (m_memory)
        ::UnmapViewOfFile(m_memory);
}

bool CRingReader::Poll() noexcept {
    // In this order: what comes before an end is taken after it was seen.
    const bool hasEnded = m_ring->IsWriterClosed() || ::WaitForSingleObject(m_process.Get(), 0) == WAIT_OBJECT_0;
    return Take() && !hasEnded;
}

bool CRingReader::Take() noexcept {
    if (m_isBroken)
        return false;
    const ULONGLONG now = base::NowInTicks(), lastLook = std::exchange(m_lastLook, now);
    const auto take = [&](const RecordRing::CReader::CRecord& taken) noexcept {
        try {
            m_queue->Put(ArrivalOf(taken, lastLook, now));
        } catch (...) {
            m_queue->AddLost(1);
        }
    };
    m_isBroken = !m_ring->ReadAll(static_cast<std::uint32_t>(base::AwakeMs()), take);
    if (m_isBroken)
        m_queue->AddLost(1);
    return !m_isBroken;
}

HRESULT CRingReaders::Open(ULONG processId, const std::wstring& name) noexcept {
    return base::ComBoundary([&]() -> HRESULT {
        auto reader = std::make_unique<CRingReader>(m_queue);
        if (const HRESULT hr = reader->Open(processId, name); FAILED(hr))
            return hr;
        const std::lock_guard lock(m_lock);
        if (m_count >= kMost)
            return E_OUTOFMEMORY;
        m_new.push_back(std::move(reader));
        ++m_count;
        return S_OK;
    });
}

void CRingReaders::Poll() noexcept {
    std::vector<std::unique_ptr<CRingReader>> come;
    {
        const std::lock_guard lock(m_lock);
        come.swap(m_new);
    }
    base::RunQuietly([&] {
        for (auto& reader : come)
            m_readers.push_back(std::move(reader));
    });  // out of memory: what couldn't be kept is closed
    const auto left = std::ranges::count_if(come, [](const auto& reader) { return !!reader; });
    const std::size_t before = m_readers.size() + static_cast<std::size_t>(left);
    std::erase_if(m_readers, [](const auto& reader) { return !reader->Poll(); });
    const std::lock_guard lock(m_lock);
    m_count -= before - m_readers.size();
}

std::size_t CRingReaders::Count() const noexcept {
    const std::lock_guard lock(m_lock);
    return m_count;
}

}  // namespace logview
