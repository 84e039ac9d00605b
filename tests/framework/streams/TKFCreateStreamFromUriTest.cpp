#include "framework/streams/TKFCreateStreamFromUri.h"

#include "tests/support/CFakeDataService.h"
#include "tests/support/CRegisteredComClass.h"
#include "tests/support/CTestApartment.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>

using Microsoft::WRL::ComPtr;

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

[[nodiscard]] ULONG References(IUnknown& object) {
    object.AddRef();
    return object.Release();
}

struct CreateStreamFromUriTest : ::testing::Test {
    // Opens `uri` with the service's factory given; the out-pointers must always be written.
    HRESULT Open(const wchar_t* uri, DWORD mode) {
        stream.Reset();
        usedFactory.Reset();
        IStream* rawStream = Poison();
        IUnknown* rawFactory = Poison();
        const HRESULT hr = TKFCreateStreamFromUri(uri, mode, &rawStream, factory.Get(), &rawFactory);
        EXPECT_NE(Poison(), rawStream);
        EXPECT_NE(Poison(), rawFactory);
        *stream.GetAddressOf() = rawStream;
        *usedFactory.GetAddressOf() = rawFactory;
        return hr;
    }

    CTestApartment apartment{COINIT_MULTITHREADED};
    ComPtr<IStream> source = MakeStream();
    CFakeDataService service;
    ComPtr<ITKDSUriAccessFactory> factory = service.Factory();
    ComPtr<IStream> stream;
    ComPtr<IUnknown> usedFactory;

    void SetUp() override {
        service.createStream = [this](const std::wstring&, IStream** to) { return source.CopyTo(to); };
    }
    void TearDown() override {
        stream.Reset();
        usedFactory.Reset();
        factory.Reset();
        EXPECT_EQ(0, service.LiveObjects());
        EXPECT_EQ(1u, References(*source.Get()));
    }
};

TEST_F(CreateStreamFromUriTest, RefusesWrongArgumentsBeforeAnythingIsOpened) {
    EXPECT_EQ(E_INVALIDARG, Open(nullptr, READ_SHARED));
    EXPECT_EQ(E_INVALIDARG, Open(L"", READ_SHARED));
    EXPECT_EQ(E_INVALIDARG, Open(L"http://h/x", 0));
    EXPECT_EQ(E_INVALIDARG, Open(L"http://h/x", static_cast<DWORD>(~(kTKFStreamRead | kTKFStreamWrite))));
    EXPECT_EQ(E_INVALIDARG, TKFCreateStreamFromUri(L"", READ_SHARED, nullptr, nullptr, nullptr));

    IUnknown* used = Poison();
    EXPECT_EQ(E_POINTER, TKFCreateStreamFromUri(L"http://h/x", READ_SHARED, nullptr, factory.Get(), &used));
    EXPECT_EQ(nullptr, used);
    EXPECT_TRUE(service.Calls().empty());
}

TEST_F(CreateStreamFromUriTest, OpensLocalFilesWithoutTheDataService) {
    wchar_t folder[MAX_PATH];
    wchar_t path[MAX_PATH];
    ASSERT_NE(0u, ::GetTempPathW(MAX_PATH, folder));
    ASSERT_NE(0u, ::GetTempFileNameW(folder, L"uri", 0, path));
    std::wstring url = L"file:///" + std::wstring(path);
    url.replace(url.rfind(L".tmp"), 1, L"%2E");
    for (const std::wstring& name : {std::wstring(path), url}) {
        SCOPED_TRACE(::testing::PrintToString(name));
        EXPECT_EQ(S_OK, Open(name.c_str(), READ_SHARED));
        EXPECT_TRUE(stream);
        EXPECT_FALSE(usedFactory);
        EXPECT_EQ(S_OK, TKFCreateStreamFromUri(name.c_str(), READ_SHARED, &stream, nullptr, nullptr));
    }
    stream.Reset();
    EXPECT_TRUE(::DeleteFileW(path));

    EXPECT_EQ(E_FAIL, Open(path, READ_SHARED));
    EXPECT_FALSE(stream);
    EXPECT_TRUE(service.Calls().empty());
}

TEST_F(CreateStreamFromUriTest, LeavesEverythingElseToTheDataService) {
    const wchar_t* const names[] = {
        L"http://h/a b%20c?d#e", LR"(\\server\share\x)", L"file:", L"http://h:99999/does-not-parse", LR"(\\.\pipe\x)",
    };
    for (const wchar_t* name : names) {
        SCOPED_TRACE(::testing::PrintToString(std::wstring(name)));
        const size_t before = service.Calls().size();
        EXPECT_EQ(S_OK, Open(name, READ_SHARED));
        EXPECT_EQ(source, stream);
        EXPECT_EQ(factory.Get(), usedFactory.Get());

        const auto calls = service.Calls();
        ASSERT_EQ(before + 2, calls.size());
        EXPECT_EQ((CFakeDataService::Call{L"OpenUriAs", name, L"TKDS.Accessor.CreateStream", 0, 0}), calls[before]);
        EXPECT_EQ((CFakeDataService::Call{L"CreateStream", name, L"", 1, 1}), calls[before + 1]);
    }
}

TEST_F(CreateStreamFromUriTest, TellsTheDataServiceWhoMayReadAndWrite) {
    const struct {
        DWORD mode;
        const wchar_t* method;
        unsigned long access;
        unsigned long share;
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

TEST_F(CreateStreamFromUriTest, GivesTheLastCallsOwnSuccess) {
    service.createStream = [this](const std::wstring&, IStream** to) {
        static_cast<void>(source.CopyTo(to));
        return S_FALSE;
    };
    EXPECT_EQ(S_FALSE, TKFCreateStreamFromUri(L"http://h/x", READ_SHARED, &stream, factory.Get(), nullptr));
    EXPECT_TRUE(stream);
    EXPECT_EQ(S_OK, Open(L"http://h/x", READ_SHARED));  // here the last call handed the factory back
}

// What a stranger does at one step, and what becomes of it. Each time nothing is handed out, nothing leaks, and the
// next attempt succeeds.
TEST_F(CreateStreamFromUriTest, SurvivesADataServiceThatMisbehaves) {
    using Open_ = std::function<HRESULT(VARIANT*)>;
    using Create = std::function<HRESULT(const std::wstring&, IStream**)>;
    const auto gives = [this](VARTYPE type, bool null) -> Open_ {
        return [this, type, null](VARIANT* accessor) {
            accessor->vt = type;
            accessor->punkVal = null ? nullptr : service.Accessor(L"").Detach();
            return S_OK;
        };
    };
    IUnknown* accessorByReference = nullptr;
    const struct {
        const char* what;
        HRESULT result;
        Open_ openUriAs;
        Create createStream;
    } table[] = {
        {"factory fails", E_ACCESSDENIED, [](VARIANT*) { return E_ACCESSDENIED; }, {}},
        {"factory fails but fills the VARIANT",
         E_ACCESSDENIED,
         [&](VARIANT* accessor) {
             static_cast<void>(gives(VT_UNKNOWN, false)(accessor));
             return E_ACCESSDENIED;
         },
         {}},
        {"factory throws", E_UNEXPECTED, [](VARIANT*) -> HRESULT { throw std::runtime_error("scripted"); }, {}},
        {"factory runs out of memory", E_OUTOFMEMORY, [](VARIANT*) -> HRESULT { throw std::bad_alloc(); }, {}},
        {"no VARIANT", E_FAIL, [](VARIANT*) { return S_OK; }, {}},
        {"null interface", E_FAIL, gives(VT_UNKNOWN, true), {}},
        {"null dispatch interface", E_FAIL, gives(VT_DISPATCH, true), {}},
        {"a string",
         E_FAIL,
         [](VARIANT* accessor) {
             accessor->vt = VT_BSTR;
             accessor->bstrVal = ::SysAllocString(L"accessor");
             return S_OK;
         },
         {}},
        {"an interface by reference",
         E_FAIL,
         [&](VARIANT* accessor) {
             accessor->vt = VT_UNKNOWN | VT_BYREF;
             accessor->ppunkVal = &accessorByReference;
             return S_OK;
         },
         {}},
        {"a VARIANT of no known type",
         E_FAIL,
         [](VARIANT* accessor) {
             accessor->vt = 0x7777;
             accessor->llVal = -1;
             return S_OK;
         },
         {}},
        {"accessor fails", STG_E_ACCESSDENIED, {}, [](auto&, IStream**) { return STG_E_ACCESSDENIED; }},
        {"accessor fails but writes a pointer",
         STG_E_ACCESSDENIED,
         {},
         [](auto&, IStream** to) {
             *to = Poison();
             return STG_E_ACCESSDENIED;
         }},
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
            EXPECT_FALSE(stream);
            EXPECT_FALSE(usedFactory);
            EXPECT_EQ(1, service.LiveObjects());

            service.openUriAs = {};
            service.createStream = healthy;
            EXPECT_EQ(S_OK, Open(L"http://h/x", mode));
        }
    }
}

TEST_F(CreateStreamFromUriTest, TakesAnAccessorInADispatchVariant) {
    service.openUriAs = [this](VARIANT* accessor) {
        accessor->vt = VT_DISPATCH;
        accessor->punkVal = service.Accessor(L"").Detach();
        return S_OK;
    };
    EXPECT_EQ(S_OK, Open(L"http://h/x", READ_SHARED));
    EXPECT_TRUE(stream);
}

TEST_F(CreateStreamFromUriTest, FailsWhenAnObjectLacksTheInterfaceItNeeds) {
    service.isWritable = false;
    EXPECT_EQ(E_NOINTERFACE, Open(L"http://h/x", kTKFStreamRead | kTKFStreamWrite));
    EXPECT_EQ(S_OK, Open(L"http://h/x", kTKFStreamRead));
    service.isWritable = true;
    service.isReadable = false;
    EXPECT_EQ(E_NOINTERFACE, Open(L"http://h/x", kTKFStreamRead));
    EXPECT_EQ(S_OK, Open(L"http://h/x", kTKFStreamRead | kTKFStreamWrite));

    IStream* opened = Poison();
    EXPECT_EQ(E_NOINTERFACE, TKFCreateStreamFromUri(L"http://h/x", READ_SHARED, &opened, source.Get(), nullptr));
    EXPECT_EQ(nullptr, opened);
}

TEST_F(CreateStreamFromUriTest, SaysSoWhenNoDataServiceIsInstalled) {
    factory.Reset();
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
            ComPtr<IStream> stream;
            ComPtr<IUnknown> used;
            EXPECT_EQ(S_OK, TKFCreateStreamFromUri(L"http://h/x", READ_SHARED, &stream, nullptr, &used));
            EXPECT_TRUE(stream);
            ComPtr<IStream> again;
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

TEST(RegisteredComClass, EndsWithTheObject) {
    const CTestApartment entered(COINIT_APARTMENTTHREADED);
    CFakeDataService service;
    ComPtr<IUnknown> made;
    {
        const CRegisteredComClass registered(CLSID_TKDSUriAccessFactory, service.Creator());
        EXPECT_EQ(S_OK, ::CoCreateInstance(CLSID_TKDSUriAccessFactory, nullptr, CLSCTX_ALL, IID_PPV_ARGS(&made)));
        made.Reset();
    }
    EXPECT_EQ(REGDB_E_CLASSNOTREG,
              ::CoCreateInstance(CLSID_TKDSUriAccessFactory, nullptr, CLSCTX_ALL, IID_PPV_ARGS(&made)));
}

}  // namespace
