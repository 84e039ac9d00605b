// How a name is opened: as a local file, or by the data service.
#include "tests/framework/streams/StreamTest.h"
#include "tests/support/CFakeDataService.h"
#include "tests/support/CRegisteredComClass.h"
#include "tests/support/CTempFile.h"
#include "tests/support/CTestApartment.h"

#include <stdexcept>
#include <thread>

namespace {

constexpr DWORD READ_SHARED = kTKFStreamRead | kTKFStreamShareRead | kTKFStreamShareDelete;

[[nodiscard]] IStream* Poison() {
    return reinterpret_cast<IStream*>(1);
}

[[nodiscard]] ComPtr<IStream> MakeStream() {
    ComPtr<IStream> stream;
    EXPECT_EQ(S_OK, ::CreateStreamOnHGlobal(nullptr, TRUE, &stream));
    return stream;
}

struct CreateStreamFromUriTest : ::testing::Test {
    // Opens `uri` with the service's factory given; the out-pointers must always be written.
    HRESULT Open(const wchar_t* uri, DWORD mode) {
        *stream.ReleaseAndGetAddressOf() = Poison();
        *usedFactory.ReleaseAndGetAddressOf() = Poison();
        return TKFCreateStreamFromUri(uri, mode, stream.GetAddressOf(), factory.Get(), usedFactory.GetAddressOf());
    }
    void SetUp() override {
        service.createStream = [this](const std::wstring&, IStream** to) { return source.CopyTo(to); };
    }
    void TearDown() override {
        stream.Reset();
        usedFactory.Reset();
        factory.Reset();
        EXPECT_EQ(0, service.LiveObjects());
        EXPECT_EQ(0u, source.Reset());
    }

    CTestApartment apartment{COINIT_MULTITHREADED};
    ComPtr<IStream> source = MakeStream();
    CFakeDataService service;
    ComPtr<ITKDSUriAccessFactory> factory = service.Factory();
    ComPtr<IStream> stream;
    ComPtr<IUnknown> usedFactory;
};

TEST_F(CreateStreamFromUriTest, RefusesWrongArgumentsBeforeAnythingIsOpened) {
    EXPECT_EQ(E_INVALIDARG, Open(nullptr, READ_SHARED));
    EXPECT_EQ(E_INVALIDARG, Open(L"", READ_SHARED));
    EXPECT_EQ(E_INVALIDARG, Open(L"http://h/x", 0xFFFFFFFF & ~(kTKFStreamRead | kTKFStreamWrite)));
    EXPECT_FALSE(stream || usedFactory);
    EXPECT_EQ(E_INVALIDARG, TKFCreateStreamFromUri(L"", READ_SHARED, nullptr, nullptr, nullptr));

    *usedFactory.GetAddressOf() = Poison();
    EXPECT_EQ(E_POINTER,
              TKFCreateStreamFromUri(L"http://h/x", READ_SHARED, nullptr, factory.Get(), usedFactory.GetAddressOf()));
    EXPECT_FALSE(usedFactory);
    EXPECT_TRUE(service.Calls().empty());
}

TEST_F(CreateStreamFromUriTest, OpensLocalFilesWithoutTheDataService) {
    const CTempFile file;
    std::wstring url = L"file:///" + file.Path();
    url.replace(url.rfind(L".tmp"), 1, L"%2E");
    for (const std::wstring& name : {file.Path(), url}) {
        EXPECT_EQ(S_OK, Open(name.c_str(), READ_SHARED));
        EXPECT_TRUE(stream && !usedFactory);
        EXPECT_EQ(S_OK, TKFCreateStreamFromUri(name.c_str(), READ_SHARED, &stream, nullptr, nullptr));
    }
    EXPECT_EQ(E_FAIL, Open((url + L".missing").c_str(), READ_SHARED));
    EXPECT_FALSE(stream);
    EXPECT_TRUE(service.Calls().empty());
}

TEST_F(CreateStreamFromUriTest, LeavesEverythingElseToTheDataService) {
    for (const wchar_t* name :
         {L"http://h/a b%20c?d#e", LR"(\\server\share\x)", L"file:", L"http://h:99999/", LR"(\\.\x)"}) {
        SCOPED_TRACE(::testing::PrintToString(std::wstring(name)));
        const auto before = static_cast<std::ptrdiff_t>(service.Calls().size());
        EXPECT_EQ(S_OK, Open(name, READ_SHARED));
        EXPECT_EQ(source, stream);
        EXPECT_EQ(factory.Get(), usedFactory.Get());
        const auto calls = service.Calls();
        const std::vector<CFakeDataService::Call> expected = {{L"OpenUriAs", name, L"TKDS.Accessor.CreateStream", 0, 0},
                                                              {L"CreateStream", name, L"", 1, 1}};
        EXPECT_EQ(expected, std::vector(calls.begin() + before, calls.end()));
    }
}

TEST_F(CreateStreamFromUriTest, TellsTheDataServiceWhoMayReadAndWrite) {
    const struct {
        DWORD mode;
        const wchar_t* method;
        unsigned long access, share;
    } table[] = {
        {0x001, L"CreateStream", 1, 0},         {0x7FD & ~0x018u, L"CreateStream", 1, 0},
        {0x019, L"CreateStream", 1, 3},         {0x011, L"CreateStream", 1, 2},
        {0x002, L"CreateWritableStream", 2, 0}, {0x00A, L"CreateWritableStream", 2, 1},
        {0x013, L"CreateWritableStream", 3, 2}, {0x01B, L"CreateWritableStream", 3, 3},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.mode);
        EXPECT_EQ(S_OK, Open(L"http://h/x", row.mode));
        EXPECT_EQ((CFakeDataService::Call{row.method, L"http://h/x", L"", row.access, row.share}),
                  service.Calls().back());
    }
}

// What a stranger does at one step, and what becomes of it. Each time nothing is handed out, nothing leaks, and the
// next attempt succeeds.
TEST_F(CreateStreamFromUriTest, SurvivesADataServiceThatMisbehaves) {
    using OpenUriAs = std::function<HRESULT(VARIANT*)>;
    using Create = std::function<HRESULT(const std::wstring&, IStream**)>;
    const auto gives = [this](VARTYPE type, bool isFilled, HRESULT hr = S_OK) -> OpenUriAs {
        return [=, this](VARIANT* accessor) {
            accessor->vt = type;
            accessor->llVal = 0;
            if (isFilled && type == VT_BSTR)
                accessor->bstrVal = ::SysAllocString(L"accessor");
            else if (isFilled)
                accessor->punkVal = service.Accessor(L"").Detach();
            return hr;
        };
    };
    const struct {
        const char* what;
        HRESULT result;
        OpenUriAs openUriAs;
        Create createStream = {};
    } table[] = {
        {"factory fails", E_ACCESSDENIED, gives(VT_EMPTY, false, E_ACCESSDENIED)},
        {"factory fails but fills the VARIANT", E_ACCESSDENIED, gives(VT_UNKNOWN, true, E_ACCESSDENIED)},
        {"factory throws", E_UNEXPECTED, [](VARIANT*) -> HRESULT { throw std::runtime_error("scripted"); }},
        {"factory runs out of memory", E_OUTOFMEMORY, [](VARIANT*) -> HRESULT { throw std::bad_alloc(); }},
        {"no VARIANT", E_FAIL, [](VARIANT*) { return S_OK; }},
        {"null interface", E_FAIL, gives(VT_UNKNOWN, false)},
        {"null dispatch interface", E_FAIL, gives(VT_DISPATCH, false)},
        {"a string", E_FAIL, gives(VT_BSTR, true)},
        {"an interface by reference", E_FAIL, gives(VT_UNKNOWN | VT_BYREF, false)},
        {"a VARIANT of no known type", E_FAIL, gives(0x7777, false)},
        {"accessor fails", STG_E_ACCESSDENIED, {}, [](auto&, IStream**) { return STG_E_ACCESSDENIED; }},
        {"accessor fails but writes a pointer",
         STG_E_ACCESSDENIED,
         {},
         [](auto&, IStream** to) { return *to = Poison(), STG_E_ACCESSDENIED; }},
        {"accessor throws", E_UNEXPECTED, {}, [](auto&, IStream**) -> HRESULT { throw 1; }},
        {"accessor gives no stream", E_FAIL, {}, [](auto&, IStream**) { return S_OK; }},
    };
    const Create healthy = service.createStream;
    for (const auto& row : table) {
        for (const DWORD mode : {kTKFStreamRead, kTKFStreamWrite}) {
            SCOPED_TRACE(row.what);
            service.openUriAs = row.openUriAs;
            service.createStream = row.createStream ? row.createStream : healthy;
            EXPECT_EQ(row.result, Open(L"http://h/x", mode));
            EXPECT_FALSE(stream || usedFactory);
            EXPECT_EQ(1, service.LiveObjects());
            service.openUriAs = {};
            service.createStream = healthy;
            EXPECT_EQ(S_OK, Open(L"http://h/x", mode));
        }
    }
    // Rare ways of success: a dispatch VARIANT, and a code of the last call's own.
    service.openUriAs = gives(VT_DISPATCH, true);
    service.createStream = [&](auto& uri, IStream** to) { return FAILED(healthy(uri, to)) ? E_FAIL : S_FALSE; };
    EXPECT_EQ(S_FALSE, TKFCreateStreamFromUri(L"http://h/x", READ_SHARED, &stream, factory.Get(), nullptr));
    EXPECT_TRUE(stream);
    EXPECT_EQ(S_OK, Open(L"http://h/x", READ_SHARED));  // here the last call handed the factory back
}

TEST_F(CreateStreamFromUriTest, FailsWhenAnObjectOrItsInterfaceIsMissing) {
    service.isWritable = false;
    EXPECT_EQ(E_NOINTERFACE, Open(L"http://h/x", kTKFStreamRead | kTKFStreamWrite));
    EXPECT_EQ(S_OK, Open(L"http://h/x", kTKFStreamRead));
    service.isWritable = true;
    service.isReadable = false;
    EXPECT_EQ(E_NOINTERFACE, Open(L"http://h/x", kTKFStreamRead));
    EXPECT_EQ(S_OK, Open(L"http://h/x", kTKFStreamRead | kTKFStreamWrite));

    EXPECT_EQ(E_NOINTERFACE, TKFCreateStreamFromUri(L"http://h/x", READ_SHARED, &stream, source.Get(), nullptr));
    EXPECT_FALSE(stream);
    factory.Reset();  // and no class of one is registered
    EXPECT_EQ(REGDB_E_CLASSNOTREG, Open(L"http://h/x", READ_SHARED));
}

TEST(CreateStreamFromUri, MakesItsOwnFactoryInAnyApartment) {
    for (const DWORD apartment : {COINIT_MULTITHREADED, COINIT_APARTMENTTHREADED}) {
        SCOPED_TRACE(apartment);
        const CTestApartment entered(apartment);
        CFakeDataService service;
        service.createStream = [](const std::wstring&, IStream** to) { return MakeStream().CopyTo(to); };
        const CRegisteredComClass registered(CLSID_TKDSUriAccessFactory, service.Creator());
        ASSERT_EQ(S_OK, registered.Result());

        const auto open = [] {
            ComPtr<IStream> stream, again;
            ComPtr<IUnknown> used;
            EXPECT_EQ(S_OK, TKFCreateStreamFromUri(L"http://h/x", READ_SHARED, &stream, nullptr, &used));
            EXPECT_TRUE(stream);
            EXPECT_EQ(S_OK, TKFCreateStreamFromUri(L"http://h/y", READ_SHARED, &again, used.Get(), nullptr));
        };
        open();
        std::thread([&] {
            const CTestApartment worker(COINIT_MULTITHREADED);
            open();
        }).join();
        EXPECT_EQ(0, service.LiveObjects());
        EXPECT_EQ(8u, service.Calls().size());
    }
}

}  // namespace
