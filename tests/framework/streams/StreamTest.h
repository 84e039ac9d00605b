// What the tests of streams have in common: calls into poisoned out-parameters, with all that they give in one value.
#pragma once

#include "diagnostics/CAutoDestructor.h"
#include "framework/com/CTaskMem.h"
#include "framework/streams/TKFStreams.h"

#include <gtest/gtest.h>
#include <wrl/client.h>

#include <algorithm>
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

    ComPtr<IStream> stream;
    STATSTG stat{};
    CTaskMem<wchar_t> name;
};
