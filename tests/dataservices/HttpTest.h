// What the tests of http sources share: a server, a stream of it, and scripts of what goes wrong.
#pragma once

#include "TKDataServices.h"
#include "base/CBstr.h"
#include "dataservices/http/CreateHttpStream.h"
#include "framework/streams/TKFStreams.h"
#include "tests/support/CHttpServer.h"
#include "tests/support/CRecordingLogger.h"
#include "tests/support/CTestApartment.h"
#include "tests/support/RandomBytes.h"

#include <objidl.h>
#include <wrl/client.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <string>
#include <utility>
#include <vector>

using namespace dataservices;

using Microsoft::WRL::ComPtr;
using Fault = CHttpServer::Fault;
using Faults = std::vector<CHttpServer::Misbehaviour>;
using Request = CHttpServer::Request;

// The answers go wrong in these ways, one after the other; those after them are right.
inline std::function<CHttpServer::Misbehaviour(const Request&)> InTurn(Faults faults) {
    return [faults, next = size_t{0}](const Request&) mutable {
        return next < faults.size() ? faults[next++] : CHttpServer::Misbehaviour{};
    };
}

// A part of a source, as its Content-Range says.
inline CHttpServer::Resource Part(std::string body, const std::string& range, std::string tag = "\"first\"") {
    return {.bytes = std::move(body),
            .status = 206,
            .etag = std::move(tag),
            .headers = "Content-Range: bytes " + range + "\r\n"};
}

// A clock that the test moves on.
inline std::atomic<ULONGLONG> g_now = 0;
inline ULONGLONG WINAPI Now() {
    return g_now;
}

struct HttpStreamTest : ::testing::Test {
    const CTestApartment apartment{COINIT_MULTITHREADED};
    const std::string bytes = RandomBytes(815, 1'000'000);
    CHttpServer server;
    ComPtr<IStream> stream;
    SharedOptions options;

    void SetUp() override {
        if (!CHttpServer::IsSupported())
            GTEST_SKIP() << "the platform has no sockets for programs of this bitness";
    }
    HRESULT Open(const std::wstring& url) {
        return dataservices::http::CreateHttpStream(*CTKFUri::Parse(url.c_str()), stream.ReleaseAndGetAddressOf(), &Now,
                                                    options);
    }
    // For what is opened from then on.
    void SetOptions(const std::vector<std::pair<std::wstring, std::wstring>>& set) {
        const auto made = std::make_shared<SourceOptions>();
        for (const auto& [name, text] : set) {
            const base::CBstr owner(text);
            VARIANT value{};
            value.vt = VT_BSTR;
            value.bstrVal = owner.Get();
            EXPECT_EQ(S_OK, SetOption(*made, name, value));
        }
        options = made;
    }
    HRESULT OpenServed(CHttpServer::Resource resource) {
        server.Serve("/a", std::move(resource));
        return Open(server.Url(L"/a"));
    }
    // The first answer is `first`, broken off; then each is the next of `later`, and all others are its last.
    HRESULT OpenThen(CHttpServer::Resource first, std::vector<CHttpServer::Resource> later) {
        first.script = InTurn({{Fault::Close, 300'000}});
        later.insert(later.begin(), std::move(first));
        server.ServeInTurn("/a", std::move(later));
        return Open(server.Url(L"/a"));
    }
    std::pair<HRESULT, std::string> Read(size_t cb) const {
        if (!stream)
            return {E_POINTER, {}};
        std::string got(cb, '?');
        ULONG count = 0xDEAD;
        const HRESULT hr = stream->Read(got.data(), static_cast<ULONG>(cb), &count);
        return {hr, got.substr(0, count)};
    }
    HRESULT Seek(LONGLONG position, DWORD origin = STREAM_SEEK_SET) const {
        return stream ? stream->Seek({.QuadPart = position}, origin, nullptr) : E_POINTER;
    }
    // Whether the bytes from `position` on, to the end or `cb` of them, are what the stream gives there.
    [[nodiscard]] bool IsRightAt(size_t position, size_t cb = std::string::npos) const {
        const std::string right = bytes.substr(position, cb);
        return Seek(static_cast<LONGLONG>(position)) == S_OK && Read(right.size()) == std::pair{S_OK, right};
    }
    [[nodiscard]] DWORD StateBits() const {
        STATSTG stat{};
        EXPECT_EQ(S_OK, stream ? stream->Stat(&stat, STATFLAG_NONAME) : E_POINTER);
        return stat.grfStateBits;
    }
    size_t RequestsOf(const std::function<void()>& what) const {
        const size_t before = server.Requests().size();
        what();
        return server.Requests().size() - before;
    }
};
