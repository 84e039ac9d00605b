#include "tvsource/source/CSampleReader.h"

#include "base/FormatText.h"
#include "baseclasses/SampleTimes.h"
#include "console/CCommandError.h"

#include <algorithm>
#include <limits>

namespace tvsource {

namespace {

constexpr LONGLONG kMaxPosition =
    std::numeric_limits<LONGLONG>::max() / kSampleTimeUnitsPerByte - CSampleReader::kBlockBytes;

}  // namespace

CSampleReader::CSampleReader(const CSourceFilter& source) : m_source(source), m_length(source.SourceLength()) {
    ALLOCATOR_PROPERTIES properties{1, kBlockBytes, 1, 0};
    console::Check(source.Reader()->RequestAllocator(nullptr, &properties, &m_allocator),
                   L"The pin gives no allocator");
    console::Check(m_allocator->Commit(), L"The allocator has no memory");
    console::Check(m_allocator->GetBuffer(&m_sample, nullptr, nullptr, 0), L"The allocator gives no buffer");
    console::Check(m_sample->GetPointer(&m_data), L"The buffer has no memory");
}

CSampleReader::~CSampleReader() {
    m_sample.Reset();
    m_allocator->Decommit();
}

std::span<const BYTE> CSampleReader::Read(LONGLONG position, LONGLONG length) {
    const auto block = static_cast<LONG>(std::min<LONGLONG>(kBlockBytes, length));
    LONG got = 0;
    do {
        got = ReadOnce(position, block);
    } while (got == 0 && GoesOn(position));
    return {m_data, static_cast<size_t>(got)};
}

LONG CSampleReader::ReadOnce(LONGLONG position, LONG length) {
    if (position > kMaxPosition)
        throw console::CCommandError(
            base::FormatText(L"Position %I64d is more than a media sample can carry", position));
    REFERENCE_TIME start = position * kSampleTimeUnitsPerByte;
    REFERENCE_TIME stop = (position + length) * kSampleTimeUnitsPerByte;
    console::Check(m_sample->SetTime(&start, &stop), L"The buffer takes no position");
    console::Check(m_source.Reader()->SyncReadAligned(m_sample.Get()), L"Cannot read");
    return m_sample->GetActualDataLength();
}

// Whether there are bytes at `position` after a read that gave none. The filter doesn't report a failed read to its
// reader, but gives fewer bytes; and bytes that came together with a failure are given by the next read. Throws where
// that fails too.
bool CSampleReader::GoesOn(LONGLONG position) const {
    const HRESULT hr = m_source.TryByteAt(position);
    if (hr == S_OK || (hr == S_FALSE && m_length.estimated))
        return hr == S_OK;
    const std::wstring words = base::FormatText(L"The source could not be read beyond byte %I64d", position) +
                               (m_length.estimated ? L"" : base::FormatText(L" of %I64d", m_length.total));
    throw FAILED(hr) ? console::CCommandError(words, hr) : console::CCommandError(words);
}

}  // namespace tvsource
