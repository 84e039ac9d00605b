// The filter object as a foreign host sees it: its interfaces, its pin, its life in the DLL.
#include "diagnostics/CAutoDestructor.h"
#include "framework/com/CTaskMem.h"
#include "tests/filter/CFilterHost.h"
#include "tests/support/CTempFile.h"
#include "tests/support/CTestApartment.h"

#include <uuids.h>
#include <vfwmsgs.h>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

using Microsoft::WRL::ComPtr;

namespace {

constexpr DWORD kApartments[] = {COINIT_MULTITHREADED, COINIT_APARTMENTTHREADED};

// An object that aggregates the filter.
class COuter final : public IUnknown {
public:
    std::atomic<ULONG> references{1};
    ComPtr<IUnknown> inner;

    virtual ~COuter() = default;
    STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
        *object = nullptr;
        if (iid != __uuidof(IUnknown))
            return inner->QueryInterface(iid, object);
        *object = this;
        AddRef();
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++references; }
    STDMETHODIMP_(ULONG) Release() override { return --references; }
};

void ExpectInterfaces(IUnknown* object, std::initializer_list<std::pair<IID, HRESULT>> expected) {
    int row = 0;
    for (const auto& [iid, result] : expected) {
        SCOPED_TRACE(row++);
        auto* face = reinterpret_cast<IUnknown*>(1);
        EXPECT_EQ(result, object->QueryInterface(iid, reinterpret_cast<void**>(&face)));
        EXPECT_EQ(SUCCEEDED(result), face != nullptr);
        if (SUCCEEDED(result) && face)
            face->Release();
    }
    EXPECT_EQ(E_POINTER, object->QueryInterface(__uuidof(IUnknown), nullptr));
}

TEST(FilterObject, AnswersItsOwnInterfacesInEitherApartment) {
    for (const DWORD flags : kApartments) {
        SCOPED_TRACE(flags);
        std::thread([&] {
            const CTestApartment apartment(flags);
            CFilterHost host;
            ASSERT_EQ(S_OK, host.Create());
            ExpectInterfaces(host.Unknown(), {{__uuidof(IUnknown), S_OK},
                                              {__uuidof(IPersist), S_OK},
                                              {__uuidof(IMediaFilter), S_OK},
                                              {__uuidof(IBaseFilter), S_OK},
                                              {__uuidof(IAMovieSetup), S_OK},
                                              {__uuidof(IFileSourceFilter), S_OK},
                                              {__uuidof(IAMFilterMiscFlags), S_OK},
                                              {__uuidof(ITavelIStreamFileSource), S_OK},
                                              {__uuidof(IDataFlowControl), S_OK},
                                              {__uuidof(IAsyncReader), E_NOINTERFACE},
                                              {__uuidof(IStream), E_NOINTERFACE},
                                              {__uuidof(IPin), E_NOINTERFACE},
                                              {GUID_NULL, E_NOINTERFACE}});
            ExpectInterfaces(host.Pin().Get(), {{__uuidof(IUnknown), S_OK},
                                                {__uuidof(IPin), S_OK},
                                                {__uuidof(IQualityControl), S_OK},
                                                {__uuidof(IAsyncReader), S_OK},
                                                {__uuidof(IStream), S_OK},
                                                {__uuidof(ISequentialStream), S_OK},
                                                {__uuidof(IBaseFilter), E_NOINTERFACE},
                                                {__uuidof(IFileSourceFilter), E_NOINTERFACE}});
            EXPECT_EQ(0u, host.Release());
        }).join();
    }
}

TEST(FilterObject, LendsItsInterfacesToTheObjectThatAggregatesIt) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    CFilterHost host;
    COuter outer;
    ComPtr<IBaseFilter> refused;
    EXPECT_EQ(E_NOINTERFACE, host.Factory()->CreateInstance(&outer, IID_PPV_ARGS(&refused)));
    EXPECT_FALSE(refused);

    ASSERT_EQ(S_OK, host.Create(&outer));
    outer.inner = host.Unknown();
    EXPECT_NE(&outer, host.Unknown());
    EXPECT_EQ(1u, outer.references);
    {
        ComPtr<IFileSourceFilter> source;
        ASSERT_EQ(S_OK, outer.QueryInterface(IID_PPV_ARGS(&source)));
        EXPECT_EQ(2u, outer.references);
        ComPtr<IUnknown> identity;
        EXPECT_EQ(S_OK, source.As(&identity));
        EXPECT_EQ(&outer, identity.Get());
    }
    {
        const ComPtr<IPin> pin = host.Pin();  // a reference to the pin is one to the whole object
        EXPECT_EQ(2u, outer.references);
    }
    outer.inner.Reset();
    EXPECT_EQ(1u, outer.references);
    EXPECT_EQ(0u, host.Release());
}

TEST(FilterObject, HasOnePinCalledOutput) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    CFilterHost host;
    ASSERT_EQ(S_OK, host.Create());
    const auto filter = host.As<IBaseFilter>();

    ComPtr<IEnumPins> pins;
    ASSERT_EQ(S_OK, filter->EnumPins(&pins));
    IPin* found[2]{};
    ULONG count = 99;
    EXPECT_EQ(S_FALSE, pins->Next(2, found, &count));
    ASSERT_EQ(1u, count);
    ComPtr<IPin> pin;
    *pin.GetAddressOf() = found[0];
    EXPECT_EQ(host.Pin().Get(), pin.Get());

    PIN_INFO info{};
    ASSERT_EQ(S_OK, pin->QueryPinInfo(&info));
    EXPECT_STREQ(L"Output", info.achName);
    EXPECT_EQ(PINDIR_OUTPUT, info.dir);
    EXPECT_EQ(filter.Get(), info.pFilter);
    info.pFilter->Release();
    CTaskMem<wchar_t> id;
    EXPECT_EQ(S_OK, pin->QueryId(id.Put()));
    EXPECT_STREQ(L"Output", id.Get());

    for (const wchar_t* name : {L"", L"output", L"Output ", L"In"}) {
        auto* none = reinterpret_cast<IPin*>(1);
        EXPECT_EQ(VFW_E_NOT_FOUND, filter->FindPin(name, &none)) << name;
        EXPECT_EQ(nullptr, none);
    }
    EXPECT_EQ(E_POINTER, filter->FindPin(L"Output", nullptr));
    EXPECT_EQ(E_POINTER, filter->EnumPins(nullptr));
}

TEST(FilterObject, SaysWhatItIs) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    CFilterHost host;
    ASSERT_EQ(S_OK, host.Create());
    CLSID clsid{};
    EXPECT_EQ(S_OK, host.As<IBaseFilter>()->GetClassID(&clsid));
    EXPECT_EQ(CLSID_TvFileSourceAsync, clsid);
    EXPECT_EQ(2u, host.As<IAMFilterMiscFlags>()->GetMiscFlags());  // a source
    auto* vendor = reinterpret_cast<wchar_t*>(1);
    EXPECT_EQ(E_NOTIMPL, host.As<IBaseFilter>()->QueryVendorInfo(&vendor));
    FILTER_STATE state = State_Running;
    EXPECT_EQ(S_OK, host.As<IBaseFilter>()->GetState(0, &state));
    EXPECT_EQ(State_Stopped, state);
}

TEST(FilterObject, OffersNothingBeforeTheFirstSource) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    CFilterHost host;
    ASSERT_EQ(S_OK, host.Create());
    const auto source = host.As<IFileSourceFilter>();
    auto* name = reinterpret_cast<wchar_t*>(1);
    AM_MEDIA_TYPE type{};
    EXPECT_EQ(E_FAIL, source->GetCurFile(&name, &type));
    EXPECT_EQ(nullptr, name);
    EXPECT_EQ(GUID_NULL, type.majortype);
    EXPECT_EQ(E_POINTER, source->GetCurFile(nullptr, &type));

    ComPtr<IEnumMediaTypes> types;
    ASSERT_EQ(S_OK, host.Pin()->EnumMediaTypes(&types));
    AM_MEDIA_TYPE* offered = nullptr;
    EXPECT_EQ(S_FALSE, types->Next(1, &offered, nullptr));
}

TEST(FilterObject, KeepsACopyOfTheTypeOfItsOwn) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    const CTempFile file("0123456789");
    CFilterHost host;
    ASSERT_EQ(S_OK, host.Create());
    BYTE format[] = {1, 2, 3};
    AM_MEDIA_TYPE given{};
    given.majortype = MEDIATYPE_Video;
    given.subtype = MEDIASUBTYPE_Avi;
    given.formattype = FORMAT_VideoInfo;
    given.lSampleSize = 7;
    given.cbFormat = sizeof(format);
    given.pbFormat = format;
    ASSERT_EQ(S_OK, host.As<IFileSourceFilter>()->Load(file.Path().c_str(), &given));
    format[0] = 9;  // the caller's own from now on

    BYTE* blocks[2]{};
    for (BYTE*& block : blocks) {
        CTaskMem<wchar_t> name;
        AM_MEDIA_TYPE got{};
        ASSERT_EQ(S_OK, host.As<IFileSourceFilter>()->GetCurFile(name.Put(), &got));
        EXPECT_EQ(file.Path(), name.Get());
        EXPECT_EQ(MEDIATYPE_Video, got.majortype);
        EXPECT_EQ(MEDIASUBTYPE_Avi, got.subtype);
        EXPECT_EQ(FORMAT_VideoInfo, got.formattype);
        EXPECT_EQ(7u, got.lSampleSize);
        ASSERT_EQ(3u, got.cbFormat);
        EXPECT_EQ(1, got.pbFormat[0]);
        got.pbFormat[0] = 8;
        block = got.pbFormat;
    }
    EXPECT_NE(blocks[0], blocks[1]);
    for (BYTE* block : blocks)
        ::CoTaskMemFree(block);
    EXPECT_EQ(file.Path(), host.CurrentName());  // the type may be left out

    // The pin offers a byte stream, whatever the major type was.
    ComPtr<IEnumMediaTypes> types;
    ASSERT_EQ(S_OK, host.Pin()->EnumMediaTypes(&types));
    AM_MEDIA_TYPE* offered = nullptr;
    ASSERT_EQ(S_OK, types->Next(1, &offered, nullptr));
    EXPECT_EQ(MEDIATYPE_Stream, offered->majortype);
    EXPECT_EQ(MEDIASUBTYPE_Avi, offered->subtype);
    EXPECT_EQ(GUID_NULL, offered->formattype);
    EXPECT_EQ(0u, offered->cbFormat);
    ::CoTaskMemFree(offered);
    EXPECT_EQ(S_FALSE, types->Next(1, &offered, nullptr));
}

TEST(FilterModule, MayGoWhenNothingOfItIsAlive) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    CFilterHost host;
    EXPECT_EQ(S_OK, host.CanUnloadNow());
    ASSERT_EQ(S_OK, host.Create());
    EXPECT_EQ(S_FALSE, host.CanUnloadNow());
    {
        const ComPtr<IPin> pin = host.Pin();  // keeps the filter, too
        EXPECT_EQ(1u, host.Release());
        EXPECT_EQ(S_FALSE, host.CanUnloadNow());
    }
    EXPECT_EQ(S_OK, host.CanUnloadNow());
    {
        const ComPtr<IClassFactory> factory = host.Factory();
        EXPECT_EQ(S_FALSE, host.CanUnloadNow());
        EXPECT_EQ(S_OK, factory->LockServer(TRUE));
    }
    EXPECT_EQ(S_FALSE, host.CanUnloadNow());
    EXPECT_EQ(S_OK, host.Factory()->LockServer(FALSE));
    EXPECT_EQ(S_OK, host.CanUnloadNow());
}

TEST(FilterModule, ServesItsOneClassOnly) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    const CFilterHost host;
    struct {
        CLSID clsid;
        IID iid;
        HRESULT result;
    } const cases[] = {{CLSID_TvFileSourceAsync, __uuidof(IUnknown), S_OK},
                       {CLSID_TvFileSourceAsync, __uuidof(IBaseFilter), E_NOINTERFACE},
                       {CLSID_AsyncReader, __uuidof(IClassFactory), CLASS_E_CLASSNOTAVAILABLE},
                       {CLSID_NULL, __uuidof(IClassFactory), CLASS_E_CLASSNOTAVAILABLE}};
    for (const auto& row : cases) {
        auto* object = reinterpret_cast<IUnknown*>(1);
        EXPECT_EQ(row.result, host.GetClassObject(row.clsid, row.iid, reinterpret_cast<void**>(&object)));
        EXPECT_EQ(SUCCEEDED(row.result), object != nullptr);
        if (SUCCEEDED(row.result) && object)
            object->Release();
    }
    EXPECT_EQ(E_POINTER, host.GetClassObject(CLSID_TvFileSourceAsync, __uuidof(IUnknown), nullptr));
}

// Its creation thread ends with it, also when it has had no time to begin.
TEST(FilterModule, LeavesNothingBehindWhenFiltersGoAtOnce) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    CFilterHost host;
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(S_OK, host.Create());
        EXPECT_EQ(0u, host.Release());
    }
    EXPECT_EQ(S_OK, host.CanUnloadNow());
}

}  // namespace
