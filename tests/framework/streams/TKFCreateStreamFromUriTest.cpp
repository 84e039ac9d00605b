// How a name is opened: as a local file, or by the data service.
#include "tests/framework/streams/StreamTest.h"
#include "tests/support/CFakeDataLayer.h"
#include "tests/support/CScriptedStream.h"
#include "tests/support/CTempFile.h"
#include "tests/support/CTestApartment.h"

namespace {

using Fault = CFakeDataLayer::Fault;
using Texts = std::vector<std::wstring>;

constexpr DWORD kRead = kTKFStreamRead, kWrite = kTKFStreamWrite;

struct TKFCreateStreamFromUriTest : ::testing::Test {
    void SetUp() override { service.stream = &source; }
    void TearDown() override {
        stream.Reset();
        usedFactory.Reset();
        EXPECT_EQ(0u, service.References());
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
    CFakeDataLayer service;
    ITKDSUriAccessFactory* factory = &service;
    ComPtr<IStream> stream;
    ComPtr<IUnknown> usedFactory;
};

TEST_F(TKFCreateStreamFromUriTest, RefusesWrongArgumentsBeforeAnythingIsOpened) {
    EXPECT_EQ(E_INVALIDARG, Open(nullptr, kRead));
    EXPECT_EQ(E_INVALIDARG, Open(L"", kRead));
    EXPECT_EQ(E_INVALIDARG, Open(L"http://h/x", ~(kRead | kWrite)));
    EXPECT_EQ(E_POINTER, TKFCreateStreamFromUri(L"http://h/x", kRead, nullptr, factory, nullptr));
    EXPECT_EQ(Texts{}, service.TakeSteps());
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
    EXPECT_EQ(Texts{}, service.TakeSteps());
}

TEST_F(TKFCreateStreamFromUriTest, LeavesEverythingElseToTheDataServiceWithTheAccessWanted) {
    const struct {
        DWORD mode;
        const wchar_t *step, *name;
    } table[] = {
        {0x001, L"CreateStream 1 0", L"http://h/a b%20c?d#e"},
        {0x7FD & ~0x018u, L"CreateStream 1 0", LR"(\\server\share\x)"},
        {0x019, L"CreateStream 1 3", L"file:"},
        {0x002, L"CreateWritableStream 2 0", LR"(\\.\x)"},
        {0x00A, L"CreateWritableStream 2 1", L"http://h:99999/"},
        {0x013, L"CreateWritableStream 3 2", L"http://h/x"},
    };
    for (const auto& row : table) {
        EXPECT_EQ(S_OK, Open(row.name, row.mode)) << row.mode;
        EXPECT_EQ(&source, stream.Get());
        EXPECT_EQ(factory, usedFactory.Get());
        EXPECT_EQ((Texts{std::wstring(L"OpenUriAs TKDS.Accessor.CreateStream ") + row.name, row.step}),
                  service.TakeSteps());
    }
}

// What a stranger does at one step, and what becomes of it. Each time nothing is handed out, nothing leaks, and the
// next attempt succeeds.
TEST_F(TKFCreateStreamFromUriTest, SurvivesADataServiceThatMisbehaves) {
    const auto gives = [](VARTYPE type, IUnknown* object) {
        return [=](VARIANT* accessor) {
            accessor->vt = type;
            accessor->punkVal = object;
            object->AddRef();
            return S_OK;
        };
    };
    const auto givesText = [](VARIANT* to) { return to->vt = VT_BSTR, to->bstrVal = ::SysAllocString(L"x"), S_OK; };
    const struct {
        const char* what;
        HRESULT result;
        std::map<std::wstring, Fault> faults;
        std::function<HRESULT(VARIANT*)> openUriAs = {};
    } table[] = {
        {"factory fails but fills the VARIANT", CFakeDataLayer::kFault, {{L"OpenUriAs", Fault::Fail}}},
        {"factory throws", E_UNEXPECTED, {{L"OpenUriAs", Fault::Throw}}},
        {"null interface", E_FAIL, {{L"OpenUriAs", Fault::GiveNull}}},
        {"no VARIANT", E_FAIL, {}, [](VARIANT*) { return S_OK; }},
        {"a string", E_FAIL, {}, givesText},
        {"an object that is no accessor", E_NOINTERFACE, {}, gives(VT_UNKNOWN, &source)},
        {"accessor fails", CFakeDataLayer::kFault, {{L"Create", Fault::Fail}}},
        {"accessor throws", E_UNEXPECTED, {{L"Create", Fault::Throw}}},
        {"accessor gives no stream", E_FAIL, {{L"Create", Fault::GiveNull}}},
    };
    for (const auto& row : table)
        for (const DWORD mode : {kRead, kWrite}) {
            SCOPED_TRACE(row.what);
            service.faults = row.faults;
            service.openUriAs = row.openUriAs;
            EXPECT_EQ(row.result, Open(L"http://h/x", mode));
            EXPECT_EQ(0u, service.References());
            service.faults = {};
            service.openUriAs = {};
            EXPECT_EQ(S_OK, Open(L"http://h/x", mode));
        }
    service.openUriAs = gives(VT_DISPATCH, factory);
    EXPECT_EQ(S_OK, Open(L"http://h/x", kRead));
}

TEST_F(TKFCreateStreamFromUriTest, MakesItsOwnFactoryWhenNoneIsGiven) {
    EXPECT_EQ(E_NOINTERFACE, TKFCreateStreamFromUri(L"http://h/x", kRead, &stream, &source, nullptr));
    factory = nullptr;
    service.faults = {{L"create TKDSUriAccessFactory", Fault::Fail}};
    EXPECT_EQ(CFakeDataLayer::kFault, Open(L"http://h/x", kRead));
    service.faults = {};
    EXPECT_EQ(S_OK, Open(L"http://h/x", kRead));
    EXPECT_TRUE(stream && usedFactory);
}

}  // namespace
