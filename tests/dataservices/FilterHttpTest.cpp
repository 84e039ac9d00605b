// The whole way of bytes: from a web server through the data services and the filter to its reader, or to a renderer.
#include "framework/streams/CBufferedStream.h"
#include "tests/filter/FilterTest.h"
#include "tests/support/CHttpServer.h"
#include "tests/support/ProcessUse.h"
#include "tests/tvsource/CHost.h"

#include <filesystem>
#include <random>

#include "TKDataServices.h"

namespace {

using Fault = CHttpServer::Fault;

// The data services of this build.
class CLayer final {
public:
    template <class Function>
    [[nodiscard]] Function* Export(const char* name) const {
        return reinterpret_cast<Function*>(reinterpret_cast<void*>(::GetProcAddress(m_module, name)));
    }

private:
    // Never freed: a thread of the HTTP library may be on its way out of it.
    const HMODULE m_module = ::LoadLibraryW(BuiltFile(L"TvDataServices.dll").c_str());
};

// Made for this process only, not installed.
struct FilterHttpTest : ::testing::Test {
    const CTestApartment apartment{COINIT_MULTITHREADED};
    const CLayer layer{};
    DWORD registration = 0;

    void SetUp() override {
        if (!CHttpServer::IsSupported())
            GTEST_SKIP() << "the platform has no sockets for programs of this bitness";
        ComPtr<IUnknown> factory;
        const auto getClass = layer.Export<HRESULT STDAPICALLTYPE(REFCLSID, REFIID, void**)>("DllGetClassObject");
        ASSERT_EQ(S_OK, getClass(CLSID_TKDSUriAccessFactory, IID_PPV_ARGS(&factory)));
        ASSERT_EQ(S_OK, ::CoRegisterClassObject(CLSID_TKDSUriAccessFactory, factory.Get(), CLSCTX_INPROC_SERVER,
                                                REGCLS_MULTIPLEUSE, &registration));
    }
    void TearDown() override { ::CoRevokeClassObject(registration); }
};

TEST_F(FilterHttpTest, TenThousandReadsFromAServerThatFailsAllTheTimeAreRight) {
    const unsigned seed = std::random_device()();
    SCOPED_TRACE(seed);
    std::string bytes(3'000'000, '\0');
    std::ranges::generate(bytes, [random = std::mt19937(seed)]() mutable { return static_cast<char>(random()); });
    int faults = 0;
    int stalls = 1;  // each takes as long as it is waited for
    // No more of them in a row than a source puts up with, and none before it is open.
    const auto script = [&, random = std::mt19937(seed + 1), inRow = 3](auto&) mutable {
        if (random() % 8 != 0 || inRow++ == 3)
            return inRow = 0, CHttpServer::Misbehaviour{};
        ++faults;
        const LONGLONG after = random() % 3 ? random() % 400'000 : random() % 3 - 1LL;
        const Fault fault =
            std::array{Fault::kReset,     Fault::kClose,       Fault::kTrickle, Fault::kLongBody,
                       Fault::kShortBody, Fault::kUnavailable, Fault::kGarbage, Fault::kStall}[random() % 8];
        if (fault == Fault::kStall && stalls-- <= 0)
            return CHttpServer::Misbehaviour{Fault::kReset, after};
        return CHttpServer::Misbehaviour{fault, fault == Fault::kTrickle ? std::max(after, 0LL) % 500 : after};
    };
    std::mt19937 random(seed + 2);
    const auto read = [&](int reads) {
        CHttpServer server;
        server.Serve("/a", {.bytes = bytes, .script = script});
        CFilterHost host;
        host.Create();
        ASSERT_EQ(S_OK, host.Load(server.Url(L"/a")));
        const auto reader = host.Reader();
        size_t position = 0;
        for (int i = 0; i < reads; ++i) {
            const unsigned way = random() % 20;
            if (position >= bytes.size() || way == 0)
                position = random() % bytes.size();
            else if (way < 3)
                position += random() % std::min<size_t>(300'000, bytes.size() - position);
            else if (way < 5)
                position -= std::min<size_t>(position, random() % 300'000);
            const size_t length = 1 + random() % (way == 5 ? 300'000 : 8'000);
            const auto [hr, got] = SyncRead(*reader.Get(), static_cast<LONGLONG>(position), static_cast<LONG>(length));
            const std::string right = bytes.substr(position, length);
            ASSERT_EQ(right.size() == length ? S_OK : S_FALSE, hr) << "read " << i;
            ASSERT_TRUE(got.starts_with(right)) << "read " << i;
            position += length;
        }
        reader->BeginFlush();
        reader->EndFlush();
    };
    read(5'000);
    const int handles = Handles();
    const LONGLONG held = PrivateBytes();
    read(5'000);
    EXPECT_LT(50, faults);
    // The platform may keep a handle or a page of its own.
    EXPECT_GE(handles + 10, Handles());
    EXPECT_GE(held + 0x80000, PrivateBytes());
}

TEST_F(FilterHttpTest, ALiveSourceReachesItsReaderFromTheFirstByteOn) {
    const std::string bytes = BytesOf(MediaFile(L"tone.wav")) + std::string(500'000, 'x');
    CHttpServer server;
    server.Serve("/a", {.bytes = bytes, .live = true});
    CFilterHost host;
    host.Create();
    ASSERT_EQ(VFW_S_ESTIMATED, host.Load(server.Url(L"/a")));
    const auto reader = host.Reader();
    for (size_t at = 0; at < bytes.size(); at += 9'999) {
        const std::string right = bytes.substr(at, 9'999);
        const auto [hr, got] = SyncRead(*reader.Get(), static_cast<LONGLONG>(at), 9'999);
        EXPECT_EQ(right.size() == 9'999 ? S_OK : S_FALSE, hr);
        ASSERT_TRUE(got.starts_with(right)) << at;
    }
    EXPECT_EQ(1u, server.Requests().size());
}

TEST_F(FilterHttpTest, EveryMediaFilePlaysToItsEndFromAServer) {
    constexpr GUID kWaveParser = {0xD51BD5A1, 0x7548, 0x11CF, {0xA5, 0x20, 0x00, 0x80, 0xC7, 0x7E, 0xF5, 0x8A}};
    ComPtr<IUnknown> parser;
    if (FAILED(::CoCreateInstance(kWaveParser, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&parser))))
        GTEST_SKIP() << "the platform has no parsers for programs of this bitness";
    ASSERT_EQ(S_OK, layer.Export<HRESULT STDAPICALLTYPE()>("DllRegisterServer")());
    CHttpServer server;
    for (const auto& file : std::filesystem::directory_iterator(TV_TEST_MEDIA)) {
        const auto name = file.path().filename();
        server.Serve("/" + name.string(), {.bytes = BytesOf(file.path())});
        std::vector<std::wstring> arguments{L"--null", server.Url(L"/" + name.wstring())};
        if (name.extension() == L".flac")  // no content tells this type
            arguments.insert(arguments.begin(), {L"--type", L"any"});
        ExpectRun(RunWithFilter(L"play", arguments), 0, {"Ended    complete\n"});
    }
    EXPECT_EQ(S_OK, layer.Export<HRESULT STDAPICALLTYPE()>("DllUnregisterServer")());
}

}  // namespace
