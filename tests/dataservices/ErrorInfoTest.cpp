// What hosts read from GetErrorInfo after a call of the layer has failed.
#include "diagnostics/ComErrors.h"
#include "tests/dataservices/LayerTest.h"
#include "tests/support/CScriptedStream.h"
#include "tests/support/CTempFile.h"
#include "tests/support/ErrorInfo.h"

#include <functional>
#include <future>

namespace {

constexpr wchar_t kNotFoundText[] = L"TK: Element was not found.",
                  kExistsText[] = L"TK: Specified element does already exist.",
                  kRangeText[] = L"TK: The value is out of range.";
const ErrorInfoSeen kOlder = ErrorInfoOf(L"an older one", __uuidof(IStream));

// A list that a host brings itself.
struct CHostList final : CTestObject<ITKCFConstStringList, ISupportErrorInfo> {
    STDMETHODIMP GetCount(long*) override {
        if (reports)
            SetComErrorInfo(kNotFound, __uuidof(ITKCFConstStringList), L"the host's", 0, nullptr, nullptr);
        return kNotFound;
    }
    STDMETHODIMP GetItem(long, BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP InterfaceSupportsErrorInfo(REFIID iid) override {
        return reports && iid == __uuidof(ITKCFConstStringList) ? S_OK : S_FALSE;
    }

    bool reports = false;
};

struct ErrorInfoTest : LayerTest {
    void TearDown() override { EXPECT_EQ(kNoErrorInfo, TakeErrorInfo()) << "each is taken where it is looked for"; }

    // What a call leaves behind where an older failure's error info still was.
    static ErrorInfoSeen After(const std::function<HRESULT()>& call, HRESULT expected) {
        SetComErrorInfo(E_ABORT, __uuidof(IStream), kOlder.first.c_str(), 0, nullptr, nullptr);
        EXPECT_EQ(expected, call());
        return TakeErrorInfo();
    }
    template <class Interface>
    ComPtr<Interface> Accessor(const std::wstring& name, const wchar_t* id) const {
        ComPtr<Interface> accessor;
        EXPECT_EQ(S_OK, Open(name, id, accessor));
        return accessor;
    }
    HRESULT Append() const { return virtualDirectory->AppendChildWithId(item.Get(), name.Get(), name.Get()); }

    const CTempFolder folder;
    const std::wstring missing = folder.PathOf(L"missing");
    const base::CBstr name{L"x"};
    const ComPtr<ITKDSSourceOptions> options = New<ITKDSSourceOptions>(CLSID_TKDSUriAccessFactory);
    const ComPtr<ITKDSDirectory> directory = Accessor<ITKDSDirectory>(folder.PathOf(L""), TKDS_ACCESSOR_DIRECTORY);
    const ComPtr<ITKDSVirtualDirectoryFactory> makers =
        New<ITKDSVirtualDirectoryFactory>(CLSID_TKDSVirtualDirectoryFactory);
    const ComPtr<ITKDSVirtualDirectory> virtualDirectory = [this] {
        ComPtr<ITKDSVirtualDirectory> made;
        EXPECT_EQ(S_OK, makers->CreateVirtualDirectory(&made));
        return made;
    }();
    const ComPtr<ITKDSVirtualDirectoryItem> item = [this] {
        ComPtr<ITKDSVirtualDirectoryItem> made;
        EXPECT_EQ(S_OK, makers->CreateVirtualDirectoryItemFromUri(base::CBstr(L"data:,abc").Get(), &made));
        return made;
    }();
    const ComPtr<ITKCFStringList> list = New<ITKCFStringList>(CLSID_TKCFStringList);
    const ComPtr<ITKDSGetObjectMetaData> object =
        Accessor<ITKDSGetObjectMetaData>(L"data:,abc", TKDS_ACCESSOR_GETOBJECTMETADATA);
    const ComPtr<ITKDSMetaDataReader> reader = New<ITKDSMetaDataReader>(CLSID_TKDSMetaDataReader);
    const ComPtr<ITKDSMetaData> metaData = [] {
        ComPtr<ITKDSMetaData> made;
        EXPECT_EQ(S_OK,
                  New<ITKDSMetaDataExtractionOptions>(CLSID_TKDSMetaDataExtractionOptions)->CreateMetaData(&made));
        return made;
    }();
};

TEST_F(ErrorInfoTest, AFrameworkCodeComesWithItsTextAndInterface) {
    const auto parent = Accessor<ITKDSGetParentInfoForUri>(L"http://host/", TKDS_ACCESSOR_GETPARENTINFOFORURI);
    const auto constant = Keys({});
    ComPtr<ITKCFPropertySet> properties;
    ASSERT_EQ(S_OK, metaData->GetGeneralMetaData(&properties));
    ComPtr<ITKDSDirectory> entries;
    ASSERT_EQ(S_OK, virtualDirectory.As(&entries));
    ASSERT_EQ(S_OK, Append());
    ComPtr<ITKDSCreateStream> gone;
    ComPtr<ITKDSCreateWritableStream> goneToWrite;
    {
        const CTempFile file;
        gone = Accessor<ITKDSCreateStream>(file.Path(), TKDS_ACCESSOR_CREATESTREAM);
        ASSERT_EQ(S_OK, gone.As(&goneToWrite));
    }
    base::CBstr text;
    framework::CVariant value;
    ComPtr<IStream> stream;
    long index = 0;
    const struct {
        const char* what;
        std::function<HRESULT()> call;
        HRESULT code;
        const wchar_t* text;
        IUnknown* object;
        IID iid;
    } rows[] = {
        {"no file", [&] { return OpenAs(missing, TKDS_ACCESSOR_SOURCEINFO); }, kNotFound, kNotFoundText, factory.Get(),
         __uuidof(ITKDSUriAccessFactory)},
        {"no option", [&] { return options->SetOption(name.Get(), {}); }, kNotFound, kNotFoundText, options.Get(),
         __uuidof(ITKDSSourceOptions)},
        {"no option to get", [&] { return options->GetOption(name.Get(), value.Put()); }, kNotFound, kNotFoundText,
         options.Get(), __uuidof(ITKDSSourceOptions)},
        {"file is gone", [&] { return gone->CreateStreamEx2(SC_UseDefault, &stream); }, kNotFound, kNotFoundText,
         gone.Get(), __uuidof(ITKDSCreateStream)},
        {"to be written", [&] { return goneToWrite->CreateWritableStreamEx2(SC_UseDefault, &stream); }, kNotFound,
         kNotFoundText, goneToWrite.Get(), __uuidof(ITKDSCreateWritableStream)},
        {"not listed", [&] { return directory->GetEntryId(0, text.Put()); }, kOutOfRange, kRangeText, directory.Get(),
         __uuidof(ITKDSDirectory)},
        {"no entry", [&] { return OpenEntryAs(directory, L"x"); }, kNotFound, kNotFoundText, directory.Get(),
         __uuidof(ITKDSDirectory)},
        {"no parent", [&] { return parent->GetEntryId(text.Put()); }, kNotFound, kNotFoundText, parent.Get(),
         __uuidof(ITKDSGetParentInfoForUri)},
        {"entry is there", [&] { return Append(); }, kExistsAlready, kExistsText, virtualDirectory.Get(),
         __uuidof(ITKDSVirtualDirectory)},
        {"no child", [&] { return OpenEntryAs(entries, L"y"); }, kNotFound, kNotFoundText, entries.Get(),
         __uuidof(ITKDSDirectory)},
        {"no such item", [&] { return list->IndexOf(name.Get(), &index); }, kNotFound, kNotFoundText, list.Get(),
         __uuidof(ITKCFStringList)},
        {"no place", [&] { return list->Insert(2, name.Get()); }, kOutOfRange, kRangeText, list.Get(),
         __uuidof(ITKCFStringList)},
        {"nothing to remove", [&] { return list->Remove(0); }, kOutOfRange, kRangeText, list.Get(),
         __uuidof(ITKCFStringList)},
        {"no item", [&] { return constant->GetItem(0, text.Put()); }, kOutOfRange, kRangeText, constant.Get(),
         __uuidof(ITKCFConstStringList)},
        {"no key", [&] { return properties->GetKey(0, text.Put()); }, kOutOfRange, kRangeText, properties.Get(),
         __uuidof(ITKCFPropertySet)},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(ErrorInfoOf(row.text, row.iid), After(row.call, row.code));
        EXPECT_EQ(S_OK, ReportsErrorsOf(*row.object, row.iid));
        for (const IID& other :
             {__uuidof(IUnknown), __uuidof(IMarshal), __uuidof(ISupportErrorInfo), __uuidof(IDispatch)})
            EXPECT_EQ(S_FALSE, ReportsErrorsOf(*row.object, other));
        ComPtr<ISupportErrorInfo> support;
        ComPtr<IUnknown> one, same;
        EXPECT_TRUE(row.object->QueryInterface(IID_PPV_ARGS(&support)) == S_OK && support.As(&one) == S_OK &&
                    row.object->QueryInterface(IID_PPV_ARGS(&same)) == S_OK && one.Get() == same.Get());
    }
}

// Whoever finds ISupportErrorInfo takes what is there for that of the last failure.
TEST_F(ErrorInfoTest, OtherFailuresLeaveNoneAndSuccessesWhatWasThere) {
    const auto data = Accessor<ITKDSCreateStream>(L"data:,abc", TKDS_ACCESSOR_CREATESTREAM);
    ComPtr<IStream> stream, none;
    ASSERT_EQ(S_OK, data->CreateStreamEx2(SC_UseDefault, &stream));
    CScriptedStream broken("RIFF");
    char byte = 0;
    const struct {
        const char* what;
        std::function<HRESULT()> call;
        HRESULT code;
    } rows[] = {
        {"unknown scheme", [&] { return OpenAs(L"gopher://host/", TKDS_ACCESSOR_SOURCEINFO); },
         HRESULT_FROM_WIN32(ERROR_NOT_SUPPORTED)},
        {"no such accessor", [&] { return OpenAs(L"data:,abc", L"x"); }, E_NOINTERFACE},
        {"nowhere to put it", [&] { return factory->OpenUriAs(nullptr, nullptr, nullptr); }, E_POINTER},
        {"a text with a NUL", [&] { return list->Add(base::CBstr(std::wstring_view(L"a\0b", 3)).Get()); },
         E_INVALIDARG},
        {"no item", [&] { return virtualDirectory->AppendChildWithId(nullptr, nullptr, nullptr); }, E_POINTER},
        {"wrong share", [&] { return data->CreateStream(TKDS_ACCESS_READ, 8, &none); }, E_INVALIDARG},
        {"no buffer", [&] { return stream->Read(nullptr, 1, nullptr); }, STG_E_INVALIDPOINTER},
        {"before the start", [&] { return stream->Seek({.QuadPart = -1}, STREAM_SEEK_SET, nullptr); },
         STG_E_INVALIDFUNCTION},
        {"read-only", [&] { return stream->Write(&byte, 1, nullptr); }, STG_E_ACCESSDENIED},
        {"no locks", [&] { return stream->LockRegion({}, {}, 0); }, STG_E_INVALIDFUNCTION},
        {"nowhere to clone to", [&] { return stream->Clone(nullptr); }, E_POINTER},
        {"it has a name", [&] { return list->Add(name.Get()); }, S_OK},
        {"no such entry", [&] { return directory->HasEntry(name.Get()); }, S_FALSE},
        {"the end", [&] { return stream->Read(&byte, 0, nullptr); }, S_OK},
        {"a type", [&] { return reader->CanExtract(stream.Get()); }, S_FALSE},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(SUCCEEDED(row.code) ? kOlder : kNoErrorInfo, After(row.call, row.code));
    }
    for (const IID& iid : {__uuidof(IStream), __uuidof(ISequentialStream)})
        EXPECT_EQ(S_OK, ReportsErrorsOf(*stream.Get(), iid));
}

// The platform uses these numbers, too. What the host's own objects answer is passed on, with what they say of it.
TEST_F(ErrorInfoTest, AHostsObjectSpeaksForItself) {
    CHostList keys;
    CScriptedStream content("RIFF");
    ComPtr<ITKDSMetaData> made;
    const std::function<HRESULT()> calls[] = {
        [&] { return object->GetObjectMetaData(0, &keys, &made); },
        [&] { return reader->Extract(&keys, &content, metaData.Get()); },
    };
    for (const auto& call : calls) {
        keys.reports = false;
        EXPECT_EQ(kNoErrorInfo, After(call, kNotFound)) << "it reports nothing";
        keys.reports = true;
        EXPECT_EQ(ErrorInfoOf(L"the host's", __uuidof(ITKCFConstStringList)), After(call, kNotFound));
    }
    constexpr auto kNoConnection = static_cast<HRESULT>(0x80040004);  // OLE's, of a stream that is a link's
    content.On(CScriptedStream::ReadCall, 0, {.result = kNoConnection});
    EXPECT_EQ(kNoErrorInfo, After([&] { return reader->CanExtract(&content); }, kNoConnection));
    EXPECT_EQ(0u, keys.References() + content.References());
}

TEST_F(ErrorInfoTest, ItIsThereForTheCallingThreadAlone) {
    ComPtr<IStream> packet;
    ASSERT_EQ(S_OK, ::CoMarshalInterThreadInterfaceInStream(__uuidof(ITKDSUriAccessFactory), factory.Get(), &packet));
    std::async(std::launch::async, [&] {
        const CTestApartment apartment(COINIT_APARTMENTTHREADED);
        ComPtr<ITKDSUriAccessFactory> here;
        ASSERT_EQ(S_OK, ::CoGetInterfaceAndReleaseStream(packet.Detach(), IID_PPV_ARGS(&here)));
        framework::CVariant accessor;
        EXPECT_EQ(kNotFound, here->OpenUriAs(base::CBstr(missing.c_str()).Get(),
                                             base::CBstr(TKDS_ACCESSOR_SOURCEINFO).Get(), accessor.Put()));
        EXPECT_EQ(S_OK, ReportsErrorsOf(*here.Get(), __uuidof(ITKDSUriAccessFactory)));
        EXPECT_EQ(ErrorInfoOf(kNotFoundText, __uuidof(ITKDSUriAccessFactory)), TakeErrorInfo());
    }).get();
}

}  // namespace
