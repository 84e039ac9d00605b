#include "base/CAutoDestructor.h"
#include "base/FormatText.h"
#include "base/LongPath.h"
#include "baseclasses/SampleTimes.h"
#include "tvsource/CActivity.h"
#include "tvsource/CConsole.h"
#include "tvsource/CHostError.h"
#include "tvsource/COpeningLine.h"
#include "tvsource/CProgressLine.h"
#include "tvsource/CSourceFilter.h"
#include "tvsource/Commands.h"
#include "tvsource/SourceName.h"

#include <windows.h>

#include <objbase.h>
#include <strmif.h>
#include <wrl/client.h>

#include <algorithm>
#include <limits>

namespace tvsource {

using Microsoft::WRL::ComPtr;

namespace {

constexpr LONG kBlockBytes = 0x10000;
constexpr LONGLONG kMaxPosition = std::numeric_limits<LONGLONG>::max() / kSampleTimeUnitsPerByte - kBlockBytes;

// Reads blocks with media samples: a sample says how many bytes came, which the plain SyncRead does not.
class CSampleReader final {
public:
    explicit CSampleReader(IAsyncReader* reader) : m_reader(reader) {
        ALLOCATOR_PROPERTIES properties{1, kBlockBytes, 1, 0};
        Check(reader->RequestAllocator(nullptr, &properties, &m_allocator), L"The pin gives no allocator");
        Check(m_allocator->Commit(), L"The allocator has no memory");
        Check(m_allocator->GetBuffer(&m_sample, nullptr, nullptr, 0), L"The allocator gives no buffer");
        Check(m_sample->GetPointer(&m_data), L"The buffer has no memory");
    }
    CSampleReader(const CSampleReader&) = delete;
    CSampleReader& operator=(const CSampleReader&) = delete;
    ~CSampleReader() {
        m_sample.Reset();
        m_allocator->Decommit();
    }

    // The number of bytes read, at most `length`; fewer when the source ends before or can't be read on.
    LONG Read(LONGLONG position, LONG length) {
        if (position > kMaxPosition)
            throw CHostError(base::FormatText(L"Position %I64d is more than a media sample can carry", position));
        REFERENCE_TIME start = position * kSampleTimeUnitsPerByte;
        REFERENCE_TIME stop = (position + length) * kSampleTimeUnitsPerByte;
        Check(m_sample->SetTime(&start, &stop), L"The buffer takes no position");
        Check(m_reader->SyncReadAligned(m_sample.Get()), L"Cannot read");
        return m_sample->GetActualDataLength();
    }

    [[nodiscard]] const BYTE* Data() const noexcept { return m_data; }

private:
    IAsyncReader* m_reader;
    ComPtr<IMemAllocator> m_allocator;
    ComPtr<IMediaSample> m_sample;
    BYTE* m_data = nullptr;
};

class COutput final {
public:
    explicit COutput(const std::wstring& path) {
        if (path.empty())
            return;
        m_file.Reset(::CreateFileW(base::OpenablePath(base::FullPathOf(path)).c_str(), GENERIC_WRITE, 0, nullptr,
                                   CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
        if (!m_file)
            throw CHostError(L"Cannot write " + ShownName(path), HRESULT_FROM_WIN32(::GetLastError()));
    }

    void Write(const BYTE* data, LONG length) {
        const HANDLE handle = m_file ? m_file.Get() : ::GetStdHandle(STD_OUTPUT_HANDLE);
        WriteAll(handle, {data, static_cast<size_t>(length)});
    }

private:
    base::CAutoHandle m_file;
};

// Whether there are bytes at `position` after a read that gave none. The filter doesn't report a failed read to its
// reader, but gives fewer bytes; and bytes that came together with a failure are given by the next read. Throws where
// that fails too.
bool GoesOn(const CSourceFilter& source, LONGLONG position, const CSourceFilter::Length& length) {
    const HRESULT hr = source.TryByteAt(position);
    if (hr == S_OK || (hr == S_FALSE && length.estimated))
        return hr == S_OK;
    const std::wstring step = base::FormatText(L"The source could not be read beyond byte %I64d", position) +
                              (length.estimated ? L"" : base::FormatText(L" of %I64d", length.total));
    throw FAILED(hr) ? CHostError(step, hr) : CHostError(step);
}

}  // namespace

int Cat(const CatOptions& options) {
    const std::wstring name = SourceName(options.common.name);
    const bool showsProgress = options.progress || (IsTerminal(STD_ERROR_HANDLE) &&
                                                    !(options.output.empty() && IsTerminal(STD_OUTPUT_HANDLE)));
    CSourceFilter source(options.common.library);
    {
        const CActivity activity(L"Cat", L"opening " + ShownName(name), options.common.verbose);
        const COpeningLine opening(showsProgress);
        source.Load(name, options.common.subtype, options.common.layer);
    }
    source.EnableDataFlow();

    const CSourceFilter::Length length = source.SourceLength();
    constexpr LONGLONG kMost = std::numeric_limits<LONGLONG>::max();
    const LONGLONG wanted = std::min(options.length.value_or(kMost), kMost - options.offset);
    const LONGLONG end = std::min(length.total, options.offset + wanted);

    COutput output(options.output);
    CSampleReader reader(source.Reader());
    CProgressLine line(showsProgress);
    // A source of unknown length is read from where it stands, whatever position a read asks for: what comes before the
    // offset is read and left out.
    const LONGLONG begin = length.estimated ? 0 : options.offset;
    LONGLONG position = begin;
    CActivity activity(L"Cat", L"copying " + ShownName(name), options.common.verbose);
    while (position < end) {
        const auto block = static_cast<LONG>(std::min<LONGLONG>(kBlockBytes, end - position));
        const LONG got = reader.Read(position, block);
        if (got == 0) {
            if (!GoesOn(source, position, length))
                break;
            continue;
        }
        const LONG skipped = static_cast<LONG>(std::clamp<LONGLONG>(options.offset - position, 0, got));
        output.Write(reader.Data() + skipped, got - skipped);
        position += got;
        activity.KeepAlive();
        const auto copied = static_cast<ULONGLONG>(position - begin);
        line.Show(copied, length.estimated ? 0 : static_cast<ULONGLONG>(end - begin), {}, copied);
    }
    return 0;
}

}  // namespace tvsource
