// A stream over a test's bytes, as a file or as a live source that gives its bytes once.
//
// A live source doesn't know its size and refuses every seek but the one back to where it stood; what it was asked for
// beyond that is counted.
//
// Threads: one.  Lifetime: the test's; the bytes must outlive it.  Units: bytes.
#pragma once

#include "tests/support/CTestObject.h"

#include <objidl.h>

#include <algorithm>
#include <cstring>
#include <string_view>

class CBytesStream final : public CTestObject<IStream> {
public:
    enum class Kind { kFile, kLive };

    explicit CBytesStream(std::string_view bytes, Kind kind = Kind::kFile, size_t position = 0)
        : m_bytes(bytes), m_kind(kind), m_start(position), m_position(position) {}

    [[nodiscard]] ULONGLONG Position() const { return m_position; }
    [[nodiscard]] ULONGLONG BytesRead() const { return m_bytesRead; }
    [[nodiscard]] int RefusedSeeks() const { return m_refusedSeeks; }

    // ISequentialStream
    STDMETHODIMP Read(void* buffer, ULONG cb, ULONG* bytesRead) override {
        const size_t start = static_cast<size_t>(std::min<ULONGLONG>(m_position, m_bytes.size()));
        const size_t count = std::min<size_t>(cb, m_bytes.size() - start);
        std::memcpy(buffer, m_bytes.data() + start, count);
        m_position += count;
        m_bytesRead += count;
        *bytesRead = static_cast<ULONG>(count);
        return count < cb ? S_FALSE : S_OK;
    }
    STDMETHODIMP Write(const void*, ULONG, ULONG*) override { return E_NOTIMPL; }

    // IStream
    STDMETHODIMP Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* newPosition) override {
        const ULONGLONG bases[] = {0, m_position, m_bytes.size()};
        const ULONGLONG target = bases[origin % 3] + static_cast<ULONGLONG>(move.QuadPart);
        if (m_kind == Kind::kLive && target != m_position && target != m_start) {
            ++m_refusedSeeks;
            return STG_E_INVALIDFUNCTION;
        }
        m_position = target;
        if (newPosition)
            newPosition->QuadPart = target;
        return S_OK;
    }
    STDMETHODIMP Stat(STATSTG* stat, DWORD) override {
        *stat = {};
        stat->type = STGTY_STREAM;
        stat->cbSize.QuadPart = m_kind == Kind::kLive ? ULONGLONG{1} << 63 : m_bytes.size();
        return S_OK;
    }
    STDMETHODIMP SetSize(ULARGE_INTEGER) override { return E_NOTIMPL; }
    STDMETHODIMP CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*, ULARGE_INTEGER*) override { return E_NOTIMPL; }
    STDMETHODIMP Commit(DWORD) override { return E_NOTIMPL; }
    STDMETHODIMP Revert() override { return E_NOTIMPL; }
    STDMETHODIMP LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
    STDMETHODIMP UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
    STDMETHODIMP Clone(IStream**) override { return E_NOTIMPL; }

private:
    const std::string_view m_bytes;
    const Kind m_kind;
    const ULONGLONG m_start;
    ULONGLONG m_position;
    ULONGLONG m_bytesRead = 0;
    int m_refusedSeeks = 0;
};
