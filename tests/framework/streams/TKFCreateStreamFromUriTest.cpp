// How a name is opened: as a local file, or by the data service.
#include "tests/framework/streams/StreamTest.h"
#include "tests/support/CFakeDataService.h"
#include "tests/support/CRegisteredComClass.h"
#include "tests/support/CScriptedStream.h"
#include "tests/support/CTempFile.h"
#include "tests/support/CTestApartment.h"

#include <stdexcept>
#include <thread>

namespace {

using Call = CFakeDataService::Call;
using OpenUriAs = std::function<HRESULT(VARIANT*)>;
using CreateStream = std::function<HRESULT(const std::wstring&, IStream**)>;

constexpr DWORD kRead = kTKFStreamRead, kWrite = kTKFStreamWrite;

struct TKFCreateStreamFromUriTest : ::testing::Test {
    void SetUp() override { service.createStream = healthy; }
    void TearDown() override {
        stream.Reset();
        usedFactory.Reset();
        factory.Reset();
        EXPECT_EQ(0, service.LiveObjects());
        EXPECT_EQ(0u, source.References());
    }
    // Opens `uri` with the service's factory given; the out-pointers must always be written.
    HRESULT Open(const wchar_t* uri, DWORD mode) {
        *stream.ReleaseAndGetAddressOf() = Poison();
        *usedFactory.ReleaseAndGetAddressOf() = Poison();
        const HRESULT hr =
            TKFCreateStreamFromUri(uri, mode, stream.GetAddressOf(), factory.Get(), usedFactory.GetAddressOf());
        EXPECT_TRUE(SUCCEEDED(hr) || !(stream || usedFactory));
        return hr;
    }

    const CTestApartment apartment{COINIT_MULTITHREADED};
    CScriptedStream source;
    CFakeDataService service;
    const CreateStream healthy = [this](auto&, IStream** to) { return source.QueryInterface(IID_PPV_ARGS(to)); };
    ComPtr<ITKDSUriAccessFactory> factory = service.Factory();
    ComPtr<IStream> stream;
    ComPtr<IUnknown> usedFactory;
};

TEST_F(TKFCreateStreamFromUriTest, RefusesWrongArgumentsBeforeAnythingIsOpened) {
    EXPECT_EQ(E_INVALIDARG, Open(nullptr, kRead));
    EXPECT_EQ(E_INVALIDARG, Open(L"", kRead));
    EXPECT_EQ(E_INVALIDARG, Open(L"http://h/x", ~(kRead | kWrite)));
    EXPECT_EQ(E_INVALIDARG, TKFCreateStreamFromUri(L"", kRead, nullptr, nullptr, nullptr));
    *usedFactory.GetAddressOf() = Poison();
    EXPECT_EQ(E_POINTER,
              TKFCreateStreamFromUri(L"http://h/x", kRead, nullptr, factory.Get(), usedFactory.GetAddressOf()));
    EXPECT_FALSE(usedFactory);
    EXPECT_TRUE(service.Calls().empty());
}

TEST_F(TKFCreateStreamFromUriTest, OpensLocalFilesWithoutTheDataService) {
    const CTempFile file;
    std::wstring url = L"file:///" + file.Path();
    url.replace(url.rfind(L".tmp"), 1, L"%2E");
    for (const std::wstring& name : {file.Path(), url}) {
        EXPECT_EQ(S_OK, Open(name.c_str(), kRead | kShareAll));
        EXPECT_TRUE(stream && !usedFactory);
    }
    EXPECT_EQ(E_FAIL, Open((url + L".missing").c_str(), kRead));
    EXPECT_TRUE(service.Calls().empty());
}

TEST_F(TKFCreateStreamFromUriTest, LeavesEverythingElseToTheDataServiceAndTellsItWhoMayReadAndWrite) {
    const struct {
        DWORD mode;
        const wchar_t* method;
        unsigned long access, share;
        const wchar_t* name = L"http://h/x";
    } table[] = {
        {0x001, L"CreateStream", 1, 0, L"http://h/a b%20c?d#e"},
        {0x7FD & ~0x018u, L"CreateStream", 1, 0, LR"(\\server\share\x)"},
        {0x019, L"CreateStream", 1, 3, L"file:"},
        {0x011, L"CreateStream", 1, 2, L"http://h:99999/"},
        {0x002, L"CreateWritableStream", 2, 0, LR"(\\.\x)"},
        {0x00A, L"CreateWritableStream", 2, 1},
        {0x013, L"CreateWritableStream", 3, 2},
    };
    std::vector<Call> calls;
    for (const auto& row : table) {
        EXPECT_EQ(S_OK, Open(row.name, row.mode)) << row.mode;
        EXPECT_EQ(&source, stream.Get());
        EXPECT_EQ(factory.Get(), usedFactory.Get());
        calls.push_back({L"OpenUriAs", row.name, L"TKDS.Accessor.CreateStream"});
        calls.push_back({row.method, row.name, {}, row.access, row.share});
        EXPECT_EQ(calls, service.Calls()) << row.mode;
    }
}

// What a stranger does at one step, and what becomes of it. Each time nothing is handed out, nothing leaks, and the
// next attempt succeeds.
TEST_F(TKFCreateStreamFromUriTest, SurvivesADataServiceThatMisbehaves) {
    const auto gives = [this](VARTYPE type, IUnknown* object = nullptr, HRESULT hr = S_OK) -> OpenUriAs {
        return [=](VARIANT* accessor) {
            accessor->vt = type;
            accessor->punkVal = object;
            if (object)
                object->AddRef();
            return hr;
        };
    };
    const ComPtr<IUnknown> accessor = service.Accessor(L"");
    const struct {
        const char* what;
        HRESULT result;
        OpenUriAs openUriAs;
        CreateStream createStream = {};
    } table[] = {
        {"factory fails but fills the VARIANT", E_ACCESSDENIED, gives(VT_UNKNOWN, accessor.Get(), E_ACCESSDENIED)},
        {"factory throws", E_UNEXPECTED, [](VARIANT*) -> HRESULT { throw std::runtime_error("scripted"); }},
        {"factory runs out of memory", E_OUTOFMEMORY, [](VARIANT*) -> HRESULT { throw std::bad_alloc(); }},
        {"no VARIANT", E_FAIL, [](VARIANT*) { return S_OK; }},
        {"null interface", E_FAIL, gives(VT_UNKNOWN)},
        {"null dispatch interface", E_FAIL, gives(VT_DISPATCH)},
        {"a string", E_FAIL, [](VARIANT* to) { return to->vt = VT_BSTR, to->bstrVal = ::SysAllocString(L"x"), S_OK; }},
        {"an interface by reference", E_FAIL, gives(VT_UNKNOWN | VT_BYREF)},
        {"a VARIANT of no known type", E_FAIL, gives(0x7777)},
        {"accessor fails", E_ABORT, {}, [](auto&, IStream** to) { return *to = Poison(), E_ABORT; }},
        {"accessor throws", E_UNEXPECTED, {}, [](auto&, IStream**) -> HRESULT { throw 1; }},
        {"accessor gives no stream", E_FAIL, {}, [](auto&, IStream**) { return S_OK; }},
    };
    for (const auto& row : table)
        for (const DWORD mode : {kRead, kWrite}) {
            SCOPED_TRACE(row.what);
            service.openUriAs = row.openUriAs;
            service.createStream = row.createStream ? row.createStream : healthy;
            EXPECT_EQ(row.result, Open(L"http://h/x", mode));
            EXPECT_EQ(2, service.LiveObjects());  // the factory and `accessor`
            service.openUriAs = {};
            service.createStream = healthy;
            EXPECT_EQ(S_OK, Open(L"http://h/x", mode));
        }
    // Rare ways of success: a dispatch VARIANT, and a code of the last call's own.
    service.openUriAs = gives(VT_DISPATCH, accessor.Get());
    service.createStream = [&](auto& uri, IStream** to) { return FAILED(healthy(uri, to)) ? E_FAIL : S_FALSE; };
    EXPECT_EQ(S_FALSE, TKFCreateStreamFromUri(L"http://h/x", kRead, &stream, factory.Get(), nullptr));
    EXPECT_TRUE(stream);
    EXPECT_EQ(S_OK, Open(L"http://h/x", kRead));  // here the last call handed the factory back
}

TEST_F(TKFCreateStreamFromUriTest, FailsWhenAnObjectOrItsInterfaceIsMissing) {
    for (const auto& [missing, other] : {std::pair{kRead, kRead | kWrite}, {kRead | kWrite, kRead}}) {
        service.isReadable = missing != kRead;
        service.isWritable = missing == kRead;
        EXPECT_EQ(E_NOINTERFACE, Open(L"http://h/x", missing));
        EXPECT_EQ(S_OK, Open(L"http://h/x", other));
    }
    EXPECT_EQ(E_NOINTERFACE, TKFCreateStreamFromUri(L"http://h/x", kRead, &stream, &source, nullptr));
    EXPECT_FALSE(stream);
    factory.Reset();  // and no class of one is registered
    EXPECT_EQ(REGDB_E_CLASSNOTREG, Open(L"http://h/x", kRead));
}

TEST_F(TKFCreateStreamFromUriTest, MakesItsOwnFactoryInAnyApartment) {
    for (const DWORD flags : {COINIT_MULTITHREADED, COINIT_APARTMENTTHREADED})
        std::thread([&] {
            const CTestApartment entered(flags);
            const CRegisteredComClass registered(CLSID_TKDSUriAccessFactory, service.Creator());
            ASSERT_EQ(S_OK, registered.Result());
            ComPtr<IStream> made, again;
            ComPtr<IUnknown> used;
            EXPECT_EQ(S_OK, TKFCreateStreamFromUri(L"http://h/x", kRead, &made, nullptr, &used));
            EXPECT_EQ(S_OK, TKFCreateStreamFromUri(L"http://h/y", kRead, &again, used.Get(), nullptr));
            EXPECT_TRUE(made && again);
        }).join();
    EXPECT_EQ(8u, service.Calls().size());
}

}  // namespace
