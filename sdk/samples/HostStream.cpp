// A host that gives the filter a stream of its own whose bytes are still coming, and ends a read that waits for them.
//
//   HostStream FULL-PATH-OF-A-WAVE-FILE
//
// The host has half of the file when it begins. A reader comes to the end of that half and waits; the host gives the
// read up, as it would when somebody stops the player. Then it allows reads again, the rest comes, and all is read.
#include <windows.h>

#include <objbase.h>
#include <strmif.h>
#include <uuids.h>
#include <wrl/client.h>

#include <TKDataServices.h>
#include <TvFileSourceAsync.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

using Microsoft::WRL::ComPtr;
using std::chrono::milliseconds;

namespace {

// A stream of known length whose bytes arrive from its start on and stay.
//
// Threads: any; as the interface asks, ITKDSSourceControl may be called while another thread reads.
class CArrivingStream final : public IStream, public ITKDSSourceControl {
public:
    explicit CArrivingStream(std::vector<BYTE> bytes) : m_bytes(std::move(bytes)) {
        ::CoCreateFreeThreadedMarshaler(static_cast<IStream*>(this), &m_marshaler);
    }

    // What the host does as its bytes come: those up to `end` are here now.
    void Arrive(size_t end) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_here = std::min(end, m_bytes.size());
        m_changed.notify_all();
    }
    // False: nobody has waited for bytes within ten seconds.
    bool WaitUntilSomebodyWaits() {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, std::chrono::seconds(10), [this] { return m_waiting > 0; });
    }

    // IUnknown
    STDMETHODIMP QueryInterface(REFIID iid, void** object) noexcept override {
        if (!object)
            return E_POINTER;
        *object = nullptr;
        if (iid == __uuidof(IMarshal) && m_marshaler)
            return m_marshaler->QueryInterface(iid, object);
        if (iid == __uuidof(ITKDSSourceControl))
            *object = static_cast<ITKDSSourceControl*>(this);
        else if (iid == __uuidof(IUnknown) || iid == __uuidof(ISequentialStream) || iid == __uuidof(IStream))
            *object = static_cast<IStream*>(this);
        else
            return E_NOINTERFACE;
        return AddRef(), S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() noexcept override { return ++m_references; }
    STDMETHODIMP_(ULONG) Release() noexcept override {
        const ULONG left = --m_references;
        if (left == 0)
            delete this;
        return left;
    }

    // ISequentialStream
    STDMETHODIMP Read(void* buffer, ULONG cb, ULONG* bytesRead) noexcept override {
        if (bytesRead)
            *bytesRead = 0;
        if (!buffer)
            return E_POINTER;
        std::unique_lock<std::mutex> lock(m_mutex);
        // Another thread may seek while this one waits.
        const size_t begin = m_position;
        const size_t end = begin + std::min<size_t>(cb, m_bytes.size() - begin);
        const HRESULT waited = WaitUntilHere(lock, end, INFINITE);
        // What has come is given, also when the rest is given up.
        const size_t count = std::min(end, std::max(m_here, begin)) - begin;
        std::memcpy(buffer, m_bytes.data() + begin, count);
        m_position = begin + count;
        if (bytesRead)
            *bytesRead = static_cast<ULONG>(count);
        if (FAILED(waited))
            return waited;
        return count == cb ? S_OK : S_FALSE;
    }
    STDMETHODIMP Write(const void*, ULONG, ULONG*) noexcept override { return STG_E_ACCESSDENIED; }

    // IStream
    STDMETHODIMP Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* newPosition) noexcept override {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const LONGLONG size = static_cast<LONGLONG>(m_bytes.size());
        LONGLONG base = 0;
        if (origin == STREAM_SEEK_CUR)
            base = static_cast<LONGLONG>(m_position);
        else if (origin == STREAM_SEEK_END)
            base = size;
        const bool isInside = origin <= STREAM_SEEK_END && move.QuadPart >= -base && move.QuadPart <= size - base;
        if (isInside)
            m_position = static_cast<size_t>(base + move.QuadPart);
        // Also when the seek fails: whoever buffers this stream reads on from there.
        if (newPosition)
            newPosition->QuadPart = m_position;
        return isInside ? S_OK : STG_E_INVALIDFUNCTION;
    }
    STDMETHODIMP Stat(STATSTG* stat, DWORD) noexcept override {
        if (!stat)
            return E_POINTER;
        *stat = {};  // no name
        stat->type = STGTY_STREAM;
        stat->cbSize.QuadPart = m_bytes.size();
        return S_OK;
    }
    STDMETHODIMP SetSize(ULARGE_INTEGER) noexcept override { return STG_E_ACCESSDENIED; }
    STDMETHODIMP CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*, ULARGE_INTEGER*) noexcept override {
        return E_NOTIMPL;
    }
    STDMETHODIMP Commit(DWORD) noexcept override { return S_OK; }
    STDMETHODIMP Revert() noexcept override { return S_OK; }
    STDMETHODIMP LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) noexcept override { return E_NOTIMPL; }
    STDMETHODIMP UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) noexcept override { return E_NOTIMPL; }
    STDMETHODIMP Clone(IStream** stream) noexcept override {
        if (stream)
            *stream = nullptr;
        return E_NOTIMPL;
    }

    // ITKDSSourceControl

    // The count ends those that wait now, even if AllowReads comes before they wake up.
    STDMETHODIMP AbortReads() noexcept override {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_isAborted = true;
        ++m_aborts;
        m_changed.notify_all();
        return S_OK;
    }
    STDMETHODIMP AllowReads() noexcept override {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_isAborted = false;
        return S_OK;
    }
    STDMETHODIMP Await(MIDL_uhyper position, MIDL_uhyper bytes, ULONG limit, MIDL_uhyper* available) noexcept override {
        if (!available)
            return E_POINTER;
        std::unique_lock<std::mutex> lock(m_mutex);
        const MIDL_uhyper size = m_bytes.size();
        const MIDL_uhyper begin = std::min(position, size);
        const MIDL_uhyper end = begin + std::min(bytes, size - begin);
        const HRESULT hr = WaitUntilHere(lock, static_cast<size_t>(end), limit);
        *available = std::min<MIDL_uhyper>(end, std::max<MIDL_uhyper>(m_here, begin)) - begin;
        return hr == S_OK && end - begin < bytes ? S_FALSE : hr;
    }
    // What isn't measured stays 0.
    STDMETHODIMP GetStatus(TKDS_SOURCE_STATUS* status) noexcept override {
        if (!status)
            return E_POINTER;
        const std::lock_guard<std::mutex> lock(m_mutex);
        *status = {};
        status->length = m_bytes.size();
        status->held = status->received = m_here;
        status->ahead = std::max(m_here, m_position) - m_position;
        status->wanted = std::max(m_awaitedEnd, m_here) - m_here;
        status->rangeCount = m_here > 0 ? 1 : 0;
        status->silenceLimit = m_silenceLimit;
        return S_OK;
    }
    STDMETHODIMP GetRanges(ULONG capacity, TKDS_RANGE* ranges, ULONG* count) noexcept override {
        if (!count || (!ranges && capacity > 0))
            return E_POINTER;
        const std::lock_guard<std::mutex> lock(m_mutex);
        *count = capacity > 0 && m_here > 0 ? 1 : 0;
        if (*count > 0)
            ranges[0] = {0, m_here};
        return S_OK;
    }
    STDMETHODIMP SetSilenceLimit(ULONG limit) noexcept override {
        if (limit < 100 || limit > 60000)
            return E_INVALIDARG;
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_silenceLimit = limit;
        return S_OK;
    }

private:
    ~CArrivingStream() = default;

    // Waits until the bytes up to `end` are here. INFINITE: as long as some come.
    HRESULT WaitUntilHere(std::unique_lock<std::mutex>& lock, size_t end, DWORD limit) {
        const unsigned abortsBefore = m_aborts;
        const auto isOver = [&] { return m_here >= end || m_isAborted || m_aborts != abortsBefore; };
        if (!isOver() && limit > 0) {
            ++m_waiting;
            m_awaitedEnd = std::max(m_awaitedEnd, end);
            m_changed.notify_all();
            size_t had = m_here;
            while (!m_changed.wait_for(lock, milliseconds(limit == INFINITE ? m_silenceLimit : limit), isOver)) {
                if (limit != INFINITE || m_here == had)
                    break;
                had = m_here;
            }
            if (--m_waiting == 0)
                m_awaitedEnd = 0;
        }
        if (m_here >= end)
            return S_OK;
        if (isOver())
            return E_ABORT;
        return limit == INFINITE ? HRESULT_FROM_WIN32(ERROR_TIMEOUT) : E_PENDING;
    }

    std::atomic<ULONG> m_references{1};
    ComPtr<IUnknown> m_marshaler;
    const std::vector<BYTE> m_bytes;

    std::mutex m_mutex;  // guards all below
    std::condition_variable m_changed;
    size_t m_here = 0;
    size_t m_position = 0;
    bool m_isAborted = false;
    unsigned m_aborts = 0;
    DWORD m_silenceLimit = 10000;
    int m_waiting = 0;        // those who wait for bytes
    size_t m_awaitedEnd = 0;  // up to where they want them
};

// S_FALSE: the source came short, as it does where the read is given up.
HRESULT ReadAll(IAsyncReader* reader, LONGLONG total, unsigned long long* sum) {
    *sum = 0;
    std::vector<BYTE> piece(4096);
    for (LONGLONG position = 0; position < total;) {
        const LONG wanted =
            static_cast<LONG>(std::min<LONGLONG>(total - position, static_cast<LONGLONG>(piece.size())));
        const HRESULT hr = reader->SyncRead(position, wanted, piece.data());
        if (hr != S_OK)
            return hr;
        for (LONG i = 0; i < wanted; ++i)
            *sum += piece[static_cast<size_t>(i)];
        position += wanted;
    }
    return S_OK;
}

HRESULT Play(CArrivingStream* stream, size_t size) {
    ComPtr<IBaseFilter> filter;
    HRESULT hr = CoCreateInstance(CLSID_TvFileSourceAsync, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&filter));
    if (FAILED(hr))
        return hr;
    ComPtr<ITavelIStreamFileSource> source;
    ComPtr<IDataFlowControl> flow;
    if (FAILED(hr = filter.As(&source)) || FAILED(hr = filter.As(&flow)))
        return hr;
    // By its identifier: not every compiler's headers know it by its type.
    ComPtr<IAMOpenProgress> progress;
    hr = filter.CopyTo(IID_IAMOpenProgress, reinterpret_cast<void**>(progress.GetAddressOf()));
    if (FAILED(hr))
        return hr;
    // With a type nothing is read to find one, so the bytes need not be here yet.
    AM_MEDIA_TYPE type = {};
    type.majortype = MEDIATYPE_Stream;
    type.subtype = MEDIASUBTYPE_WAVE;
    if (FAILED(hr = source->OpenStream(stream, &type)) || FAILED(hr = flow->EnableDataFlow()))
        return hr;

    ComPtr<IEnumPins> pins;
    ComPtr<IPin> pin;
    if (FAILED(hr = filter->EnumPins(&pins)) || (hr = pins->Next(1, &pin, nullptr)) != S_OK)
        return FAILED(hr) ? hr : E_UNEXPECTED;
    ComPtr<IAsyncReader> reader;
    if (FAILED(hr = pin.As(&reader)))
        return hr;
    LONGLONG total = 0;
    LONGLONG available = 0;
    if (FAILED(hr = reader->Length(&total, &available)))
        return hr;
    std::printf("length %lld\n", total);

    // The reader stands for a parser; it ends before the filter goes.
    unsigned long long sum = 0;
    HRESULT result = S_OK;
    std::thread parser([&] { result = ReadAll(reader.Get(), total, &sum); });
    const bool isWaiting = stream->WaitUntilSomebodyWaits();
    hr = progress->AbortOperation();
    parser.join();
    if (FAILED(hr) || FAILED(result) || !isWaiting)
        return FAILED(hr) ? hr : FAILED(result) ? result : E_UNEXPECTED;
    TKDS_SOURCE_STATUS status{};
    if (FAILED(hr = stream->GetStatus(&status)))
        return hr;
    std::printf("%s with %llu bytes here\n", result == S_FALSE ? "given up" : "read", status.held);

    // Reads stay given up until the filter leaves the stopped state.
    if (FAILED(hr = filter->Pause()) || FAILED(hr = filter->Stop()))
        return hr;
    std::thread network([&] {
        for (size_t end = size / 2; end < size; end += 1000)
            stream->Arrive(end + 1000);
    });
    result = ReadAll(reader.Get(), total, &sum);
    network.join();
    if (result == S_OK)
        std::printf("sum of bytes %llu\n", sum);
    return result == S_FALSE ? E_ABORT : result;
}

}  // namespace

int wmain(int count, wchar_t** words) {
    std::FILE* const file = count == 2 ? ::_wfopen(words[1], L"rb") : nullptr;
    if (!file) {
        std::fprintf(stderr, "usage: HostStream FULL-PATH-OF-A-WAVE-FILE\n");
        return 2;
    }
    std::vector<BYTE> bytes;
    BYTE piece[4096];
    while (const size_t got = std::fread(piece, 1, sizeof piece, file))
        bytes.insert(bytes.end(), piece, piece + got);
    std::fclose(file);

    HRESULT hr = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    if (SUCCEEDED(hr)) {
        const size_t size = bytes.size();
        ComPtr<CArrivingStream> stream;
        stream.Attach(new CArrivingStream(std::move(bytes)));
        stream->Arrive(size / 2);
        hr = Play(stream.Get(), size);
        stream.Reset();
        CoUninitialize();
    }
    if (FAILED(hr))
        std::fprintf(stderr, "failed: 0x%08lX\n", static_cast<unsigned long>(hr));
    return SUCCEEDED(hr) ? 0 : 1;
}
