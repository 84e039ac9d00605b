#include "tvsource/trace/CReplaySamples.h"

#include "baseclasses/SampleTimes.h"
#include "console/CCommandError.h"

#include <algorithm>
#include <bit>
#include <mutex>

namespace tvsource {

using Microsoft::WRL::ComPtr;

CReplaySamples::~CReplaySamples() {
    for (const Place& place : m_places)
        place.allocator->Decommit();
}

ComPtr<IMediaSample> CReplaySamples::Idle(LONG bytes) {
    const std::lock_guard guard(m_lock);
    ComPtr<IMediaSample> sample;
    for (const Place& place : m_places) {
        if (place.bytes == bytes && SUCCEEDED(place.allocator->GetBuffer(&sample, nullptr, nullptr, AM_GBF_NOWAIT)))
            return sample;
    }
    if (m_held + bytes > kMostBytes)
        throw console::CCommandError(L"Too many requests wait at the same time");
    ALLOCATOR_PROPERTIES properties{1, bytes, 1, 0};
    Place place{nullptr, bytes};
    console::Check(m_reader->RequestAllocator(nullptr, &properties, &place.allocator), L"The pin gives no allocator");
    console::Check(place.allocator->Commit(), L"The allocator has no memory");
    m_places.push_back(place);
    m_held += bytes;
    console::Check(place.allocator->GetBuffer(&sample, nullptr, nullptr, 0), L"The allocator gives no buffer");
    return sample;
}

ComPtr<IMediaSample> CReplaySamples::Take(LONGLONG position, LONGLONG length) {
    constexpr LONGLONG kLeast = 0x1000;
    const ULONG bytes = std::bit_ceil(static_cast<ULONG>(std::max(kLeast, length)));
    ComPtr<IMediaSample> sample = Idle(static_cast<LONG>(bytes));
    REFERENCE_TIME start = position * kSampleTimeUnitsPerByte;
    REFERENCE_TIME stop = (position + length) * kSampleTimeUnitsPerByte;
    console::Check(sample->SetTime(&start, &stop), L"The buffer takes no position");
    sample->SetActualDataLength(0);
    return sample;
}

}  // namespace tvsource
