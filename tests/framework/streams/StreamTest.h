// What the tests of streams have in common: calls into poisoned out-parameters, with all that they give in one value.
#pragma once

#include "base/CAutoDestructor.h"
#include "base/CTaskMem.h"
#include "framework/streams/TKFStreams.h"

#include <gtest/gtest.h>
#include <wrl/client.h>

#include <cstring>
#include <string>
#include <utility>

using Microsoft::WRL::ComPtr;

using Got = std::pair<HRESULT, std::string>;  // of a read
using At = std::pair<HRESULT, ULONGLONG>;     // of a seek; a write's count

constexpr DWORD kShareAll = kTKFStreamShareRead | kTKFStreamShareWrite | kTKFStreamShareDelete;

inline LARGE_INTEGER By(LONGLONG bytes) {
    return {.QuadPart = bytes};
}

inline ULARGE_INTEGER Bytes(ULONGLONG bytes) {
    return {.QuadPart = bytes};
}

inline bool Exists(const std::wstring& path) {
    return ::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

// A pointer that a call must overwrite.
inline IStream* Poison() {
    return reinterpret_cast<IStream*>(1);
}

struct StreamTest : ::testing::Test {
    Got Read(ULONG cb, IStream* from = nullptr) {
        std::string bytes(cb, '?');
        ULONG count = 0xDEAD;
        const HRESULT hr = (from ? from : stream.Get())->Read(bytes.data(), cb, &count);
        EXPECT_LE(count, cb);
        return {hr, bytes.substr(0, count)};
    }
    At Write(const std::string& bytes) {
        ULONG count = 0xDEAD;
        const HRESULT hr = stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), &count);
        return {hr, count};
    }
    At Seek(LONGLONG move, DWORD origin, IStream* in = nullptr) {
        ULARGE_INTEGER position = Bytes(0xDEAD);
        const HRESULT hr = (in ? in : stream.Get())->Seek(By(move), origin, &position);
        return {hr, position.QuadPart};
    }
    // Fills `stat` and `name`.
    HRESULT Stat(DWORD flag, IStream* of = nullptr) {
        memset(&stat, 0xCC, sizeof(stat));
        const HRESULT hr = (of ? of : stream.Get())->Stat(&stat, flag);
        name.Reset(stat.pwcsName);
        return hr;
    }
    std::wstring Name() { return SUCCEEDED(Stat(STATFLAG_DEFAULT)) && name ? name.Get() : L""; }
    // The result of a clone that hands out nothing.
    HRESULT FailedClone() {
        IStream* clone = Poison();
        const HRESULT hr = stream->Clone(&clone);
        EXPECT_EQ(nullptr, clone);
        return hr;
    }
    // Every stream of the framework refuses these.
    void ExpectRefusals(HRESULT nullPointer) {
        ULONG count = 0xDEAD;
        EXPECT_EQ(nullPointer, stream->Read(nullptr, 1, &count));
        EXPECT_EQ(0u, count);
        EXPECT_EQ(nullPointer, stream->Stat(nullptr, STATFLAG_NONAME));
        EXPECT_EQ(E_POINTER, stream->Clone(nullptr));
        EXPECT_EQ(E_POINTER, stream->CopyTo(nullptr, Bytes(1), nullptr, nullptr));
        EXPECT_EQ(E_NOTIMPL, stream->Commit(STGC_DEFAULT));
        EXPECT_EQ(E_NOTIMPL, stream->Revert());
        EXPECT_EQ(STG_E_INVALIDFUNCTION, stream->LockRegion(Bytes(0), Bytes(1), LOCK_WRITE));
        EXPECT_EQ(STG_E_INVALIDFUNCTION, stream->UnlockRegion(Bytes(0), Bytes(1), LOCK_WRITE));
    }

    ComPtr<IStream> stream;
    STATSTG stat{};
    base::CTaskMem<wchar_t> name;
};
