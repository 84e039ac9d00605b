// Ways to an entry of the data-service layer, and what is asked of it, with a layer that fails at every step in turn.
#include "tests/Helper/FileAccessTest.h"

using FileAccess::CDirEntryWrapper;

namespace {

using Operation = std::function<HRESULT()>;

constexpr wchar_t kNoParent[] = L"OpenUriAs TKDS.Accessor.GetParentInfoForUri";
constexpr wchar_t kFileUrl[] = L"file:///C:/a%20b/c%20d.avi";
constexpr wchar_t kWebUrl[] = L"http://host/a b?c#d";
constexpr wchar_t kFind[] = L"CDirEntryWrapper::CreateFromURI";

struct CDirEntryWrapperTest : FileAccessTest {
    // Finds the entry for `uri`; on success asks the entry for its URI, so that the steps show where the entry stands.
    static Operation Find(const std::wstring& uri) {
        return [=] {
            return Open<CDirEntryWrapper>([&](CDirEntryWrapper** to) {
                const HRESULT hr = CDirEntryWrapper::CreateFromURI(uri.c_str(), to);
                base::CBstr text;
                EXPECT_TRUE(FAILED(hr) || (*to)->GetUri(text.Put()) == S_OK);
                return hr;
            });
        };
    }
    static ComPtr<CDirEntryWrapper> Entry(ITKDSDirectory* directory, const wchar_t* id = L"id") {
        ComPtr<CDirEntryWrapper> entry;
        EXPECT_EQ(S_OK, CDirEntryWrapper::CreateFromEntry(directory, id, entry.GetAddressOf()));
        return entry;
    }
    // Asks the entry "id" for a text, which becomes `result`.
    Operation Ask(HRESULT (CDirEntryWrapper::*method)(BSTR*) const noexcept, bool hasDirectory = true) {
        return [=, this] {
            BSTR given = reinterpret_cast<BSTR>(1);
            const HRESULT hr = (Entry(hasDirectory ? &layer : nullptr).Get()->*method)(&given);
            EXPECT_EQ(SUCCEEDED(hr), given != nullptr);
            base::CBstr text;
            *text.Put() = given;
            result = text.View();
            return hr;
        };
    }
    // The VARIANT that is passed in may hold anything: nothing in it may be freed.
    static Operation GetAccessor(ITKDSDirectory* directory) {
        return [=] {
            VARIANT accessor;
            accessor.vt = VT_BSTR;
            accessor.bstrVal = reinterpret_cast<BSTR>(1);
            const HRESULT hr = Entry(directory, kWebUrl)->GetAccessor(TKDS_ACCESSOR_DIRECTORY, &accessor);
            EXPECT_EQ(SUCCEEDED(hr) ? VT_UNKNOWN : VT_EMPTY, accessor.vt);
            ::VariantClear(&accessor);
            return hr;
        };
    }

    const Operation getOwn = Ask(&CDirEntryWrapper::GetUri), getCompatible = Ask(&CDirEntryWrapper::GetCompatibleUri);
    std::wstring result;
};

TEST_F(CDirEntryWrapperTest, FindsAnEntryInTheFirstPlaceThatKnowsIt) {
    const std::wstring longFolder = L"C:\\" + std::wstring(1000, L'd') + L"\\";
    const Texts parent{L"GetParentDirectory", L"GetEntryId"};
    const auto in = [](const std::wstring& path) { return Texts{L"OpenUriAs TKDS.Accessor.Directory " + path}; };
    const auto alone = [](const std::wstring& uri) {
        return Texts{L"create TKDSVirtualDirectoryFactory", L"CreateVirtualDirectory",
                     L"CreateVirtualDirectoryItemFromUri " + uri, L"AppendChildWithId " + uri + L" " + uri};
    };
    const struct {
        std::wstring uri;
        Texts steps;  // behind the question for the parent
        std::wstring entryId;
    } table[] = {
        {kWebUrl, parent, L"entry 7"},
        {kFileUrl, parent, L"entry 7"},
        {kFileUrl, in(LR"(C:\a b\)"), L"c d.avi"},
        {LR"(C:\a%20b\c#d)", in(LR"(C:\a%20b\)"), L"c#d"},
        {longFolder + L"x", in(longFolder), L"x"},
        {L"file://server/share/a%20b", in(LR"(\\server\share\)"), L"a b"},
        {L"clip.avi", in(L""), L"clip.avi"},
        {LR"(C:\a\b\..)", in(LR"(C:\)"), L"a"},
        {LR"(C:\a\..)", alone(LR"(C:\a\..)"), LR"(C:\a\..)"},
        {LR"(C:\a\x. )", in(LR"(C:\a\)"), L"x. "},
        {L"file://server/share/a/..", alone(L"file://server/share/a/.."), L"file://server/share/a/.."},
        {LR"(\\server\share\)", alone(LR"(\\server\share\)"), LR"(\\server\share\)"},
        {kWebUrl, alone(kWebUrl), kWebUrl},
        {L"file://server:80/x", alone(L"file://server:80/x"), L"file://server:80/x"},
        {L"file:", alone(L"file:"), L"file:"},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(::testing::PrintToString(row.uri));
        layer.faults = {{kNoParent, row.steps == parent ? Fault::None : Fault::Fail}};
        EXPECT_EQ(S_OK, Run(Find(row.uri)));
        Texts expected{L"create TKDSUriAccessFactory", kNoParent + (L" " + row.uri)};
        expected.insert(expected.end(), row.steps.begin(), row.steps.end());
        expected.insert(expected.end(), {L"OpenEntryAs TKDS.Accessor.SourceInfo " + row.entryId, L"GetUri"});
        EXPECT_EQ(expected, layer.TakeSteps());
        EXPECT_EQ(Texts{}, TakeLog());
    }
}

TEST_F(CDirEntryWrapperTest, AFailureToFindAParentIsOnlyLogged) {
    const auto getParent = L"pGetParentInfoForUri->GetParentDirectory(&pDirectory)";
    const auto expect = [&](const std::wstring& step, Fault fault, HRESULT failure, const wchar_t* call) {
        layer.faults = {{step, fault}};
        EXPECT_EQ(S_OK, Run(Find(kFileUrl)));
        ExpectLog(kFind, call, failure, S_OK);
    };
    expect(kNoParent, Fault::Throw, E_UNEXPECTED, nullptr);  // of most URIs no parent is known
    expect(layer.Answer(__uuidof(ITKDSGetParentInfoForUri)), Fault::Fail, kFault,
           L"CopyVariantToComPointer(variant, &pGetParentInfoForUri)");
    expect(L"GetParentDirectory", Fault::Throw, E_UNEXPECTED, getParent);
    expect(L"GetParentDirectory", Fault::GiveNull, S_OK, getParent);
    expect(L"GetParentDirectory", Fault::Fail, kFault, getParent);
    // If the URI doesn't parse, nothing else is tried.
    EXPECT_EQ(E_POINTER, Run(Find(L"http://h:99999/")));
    EXPECT_EQ((Texts{Failed(kFind, kFault, getParent), Error(kFind, L"pointer pUri is null"), Ended(kFind, E_POINTER)}),
              TakeLog());
}

// The last failure decides the result and is logged. It leaves nothing behind, and the next attempt succeeds.
TEST_F(CDirEntryWrapperTest, EachStepThatFailsEndsTheFunctionWithItsFailure) {
    constexpr HRESULT kNoResult = E_PENDING;
    const auto createFactory = L"pUriAccessFactory.CoCreateInstance(__uuidof(TKDSUriAccessFactory))",
               asDirectory = L"CopyVariantToComPointer(variant,&pDirectory)",
               asMetaData = L"CopyVariantToComPointer(Variant,&pGetObjectMetaData)";
    const auto answerDirectory = layer.Answer(__uuidof(ITKDSDirectory));
    struct Row {
        std::wstring step;
        const wchar_t* call;
        HRESULT whenNull;                // what success without a result leads to; kNoResult: the step has none
        const wchar_t* nullCall = call;  // the call that fails then
    };
    layer.stream = &stream;
    const auto failAtEach = [&](const std::wstring& function, const Operation& run, const std::vector<Row>& rows) {
        for (const Row& row : rows) {
            SCOPED_TRACE(::testing::PrintToString(row.step));
            const auto expect = [&](Fault fault, HRESULT hr, const std::wstring& record = {}) {
                const Fault noParent = row.step == L"GetEntryId" ? Fault::None : Fault::Fail;
                layer.faults = {{row.step, fault}, {kNoParent, noParent}};
                EXPECT_EQ(hr, Run(run));
                EXPECT_EQ(FAILED(hr) ? Texts({record, Ended(function, hr)}) : Texts{}, TakeLog());
            };
            expect(Fault::Fail, kFault, Failed(function, kFault, row.call));
            if (row.whenNull == E_POINTER)
                expect(Fault::GiveNull, E_POINTER, Error(function, L"pointer pMetaData is null"));
            else if (row.whenNull != kNoResult)
                expect(Fault::GiveNull, row.whenNull, Failed(function, row.whenNull, row.nullCall));
            if (!row.step.starts_with(L"create "))  // the platform is the caller there
                expect(Fault::Throw, E_UNEXPECTED, Failed(function, E_UNEXPECTED, row.call));
            expect(Fault::None, S_OK);
        }
        EXPECT_TRUE(WasTimed(function));
    };
    failAtEach(kFind, Find(kFileUrl),
               {{L"OpenUriAs TKDS.Accessor.Directory",
                 L"pUriAccessFactory->OpenUriAs(CComBSTR(wszDir), CComBSTR(TKDS_ACCESSOR_DIRECTORY), &variant)", E_FAIL,
                 asDirectory},
                {answerDirectory, asDirectory, E_NOINTERFACE},
                {L"GetEntryId", L"pGetParentInfoForUri->GetEntryId(&bstrEntryId)", S_OK}});
    failAtEach(kFind, Find(kWebUrl),
               {{L"create TKDSUriAccessFactory", createFactory, E_FAIL},
                {L"create TKDSVirtualDirectoryFactory",
                 L"pVDFactory.CoCreateInstance(__uuidof(TKDSVirtualDirectoryFactory))", E_FAIL},
                {L"CreateVirtualDirectory", L"pVDFactory->CreateVirtualDirectory(&pVirtualDirectory)", E_FAIL},
                {L"CreateVirtualDirectoryItemFromUri",
                 L"pVDFactory->CreateVirtualDirectoryItemFromUri(CComBSTR(wszUri), &pVirtualDirectoryItem)", E_FAIL},
                {L"AppendChildWithId",
                 L"pVirtualDirectory->AppendChildWithId(pVirtualDirectoryItem, CComBSTR(wszUri), CComBSTR(wszUri))",
                 kNoResult},
                {answerDirectory, L"pVirtualDirectory.QueryInterface(&pDirectory)", E_NOINTERFACE}});
    failAtEach(L"CDirEntryWrapper::GetAccessor", GetAccessor(nullptr),
               {{L"create TKDSUriAccessFactory", createFactory, E_FAIL},
                {L"OpenUriAs TKDS.Accessor.Directory http://host/a b?c#d",
                 L"pUriAccessFactory->OpenUriAs(m_strUri.ToBSTR(),CComBSTR(wszAccessorId),pAccessor)", S_OK}});
    failAtEach(
        L"CDirEntryWrapper::GetUri", getOwn,
        {{L"OpenEntryAs TKDS.Accessor.SourceInfo id", L"GetAccessor(TKDS_ACCESSOR_SOURCEINFO,&pSourceInfo)", E_FAIL},
         {L"GetUri", L"pSourceInfo->GetUri(&bstrUri)", kNoResult}});
    failAtEach(L"CDirEntryWrapper::GetCompatibleUri", getCompatible,
               {{L"OpenEntryAs TKDS.Accessor.GetObjectMetaData id",
                 L"GetAccessor(TKDS_ACCESSOR_GETOBJECTMETADATA,&pGetObjectMetaData)", E_FAIL},
                {L"create TKCFStringList", L"pRequestList.CoCreateInstance(__uuidof(TKCFStringList))", E_FAIL},
                {L"Add TKDS.MetaData.OriginalURI", L"pRequestList->Add(CComBSTR(mdOriginalUri))", kNoResult},
                {L"GetConstAccessor", L"pRequestList->GetConstAccessor(&pConstRequestList)", E_FAIL},
                {L"GetObjectMetaData 1 with keys",
                 L"pGetObjectMetaData->GetObjectMetaData(GetMetaDataExtractFromObjectIfOutdated,pConstRequestList,"
                 L"&pMetaData)",
                 E_POINTER},
                {L"GetGeneralMetaData", L"pMetaData->GetGeneralMetaData(&pProperties)", S_OK}});
    failAtEach(L"CDirEntryWrapper::CreateStream",
               [&] { return Open<IStream>([&](IStream** to) { return Entry(&layer)->CreateStream(to); }); },
               {{L"OpenEntryAs TKDS.Accessor.CreateStream id",
                 L"GetAccessor(TKDS_ACCESSOR_CREATESTREAM,&pCreateStream)", E_FAIL},
                {L"CreateStreamEx2", L"pCreateStream->CreateStreamEx2(SC_UseDefault, ppStream)", E_FAIL}});
    failAtEach(L"GetObjectMetaDataFromUri",
               [] {
                   return Open<ITKDSMetaData>(
                       [](ITKDSMetaData** to) { return FileAccess::GetObjectMetaDataFromUri(kWebUrl, 5, to); });
               },
               {{L"create TKDSUriAccessFactory", createFactory, E_FAIL},
                {L"OpenUriAs TKDS.Accessor.GetObjectMetaData http://host/a b?c#d",
                 L"pUriAccessFactory->OpenUriAs(CComBSTR(wszUri),CComBSTR(TKDS_ACCESSOR_GETOBJECTMETADATA),&Variant)",
                 E_FAIL, asMetaData},
                {layer.Answer(__uuidof(ITKDSGetObjectMetaData)), asMetaData, E_NOINTERFACE},
                {L"GetAllObjectMetaData 5", L"pGetObjectMetaData->GetObjectMetaData(dwFlags,&pMetaData)", E_POINTER}});
}

TEST_F(CDirEntryWrapperTest, TheCompatibleUriIsTheOriginalOneWhereThereIsOne) {
    const std::wstring own = L"own uri";
    for (const wchar_t* const original : std::initializer_list<const wchar_t*>{L"original", L"", nullptr}) {
        layer.value = original;
        EXPECT_EQ(S_OK, Run(getCompatible));
        EXPECT_EQ(original && *original ? original : own, result);
    }
    layer.value = L"original";
    layer.faults = {{L"GetValue TKDS.MetaData.OriginalURI", Fault::Fail}};
    EXPECT_EQ(S_OK, Run(getCompatible));
    EXPECT_EQ(own, result);
    // What a directory itself answers isn't logged either.
    layer.faults = {{L"OpenEntryAs", Fault::Fail}};
    EXPECT_EQ(kFault, Run(GetAccessor(&layer)));
    EXPECT_EQ(Texts{}, TakeLog());
}

TEST_F(CDirEntryWrapperTest, RefusesMissingArguments) {
    for (const auto method : {&CDirEntryWrapper::GetUri, &CDirEntryWrapper::GetCompatibleUri})
        EXPECT_EQ(E_POINTER, Run(Ask(method, false)));
    Run([&] {
        const auto entry = Entry(&layer, L"");
        CDirEntryWrapper* made = nullptr;
        EXPECT_EQ(E_FAIL, CDirEntryWrapper::CreateFromEntry(nullptr, nullptr, &made));
        EXPECT_EQ(E_FAIL, CDirEntryWrapper::CreateFromEntry(nullptr, L"", &made));
        EXPECT_EQ(E_POINTER, CDirEntryWrapper::CreateFromURI(L"id", nullptr));
        EXPECT_EQ(E_POINTER, CDirEntryWrapper::CreateFromEntry(&layer, L"id", nullptr));
        EXPECT_EQ(E_POINTER, entry->GetAccessor(L"", nullptr));
        EXPECT_EQ(E_POINTER, entry->GetUri(nullptr));
        EXPECT_EQ(E_POINTER, entry->GetCompatibleUri(nullptr));
        EXPECT_EQ(E_POINTER, entry->CreateStream(nullptr));
        return S_OK;
    });
    const Texts log = TakeLog();
    ASSERT_EQ(18u, log.size());
    EXPECT_EQ(Error(L"CDirEntryWrapper::GetUri", L"pointer m_pDirectory is null"), log[0]);
    EXPECT_EQ(Ended(L"CDirEntryWrapper::CreateFromEntry", E_FAIL), log[4]);
    EXPECT_EQ(Error(L"CDirEntryWrapper::CreateStream", L"retval pointer ppStream is null"), log[16]);
    EXPECT_EQ(Texts{}, layer.TakeSteps());
    EXPECT_TRUE(WasTimed(L"CDirEntryWrapper::CreateFromEntry"));
}

BSTR WINAPI NoString(const OLECHAR*) {
    return nullptr;
}

TEST_F(CDirEntryWrapperTest, OutOfMemoryIsAResult) {
    for (const wchar_t* uri : {kFileUrl, kWebUrl})
        EXPECT_EQ(E_OUTOFMEMORY, Run([&] {
                      const CImportHook hook("SysAllocString", &NoString);
                      return Find(uri)();
                  }));
}

}  // namespace
