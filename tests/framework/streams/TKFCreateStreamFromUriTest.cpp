// How a name is opened: as a local file, or by the data service.
#include "tests/framework/streams/StreamTest.h"
#include "tests/support/CFakeDataService.h"
#include "tests/support/CRegisteredComClass.h"
#include "tests/support/CScriptedStream.h"
#include "tests/support/CTempFile.h"
#include "tests/support/CTestApartment.h"

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
        EXPECT_EQ(0, service.LiveObjects());
        EXPECT_EQ(0u, source.References());
    }
    // Opens `uri` with the service's factory given; the out-pointers must always be written.
    HRESULT Open(const wchar_t* uri, DWORD mode) {
        *stream.ReleaseAndGetAddressOf() = Poison();
        *usedFactory.ReleaseAndGetAddressOf() = Poison();
        const HRESULT hr =
            TKFCreateStreamFromUri(uri, mode, stream.GetAddressOf(), factory, usedFactory.GetAddressOf());
        EXPECT_TRUE(SUCCEEDED(hr) || !(stream || usedFactory));
        return hr;
    }

    const CTestApartment apartment{COINIT_MULTITHREADED};
    CScriptedStream source;
    CFakeDataService service;
    const CreateStream healthy = [this](auto&, IStream** to) { return source.QueryInterface(IID_PPV_ARGS(to)); };
    ITKDSUriAccessFactory* factory = &service;
    ComPtr<IStream> stream;
    ComPtr<IUnknown> usedFactory;
};

TEST_F(TKFCreateStreamFromUriTest, RefusesWrongArgumentsBeforeAnythingIsOpened) {
    EXPECT_EQ(E_INVALIDARG, Open(nullptr, kRead));
    EXPECT_EQ(E_INVALIDARG, Open(L"", kRead));
    EXPECT_EQ(E_INVALIDARG, Open(L"http://h/x", ~(kRead | kWrite)));
    EXPECT_EQ(E_POINTER, TKFCreateStreamFromUri(L"http://h/x", kRead, nullptr, factory, nullptr));
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
        const wchar_t* name;
    } table[] = {
        {0x001, L"CreateStream", 1, 0, L"http://h/a b%20c?d#e"},
        {0x7FD & ~0x018u, L"CreateStream", 1, 0, LR"(\\server\share\x)"},
        {0x019, L"CreateStream", 1, 3, L"file:"},
        {0x002, L"CreateWritableStream", 2, 0, LR"(\\.\x)"},
        {0x00A, L"CreateWritableStream", 2, 1, L"http://h:99999/"},
        {0x013, L"CreateWritableStream", 3, 2, L"http://h/x"},
    };
    std::vector<Call> calls;
    for (const auto& row : table) {
        EXPECT_EQ(S_OK, Open(row.name, row.mode)) << row.mode;
        EXPECT_EQ(&source, stream.Get());
        EXPECT_EQ(factory, usedFactory.Get());
        calls.push_back({L"OpenUriAs", row.name, L"TKDS.Accessor.CreateStream"});
        calls.push_back({row.method, row.name, {}, row.access, row.share});
        EXPECT_EQ(calls, service.Calls()) << row.mode;
    }
}

// What a stranger does at one step, and what becomes of it. Each time nothing is handed out, nothing leaks, and the
// next attempt succeeds.
TEST_F(TKFCreateStreamFromUriTest, SurvivesADataServiceThatMisbehaves) {
    const auto gives = [](VARTYPE type, IUnknown* object = nullptr, HRESULT hr = S_OK) -> OpenUriAs {
        return [=](VARIANT* accessor) {
            accessor->vt = type;
            accessor->punkVal = object;
            if (object)
                object->AddRef();
            return hr;
        };
    };
    const struct {
        const char* what;
        HRESULT result;
        OpenUriAs openUriAs;
        CreateStream createStream = {};
    } table[] = {
        {"factory fails but fills the VARIANT", E_ACCESSDENIED, gives(VT_UNKNOWN, factory, E_ACCESSDENIED)},
        {"factory runs out of memory", E_OUTOFMEMORY, [](VARIANT*) -> HRESULT { throw std::bad_alloc(); }},
        {"no VARIANT", E_FAIL, [](VARIANT*) { return S_OK; }},
        {"null interface", E_FAIL, gives(VT_UNKNOWN)},
        {"a string", E_FAIL, [](VARIANT* to) { return to->vt = VT_BSTR, to->bstrVal = ::SysAllocString(L"x"), S_OK; }},
        {"an interface by reference", E_FAIL, gives(VT_UNKNOWN | VT_BYREF)},
        {"an object that is no accessor", E_NOINTERFACE, gives(VT_UNKNOWN, &source)},
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
            EXPECT_EQ(0, service.LiveObjects());
            service.openUriAs = {};
            service.createStream = healthy;
            EXPECT_EQ(S_OK, Open(L"http://h/x", mode));
        }
    service.openUriAs = gives(VT_DISPATCH, factory);
    EXPECT_EQ(S_OK, Open(L"http://h/x", kRead));
}

TEST_F(TKFCreateStreamFromUriTest, MakesItsOwnFactoryWhenNoneIsGiven) {
    EXPECT_EQ(E_NOINTERFACE, TKFCreateStreamFromUri(L"http://h/x", kRead, &stream, &source, nullptr));
    factory = nullptr;
    {
        // Whether a layer is registered on the machine is not the test's to know: a class that can't be created stands
        // for none.
        const CRegisteredComClass broken(CLSID_TKDSUriAccessFactory, [](REFIID, void**) { return CO_E_APPNOTFOUND; });
        EXPECT_EQ(CO_E_APPNOTFOUND, Open(L"http://h/x", kRead));
    }
    const CRegisteredComClass registered(CLSID_TKDSUriAccessFactory, service.Creator());
    EXPECT_EQ(S_OK, Open(L"http://h/x", kRead));
    EXPECT_TRUE(stream && usedFactory);
}

}  // namespace
