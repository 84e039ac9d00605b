// An IMediaSample whose buffer, size, times and failures are the test's.
//
// Threads: one call at a time; the count from any.  Lifetime: the test's.
#pragma once

#include "tests/support/CTestObject.h"

#include <strmif.h>
#include <vfwmsgs.h>

#include <functional>
#include <map>
#include <string>
#include <utility>

class CTestSample final : public CTestObject<IMediaSample> {
public:
    explicit CTestSample(LONG size) : claimedSize(size), m_buffer(static_cast<std::size_t>(size), '.') {}

    // What the calls give. Times in the sample's own unit, 100 ns; failing calls write what they have all the same.
    HRESULT getPointer = S_OK, getTime = S_OK;
    LONG claimedSize, actualLength = 0;
    REFERENCE_TIME start = 0, stop = 0;
    std::function<void()> onGetTime;   // called once
    std::map<int, HRESULT> setLength;  // failures, by number of the call: 0 is the first SetActualDataLength

    // Positions in bytes, as an asynchronous reader takes them from the times.
    void SetRange(LONGLONG first, LONGLONG end) {
        start = first * 10'000'000;
        stop = end * 10'000'000;
    }
    // The bytes that the actual length covers.
    [[nodiscard]] std::string Data() const { return m_buffer.substr(0, static_cast<std::size_t>(actualLength)); }

    // IMediaSample
    STDMETHODIMP GetPointer(BYTE** buffer) override {
        *buffer = reinterpret_cast<BYTE*>(m_buffer.data());
        return getPointer;
    }
    STDMETHODIMP_(long) GetSize() override { return claimedSize; }
    STDMETHODIMP GetTime(REFERENCE_TIME* from, REFERENCE_TIME* to) override {
        if (const auto call = std::exchange(onGetTime, {}))
            call();
        *from = start;
        *to = stop;
        return getTime;
    }
    STDMETHODIMP_(long) GetActualDataLength() override { return actualLength; }
    STDMETHODIMP SetActualDataLength(long length) override {
        if (const auto scripted = setLength.find(m_lengthCalls++); scripted != setLength.end())
            return scripted->second;
        if (length < 0 || static_cast<std::size_t>(length) > m_buffer.size())
            return VFW_E_BUFFER_OVERFLOW;
        actualLength = length;
        return S_OK;
    }
    STDMETHODIMP SetTime(REFERENCE_TIME*, REFERENCE_TIME*) override { return E_NOTIMPL; }
    STDMETHODIMP IsSyncPoint() override { return S_FALSE; }
    STDMETHODIMP SetSyncPoint(BOOL) override { return E_NOTIMPL; }
    STDMETHODIMP IsPreroll() override { return S_FALSE; }
    STDMETHODIMP SetPreroll(BOOL) override { return E_NOTIMPL; }
    STDMETHODIMP GetMediaType(AM_MEDIA_TYPE**) override { return E_NOTIMPL; }
    STDMETHODIMP SetMediaType(AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
    STDMETHODIMP IsDiscontinuity() override { return S_FALSE; }
    STDMETHODIMP SetDiscontinuity(BOOL) override { return E_NOTIMPL; }
    STDMETHODIMP GetMediaTime(LONGLONG*, LONGLONG*) override { return E_NOTIMPL; }
    STDMETHODIMP SetMediaTime(LONGLONG*, LONGLONG*) override { return E_NOTIMPL; }

private:
    std::string m_buffer;
    int m_lengthCalls = 0;
};
