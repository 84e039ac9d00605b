// An IMediaSample whose buffer, size, times and failures are the test's.
//
//   CTestSample sample(8);
//   sample.SetRange(2, 6);  // bytes 2 to 6 of the source
//   EXPECT_EQ(S_OK, reader->SyncReadAligned(&sample));
//   EXPECT_EQ("2345", sample.Data());
//
// Threads: one call at a time; the count from any.  Lifetime: the test's, not the reference count's; References() tells
// how many references the code under test still has.
#pragma once

#include <windows.h>

#include <strmif.h>

#include <atomic>
#include <map>
#include <string>
#include <vector>

class CTestSample final : public IMediaSample {
public:
    explicit CTestSample(LONG size) : claimedSize(size), m_buffer(static_cast<std::size_t>(size), BYTE{'.'}) {}
    CTestSample(const CTestSample&) = delete;
    CTestSample& operator=(const CTestSample&) = delete;
    virtual ~CTestSample() = default;

    // What the calls give. Times in the sample's own unit, 100 ns; failing calls write what they have all the same.
    HRESULT getPointer = S_OK;
    HRESULT getTime = S_OK;
    LONG claimedSize;
    REFERENCE_TIME start = 0;
    REFERENCE_TIME stop = 0;
    LONG actualLength = 0;
    std::map<int, HRESULT> setLength;  // by number of the call: 0 is the first SetActualDataLength

    // Positions in bytes, as an asynchronous reader takes them from the times.
    void SetRange(LONGLONG first, LONGLONG end) {
        start = first * 10'000'000;
        stop = end * 10'000'000;
    }
    // The bytes that the actual length covers.
    [[nodiscard]] std::string Data() const;
    [[nodiscard]] ULONG References() const { return m_references; }

    // IUnknown
    STDMETHODIMP QueryInterface(REFIID iid, void** object) override;
    STDMETHODIMP_(ULONG) AddRef() override { return ++m_references; }
    STDMETHODIMP_(ULONG) Release() override { return --m_references; }

    // IMediaSample
    STDMETHODIMP GetPointer(BYTE** buffer) override;
    STDMETHODIMP_(long) GetSize() override { return claimedSize; }
    STDMETHODIMP GetTime(REFERENCE_TIME* from, REFERENCE_TIME* to) override;
    STDMETHODIMP SetTime(REFERENCE_TIME*, REFERENCE_TIME*) override { return E_NOTIMPL; }
    STDMETHODIMP IsSyncPoint() override { return S_FALSE; }
    STDMETHODIMP SetSyncPoint(BOOL) override { return E_NOTIMPL; }
    STDMETHODIMP IsPreroll() override { return S_FALSE; }
    STDMETHODIMP SetPreroll(BOOL) override { return E_NOTIMPL; }
    STDMETHODIMP_(long) GetActualDataLength() override { return actualLength; }
    // VFW_E_BUFFER_OVERFLOW: longer than the buffer.
    STDMETHODIMP SetActualDataLength(long length) override;
    STDMETHODIMP GetMediaType(AM_MEDIA_TYPE**) override { return E_NOTIMPL; }
    STDMETHODIMP SetMediaType(AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
    STDMETHODIMP IsDiscontinuity() override { return S_FALSE; }
    STDMETHODIMP SetDiscontinuity(BOOL) override { return E_NOTIMPL; }
    STDMETHODIMP GetMediaTime(LONGLONG*, LONGLONG*) override { return E_NOTIMPL; }
    STDMETHODIMP SetMediaTime(LONGLONG*, LONGLONG*) override { return E_NOTIMPL; }

private:
    std::vector<BYTE> m_buffer;
    std::atomic<ULONG> m_references{0};
    int m_lengthCalls = 0;
};
