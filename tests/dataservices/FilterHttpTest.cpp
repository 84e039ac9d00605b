// The whole way of bytes: from a web server through the data services and the filter to its reader.
#include "TKDataServices.h"
#include "tests/dataservices/LayerTest.h"
#include "tests/support/Await.h"
#include "tests/support/CHttpServer.h"
#include "tests/support/FilterTest.h"
#include "tests/support/ProcessUse.h"
#include "tests/support/RandomBytes.h"

#include <algorithm>
#include <array>
#include <random>

namespace {

using Fault = CHttpServer::Fault;

TEST(FilterHttpTest, TenThousandReadsFromAServerThatFailsAllTheTimeAreRight) {
    if (!CHttpServer::IsSupported())
        GTEST_SKIP() << "the platform has no sockets for programs of this bitness";
    const CBuiltLayer layer{};
    constexpr unsigned kSeed = 2'866'894'350;
    const std::string bytes = RandomBytes(kSeed, 3'000'000);
    int faults = 0;
    int stalls = 1;  // each takes as long as a read waits for it
    // There are no more faults in a row than a source tolerates, and none before it is open. (A reset may take with it
    // what was sent before, headers too.)
    const auto script = [&, random = std::mt19937(kSeed + 1), inRow = 3](const CHttpServer::Request& request) mutable {
        if (request.Header("if-range").empty())
            return inRow = 0, ++faults, CHttpServer::Misbehaviour{Fault::Close, 1 + random() % 400'000};
        if (random() % 4 != 0 || inRow++ == 3)
            return inRow = 0, CHttpServer::Misbehaviour{};
        ++faults;
        const LONGLONG after = random() % 3 ? random() % 400'000 : random() % 3 - 1LL;
        const Fault fault = std::array{Fault::Reset,       Fault::Close,   Fault::Trickle, Fault::LongBody,
                                       Fault::Unavailable, Fault::Garbage, Fault::Stall}[random() % 7];
        if (fault == Fault::Stall && stalls-- <= 0)
            return CHttpServer::Misbehaviour{Fault::Reset, after};
        return CHttpServer::Misbehaviour{fault, fault == Fault::Trickle ? std::max(after, 0LL) % 500 : after};
    };
    std::mt19937 random(kSeed + 2);
    const auto read = [&](int reads) {
        CHttpServer server;
        CFilterHost host;
        server.Serve("/a", {.bytes = bytes, .script = script});
        host.Create();
        ComPtr<IAsyncReader> reader;
        size_t position = 0;
        for (int i = 0; i < reads; ++i) {
            if (i % 250 == 0) {  // with nothing in the store
                const HRESULT loaded = host.Load(server.Url(L"/a"));
                HRESULT opened = S_OK;
                EXPECT_EQ(S_OK, host.As<ITavelSourceOpenResult>()->GetOpenResult(&opened));
                ASSERT_EQ(S_OK, loaded) << std::hex << opened;
                reader = host.Reader();
            }
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
    };
    read(4'000);
    const int handles = Handles();
    const LONGLONG before = PrivateBytes();
    read(3'000);
    const LONGLONG between = PrivateBytes();
    read(3'000);
    EXPECT_LT(50, faults);
    // The platform may keep a handle or a page of its own, and one more thread of its pool; a leak shows each time.
    EXPECT_GE(handles + 10, Handles());
    EXPECT_GE(0x200000, std::min(between - before, PrivateBytes() - between));
}

TEST(DataServicesModuleTest, IsInUseExactlyAsLongAsAnyOfItsStreams) {
    if (!CHttpServer::IsSupported())
        GTEST_SKIP() << "the platform has no sockets for programs of this bitness";
    const CTestApartment apartment(COINIT_MULTITHREADED);
    const auto open = [](const CHttpServer& server, decltype(&::DllGetClassObject) getClass) {
        ComPtr<IClassFactory> classFactory;
        ComPtr<ITKDSUriAccessFactory> factory;
        ComPtr<ITKDSCreateStream> creator;
        ComPtr<IStream> stream;
        framework::CVariant accessor;
        EXPECT_EQ(S_OK, getClass(CLSID_TKDSUriAccessFactory, IID_PPV_ARGS(&classFactory)));
        EXPECT_EQ(S_OK, classFactory->CreateInstance(nullptr, IID_PPV_ARGS(&factory)));
        EXPECT_EQ(S_OK, factory->OpenUriAs(base::CBstr(server.Url(L"/a").c_str()).Get(),
                                           base::CBstr(TKDS_ACCESSOR_CREATESTREAM).Get(), accessor.Put()));
        EXPECT_EQ(S_OK, CopyVariantToComPointer(accessor, creator.GetAddressOf()));
        EXPECT_EQ(S_OK, creator->CreateStreamEx2(SC_UseDefault, &stream));
        return stream;
    };
    std::vector<char> bytes(310'000);
    // The stream goes while bytes drip in. If nobody ended that, it would go on.
    for (int i = 0; i < 20; ++i) {
        CHttpServer server;
        server.Serve("/a", {.bytes = std::string(500'000, 'x'), .script = [](auto&) {
                                return CHttpServer::Misbehaviour{Fault::Drip, 300'000};
                            }});
        const base::CAutoLibrary library(::LoadLibraryW(CBuiltLayer::Path().c_str()));
        const auto function = [&](const char* name) {
            return reinterpret_cast<void*>(::GetProcAddress(library.Get(), name));
        };
        const auto canUnload = reinterpret_cast<decltype(&::DllCanUnloadNow)>(function("DllCanUnloadNow"));
        auto stream = open(server, reinterpret_cast<decltype(&::DllGetClassObject)>(function("DllGetClassObject")));
        EXPECT_EQ(S_OK, stream->Read(bytes.data(), i == 0 ? 300'003 : 1'000, nullptr));
        EXPECT_EQ(S_FALSE, canUnload());
        if (i % 2 == 0) {
            EXPECT_TRUE(server.WaitForStall()) << "a whole block is waited for in the background";
        }
        stream.Reset();
        Await([&] { return canUnload() == S_OK; });
        ASSERT_EQ(S_OK, canUnload());
    }
}

}  // namespace
