// What every source of data owes its readers. Another data-service layer is held to it too, in place of ours, when the
// environment gives a URI that it opens (TV_SOURCE_URI) and a local file with the same bytes (TV_SOURCE_FILE).
#include "base/Base64.h"
#include "base/CTaskMem.h"
#include "dataservices/data/CDataUriStream.h"
#include "dataservices/http/CreateHttpStream.h"
#include "dataservices/shares/CreateShareStream.h"
#include "framework/streams/TKFStreams.h"
#include "tests/support/CHttpServer.h"
#include "tests/support/CTempFile.h"
#include "tests/support/CTestApartment.h"
#include "tests/support/RandomBytes.h"
#include "tests/support/Results.h"

#include <wrl/client.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>
#include <random>
#include <stdexcept>

using namespace dataservices;

namespace {

using Microsoft::WRL::ComPtr;

struct Source {
    std::string bytes;
    std::function<HRESULT(IStream** stream)> open;  // a new stream each time; keeps alive what it needs
};

Source Memory(const std::string& bytes) {
    return {bytes, [bytes](IStream** stream) {
                return TKFCreateMemoryStream(bytes.data(), static_cast<LONGLONG>(bytes.size()), stream);
            }};
}

Source File(const std::string& bytes) {
    return {bytes, [file = std::make_shared<CTempFile>(bytes)](IStream** stream) {
                return TKFCreateLocalFileSystemStream(file->Path().c_str(), kTKFStreamRead | kTKFStreamShareRead,
                                                      stream);
            }};
}

// As of another machine.
Source Share(const std::string& bytes) {
    return {
        bytes, [file = std::make_shared<CTempFile>(bytes)](IStream** stream) {
            ComPtr<CLocalFileSystemStream> opened;
            const FilePath path{file->Path(), file->Path()};
            constexpr DWORD kMode = kTKFStreamRead | kTKFStreamShareRead;
            const HRESULT hr = framework::MakeComObject<CLocalFileSystemStream>(opened.GetAddressOf());
            if (FAILED(hr) || FAILED(opened->Open(file->Path().c_str(), kMode)))
                return E_FAIL;
            return shares::CreateShareStream(opened, {path, kMode, std::make_shared<const SourceOptions>()}, stream);
        }};
}

Source Buffered(Source source) {
    return {source.bytes, [open = source.open](IStream** stream) {
                ComPtr<IStream> wrapped;
                const HRESULT hr = open(&wrapped);
                return FAILED(hr) ? hr : TKFCreateBufferedStream(wrapped.Get(), stream, 5'000);
            }};
}

Source Http(const std::string& bytes, bool ranges, bool live) {
    const auto server = std::make_shared<CHttpServer>();
    server->Serve("/source", {.bytes = bytes, .ranges = ranges, .live = live});
    return {bytes, [server](IStream** stream) {
                return dataservices::http::CreateHttpStream(*CTKFUri::Parse(server->Url(L"/source").c_str()), stream);
            }};
}

Source Data(const std::string& bytes, bool base64) {
    std::wstring uri = base64 ? L"data:;base64," + base::EncodeBase64(bytes) : L"data:,";
    constexpr std::wstring_view kDigits = L"0123456789ABCDEF";
    for (const char byte : base64 ? std::string() : bytes)
        uri += {L'%', kDigits[static_cast<BYTE>(byte) / 16], kDigits[static_cast<BYTE>(byte) % 16]};
    return {bytes, [uri](IStream** stream) { return CreateDataUriStream(ParseDataUri(uri), stream); }};
}

// The installed layer's, whatever `bytes` are.
Source Installed(const std::string&) {
    if (!::_wgetenv(L"TV_SOURCE_URI") || !::_wgetenv(L"TV_SOURCE_FILE"))
        throw std::runtime_error("set both TV_SOURCE_URI and TV_SOURCE_FILE");
    std::ifstream file(std::filesystem::path(::_wgetenv(L"TV_SOURCE_FILE")), std::ios::binary);
    EXPECT_TRUE(file.is_open()) << "TV_SOURCE_FILE";
    return {{std::istreambuf_iterator<char>(file), {}}, [](IStream** stream) {
                return TKFCreateStreamFromUri(::_wgetenv(L"TV_SOURCE_URI"), kTKFStreamRead | kTKFStreamShareRead,
                                              stream, nullptr, nullptr);
            }};
}

struct Kind {
    const char* name;
    std::function<Source(const std::string& bytes)> make;
    bool mayNotClone = false;
    bool isServed = false;  // by an http server of ours
    friend void PrintTo(const Kind& kind, std::ostream* out) { *out << kind.name; }
};

std::vector<Kind> Kinds() {
    if (::_wgetenv(L"TV_SOURCE_URI") || ::_wgetenv(L"TV_SOURCE_FILE"))
        return {{.name = "Installed", .make = Installed, .mayNotClone = true}};
    const auto served = [](bool ranges, bool live) {
        return [=](const std::string& bytes) { return Http(bytes, ranges, live); };
    };
    const auto buffered = [](auto make) { return [=](const std::string& bytes) { return Buffered(make(bytes)); }; };
    const auto data = [](bool base64) { return [=](const std::string& bytes) { return Data(bytes, base64); }; };
    return {{.name = "Memory", .make = Memory, .mayNotClone = true},
            {.name = "File", .make = File},
            {.name = "Share", .make = Share},
            {.name = "BufferedMemory", .make = buffered(Memory), .mayNotClone = true},
            {.name = "BufferedFile", .make = buffered(File)},
            {.name = "HttpWithRanges", .make = served(true, false), .isServed = true},
            {.name = "HttpWithoutRanges", .make = served(false, false), .isServed = true},
            {.name = "HttpLive", .make = served(false, true), .mayNotClone = true, .isServed = true},
            {.name = "BufferedHttp", .make = buffered(served(true, false)), .isServed = true},
            {.name = "BufferedHttpWithoutRanges", .make = buffered(served(false, false)), .isServed = true},
            {.name = "DataEscaped", .make = data(false)},
            {.name = "DataBase64", .make = data(true)}};
}

struct DataSource : ::testing::TestWithParam<Kind> {
    // More than any source keeps of what it has given.
    const Source source = GetParam().make(RandomBytes(4711, 700'001));
    const CTestApartment apartment{COINIT_MULTITHREADED};

    void SetUp() override {
        if (GetParam().isServed && !CHttpServer::IsSupported())
            GTEST_SKIP() << "the platform has no sockets for programs of this bitness";
        ASSERT_LE(1'000u, source.bytes.size()) << "too small to show a fault";
    }

    [[nodiscard]] static ComPtr<IStream> Open(const Source& from) {
        ComPtr<IStream> stream;
        EXPECT_EQ(S_OK, from.open(&stream));
        if (!stream)
            throw std::runtime_error("there is no stream to test");
        return stream;
    }
    [[nodiscard]] static ULONGLONG SizeOf(IStream& stream) {
        STATSTG stat{};
        EXPECT_EQ(S_OK, stream.Stat(&stat, STATFLAG_NONAME));
        EXPECT_EQ(nullptr, stat.pwcsName);
        return stat.cbSize.QuadPart;
    }
    // A source of unknown length may refuse to seek.
    [[nodiscard]] static bool IsLive(IStream& stream) { return SizeOf(stream) >> 63; }

    [[nodiscard]] static HRESULT Seek(IStream& stream, LONGLONG move, DWORD origin, ULONGLONG* reached = nullptr) {
        ULARGE_INTEGER position{};
        const HRESULT hr = stream.Seek({.QuadPart = move}, origin, reached ? &position : nullptr);
        if (reached)
            *reached = position.QuadPart;
        return hr;
    }
    [[nodiscard]] static ULONGLONG PositionOf(IStream& stream) {
        ULONGLONG position = ~0ull;
        EXPECT_EQ(S_OK, Seek(stream, 0, STREAM_SEEK_CUR, &position));
        return position;
    }

    // Seeks there. False: the source is live and doesn't.
    [[nodiscard]] static bool StandsAt(IStream& stream, LONGLONG position) {
        const HRESULT hr = Seek(stream, position, STREAM_SEEK_SET);
        EXPECT_TRUE(hr == S_OK || (hr == kCantSeek && IsLive(stream))) << position;
        return hr == S_OK;
    }

    // Whether a read of `cb` bytes gives the bytes at `position` of the source, and fewer only at its end.
    [[nodiscard]] static ::testing::AssertionResult Gives(IStream& stream, const std::string& bytes, ULONGLONG position,
                                                          ULONG cb) {
        std::string got(cb, '?');
        ULONG count = 0xDEAD;
        const HRESULT hr = stream.Read(got.data(), cb, &count);
        const std::string_view expected =
            std::string_view(bytes).substr(static_cast<size_t>(std::min<ULONGLONG>(position, bytes.size())), cb);
        if ((hr == S_OK || (hr == S_FALSE && count < cb)) && count == expected.size() &&
            std::string_view(got).substr(0, count) == expected)
            return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure() << "read of " << cb << " at " << position << " of " << bytes.size()
                                             << ": 0x" << std::hex << hr << std::dec << ", " << count << " bytes";
    }
    // The same, from the start to the end and beyond it.
    [[nodiscard]] static ::testing::AssertionResult GivesAll(IStream& stream, const std::string& bytes, ULONG piece) {
        for (size_t at = 0; at < bytes.size() + 2 * size_t{piece}; at += piece)
            if (const auto right = Gives(stream, bytes, at, piece); !right)
                return right;
        return ::testing::AssertionSuccess();
    }
    // The same of a new stream, on a thread of its own.
    [[nodiscard]] static std::future<::testing::AssertionResult> Reading(const Source& from) {
        return std::async(std::launch::async, [&from, stream = Open(from)]() mutable {
            const CTestApartment own(COINIT_MULTITHREADED);
            const auto right = GivesAll(*stream.Get(), from.bytes, 1'009);
            stream.Reset();  // in the apartment
            return right;
        });
    }
};

TEST_P(DataSource, GivesExactlyItsBytesInPiecesOfAnySize) {
    for (const size_t size : {0u, 1u, 5'000u, 700'001u}) {
        const Source of = GetParam().make(RandomBytes(4711, size));
        const auto length = static_cast<ULONG>(of.bytes.size());
        for (const ULONG piece : {1ul, 13ul, 4'095ul, 65'537ul, std::max(length, 1ul), length + 1})
            EXPECT_TRUE(GivesAll(*Open(of).Get(), of.bytes, piece)) << "pieces of " << piece;
    }
}

TEST_P(DataSource, GivesTheSameBytesWhereverItIsSoughtTo) {
    const ComPtr<IStream> stream = Open(source);
    const bool live = IsLive(*stream.Get());
    for (const unsigned seed : {1u, 2u, 3u}) {
        std::mt19937 random(seed);
        ULONGLONG here = PositionOf(*stream.Get());
        for (int step = 0; step < 300; ++step) {
            SCOPED_TRACE("seed " + std::to_string(seed) + ", step " + std::to_string(step));
            const LONGLONG size = std::ssize(source.bytes);
            if (random() % 2 == 0) {
                const auto cb = static_cast<ULONG>(random() % (random() % 8 == 0 ? 400'000 : 3'000));
                ASSERT_TRUE(Gives(*stream.Get(), source.bytes, here, cb));
                here = std::max(here, std::min<ULONGLONG>(here + cb, source.bytes.size()));
                continue;
            }
            const DWORD origin = random() % 3;
            const LONGLONG base[] = {0, static_cast<LONGLONG>(here), size};
            const LONGLONG target = std::max<LONGLONG>(
                0, random() % 2 ? base[1] + static_cast<LONGLONG>(random() % 8'000) - 4'000
                                : static_cast<LONGLONG>(random() % static_cast<ULONGLONG>(size + 20)));
            ULONGLONG reached = ~0ull;
            const HRESULT hr = Seek(*stream.Get(), target - base[origin], origin, &reached);
            if (live && hr == kCantSeek) {
                ASSERT_EQ(here, PositionOf(*stream.Get()));
                continue;
            }
            ASSERT_EQ(S_OK, hr);
            ASSERT_EQ(static_cast<ULONGLONG>(target), reached);
            here = reached;
        }
    }
}

TEST_P(DataSource, TellsItsSize) {
    const ComPtr<IStream> stream = Open(source);
    EXPECT_TRUE(IsLive(*stream.Get()) || SizeOf(*stream.Get()) == source.bytes.size());
    STATSTG stat{};
    EXPECT_EQ(S_OK, stream->Stat(&stat, STATFLAG_DEFAULT));
    const base::CTaskMem<wchar_t> name(stat.pwcsName);
    EXPECT_EQ(static_cast<DWORD>(STGTY_STREAM), stat.type);
    EXPECT_HRESULT_FAILED(stream->Stat(nullptr, STATFLAG_NONAME));
}

TEST_P(DataSource, StaysWhereItIsWhenNothingIsRead) {
    const ComPtr<IStream> stream = Open(source);
    for (size_t at = 0; at < source.bytes.size(); at += 50'000) {
        char byte = '?';
        ULONG count = 0xDEAD;
        EXPECT_HRESULT_SUCCEEDED(stream->Read(&byte, 0, &count));
        EXPECT_EQ(0u, count);
        EXPECT_HRESULT_FAILED(stream->Read(nullptr, 1, &count));
        EXPECT_EQ(0u, count);
        EXPECT_EQ(at, PositionOf(*stream.Get()));
        EXPECT_EQ(S_OK, stream->Read(&byte, 1, nullptr));
        EXPECT_EQ(source.bytes[at], byte);
        ASSERT_TRUE(Gives(*stream.Get(), source.bytes, at + 1, 49'999));
    }
}

TEST_P(DataSource, StandsWhereItSaysAfterASeekToNowhere) {
    const ComPtr<IStream> stream = Open(source);
    const LONGLONG size = std::ssize(source.bytes);
    const std::pair<LONGLONG, DWORD> nowhere[] = {{size + 0x1'0000'0000, STREAM_SEEK_SET},
                                                  {-1, STREAM_SEEK_SET},
                                                  {-size - 1, STREAM_SEEK_CUR},
                                                  {-size - 1, STREAM_SEEK_END},
                                                  {5, 3},
                                                  {5, 0xFFFFFFFF}};
    for (const auto& [move, origin] : nowhere) {
        if (!StandsAt(*stream.Get(), 7))
            continue;
        EXPECT_TRUE(Gives(*stream.Get(), source.bytes, 7, 10));
        ULONGLONG told = ~0ull;
        const HRESULT hr = Seek(*stream.Get(), move, origin, &told);
        const ULONGLONG here = PositionOf(*stream.Get());
        EXPECT_EQ(here, told);
        // An impossible position may count as one far behind the end; an unknown origin may be ignored.
        EXPECT_TRUE(FAILED(hr) || here > source.bytes.size() || here == 17) << here;
        EXPECT_TRUE(Gives(*stream.Get(), source.bytes, here, 10));
        EXPECT_TRUE(!StandsAt(*stream.Get(), 0) || Gives(*stream.Get(), source.bytes, 0, 10));
        EXPECT_TRUE(!StandsAt(*stream.Get(), size - 10) ||
                    Gives(*stream.Get(), source.bytes, static_cast<ULONGLONG>(size - 10), 20));
    }
}

TEST_P(DataSource, HasClonesThatGoTheirOwnWay) {
    const ComPtr<IStream> stream = Open(source);
    EXPECT_HRESULT_FAILED(stream->Clone(nullptr));
    ASSERT_TRUE(Gives(*stream.Get(), source.bytes, 0, 299'999));
    ComPtr<IStream> clone;
    const HRESULT hr = stream->Clone(&clone);
    if (FAILED(hr)) {
        EXPECT_TRUE(GetParam().mayNotClone && !clone);
        return;
    }
    ASSERT_EQ(S_OK, hr);
    ASSERT_EQ(S_OK, Seek(*stream.Get(), 10, STREAM_SEEK_SET));
    EXPECT_EQ(299'999u, PositionOf(*clone.Get()));
    EXPECT_TRUE(Gives(*clone.Get(), source.bytes, 299'999, 100));
    EXPECT_TRUE(Gives(*stream.Get(), source.bytes, 10, 100));
    ComPtr<IStream> second;
    ASSERT_EQ(S_OK, clone->Clone(&second));
    clone.Reset();
    EXPECT_TRUE(Gives(*second.Get(), source.bytes, 300'099, 1'000'000));
}

TEST_P(DataSource, GivesEachOfSeveralStreamsAllBytes) {
    const ComPtr<IStream> first = Open(source), second = Open(source);
    ComPtr<IMarshal> marshaler;
    EXPECT_EQ(S_OK, first.As(&marshaler)) << "threads of all apartments call it directly";
    for (ULONGLONG at = 0; at < source.bytes.size() + 1'000; at += 10'007) {
        ASSERT_TRUE(Gives(*first.Get(), source.bytes, at, 10'007));
        ASSERT_TRUE(Gives(*second.Get(), source.bytes, at, 10'007));
    }
    auto other = Reading(source);
    EXPECT_TRUE(Reading(source).get());
    EXPECT_TRUE(other.get());
}

INSTANTIATE_TEST_SUITE_P(, DataSource, ::testing::ValuesIn(Kinds()),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
