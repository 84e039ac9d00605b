// Ways to an entry of the data-service layer, and what is asked of it, with a layer that fails at every step in turn.
#include "tests/Helper/FileAccessTest.h"
#include "tests/support/CImportHook.h"
#include "tests/support/CScriptedStream.h"

using FileAccess::CDirEntryWrapper;

namespace {

constexpr HRESULT kFault = CFakeDirectories::kFault;
constexpr wchar_t kNoParent[] = L"OpenUriAs TKDS.Accessor.GetParentInfoForUri";
constexpr wchar_t kFileUrl[] = L"file:///C:/a%20b/c%20d.avi";
constexpr wchar_t kWebUrl[] = L"http://host/a b?c#d";

struct CDirEntryWrapperTest : FileAccessTest {
    using Operation = std::function<HRESULT()>;

    // Finds the entry for `uri`; on success asks it for its URI, which tells in the steps where it stands.
    Operation Find(const std::wstring& uri) {
        return [=] {
            ComPtr<CDirEntryWrapper> entry;
            *entry.GetAddressOf() = reinterpret_cast<CDirEntryWrapper*>(1);
            const HRESULT hr = CDirEntryWrapper::CreateFromURI(uri.c_str(), entry.GetAddressOf());
            EXPECT_EQ(SUCCEEDED(hr), entry != nullptr);
            CBstr text;
            EXPECT_TRUE(!entry || entry->GetUri(text.Put()) == S_OK);
            return hr;
        };
    }

    // Calls a method of the entry `id`, whose out-pointer must be written in any case; `result` has what it gives.
    template <class Result>
    Operation Ask(HRESULT (CDirEntryWrapper::*method)(Result**) const noexcept, bool hasDirectory = true) {
        return [=, this] {
            ComPtr<CDirEntryWrapper> entry;
            ITKDSDirectory* const directory = hasDirectory ? &layer : nullptr;
            EXPECT_EQ(S_OK, CDirEntryWrapper::CreateFromEntry(directory, L"id", entry.GetAddressOf()));
            Result* given = reinterpret_cast<Result*>(1);
            const HRESULT hr = (entry.Get()->*method)(&given);
            EXPECT_EQ(SUCCEEDED(hr), given != nullptr);
            if constexpr (std::is_same_v<Result, OLECHAR>) {
                CBstr text;
                *text.Put() = given;
                result = text.View();
            } else if (given) {
                given->Release();
            }
            return hr;
        };
    }

    CScriptedStream stream;
    std::wstring result;
};

TEST_F(CDirEntryWrapperTest, FindsAnEntryInTheFirstPlaceThatKnowsIt) {
    const std::wstring create = L"create TKDSUriAccessFactory", own = L"OpenEntryAs TKDS.Accessor.SourceInfo ";
    std::wstring longPath = L"C:";
    while (longPath.size() < 1000)
        longPath += L"\\a folder";
    const struct {
        std::wstring uri;
        std::map<std::wstring, Fault> faults;
        Texts steps;  // behind the question for the parent
        std::wstring entryId;
    } table[] = {
        {kWebUrl, {}, {L"GetParentDirectory", L"GetEntryId"}, L"entry 7"},
        {kFileUrl, {}, {L"GetParentDirectory", L"GetEntryId"}, L"entry 7"},
        {kWebUrl, {{L"GetEntryId", Fault::GiveNull}}, {L"GetParentDirectory", L"GetEntryId"}, L""},
        {kFileUrl, {{kNoParent, Fault::Fail}}, {LR"(OpenUriAs TKDS.Accessor.Directory C:\a b\)"}, L"c d.avi"},
        {LR"(C:\a%20b\c#d)",
         {{L"GetParentDirectory", Fault::GiveNull}},
         {L"GetParentDirectory", LR"(OpenUriAs TKDS.Accessor.Directory C:\a%20b\)"},
         L"c#d"},
        {longPath + L"\\x",
         {{kNoParent, Fault::Fail}},
         {L"OpenUriAs TKDS.Accessor.Directory " + longPath + L"\\"},
         L"x"},
        {L"file://server/share/a%20b",
         {{kNoParent, Fault::Fail}},
         {LR"(OpenUriAs TKDS.Accessor.Directory \\server\share\)"},
         L"a b"},
        {kWebUrl,
         {{kNoParent, Fault::Fail}},
         {L"create TKDSVirtualDirectoryFactory", L"CreateVirtualDirectory",
          std::wstring(L"CreateVirtualDirectoryItemFromUri ") + kWebUrl,
          std::wstring(L"AppendChildWithId ") + kWebUrl + L" " + kWebUrl},
         kWebUrl},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(::testing::PrintToString(row.uri));
        layer.faults = row.faults;
        EXPECT_EQ(S_OK, Run(Find(row.uri)));
        Texts expected{create, kNoParent + (L" " + row.uri)};
        expected.insert(expected.end(), row.steps.begin(), row.steps.end());
        expected.insert(expected.end(), {own + row.entryId, L"GetUri"});
        EXPECT_EQ(expected, layer.TakeSteps());
        EXPECT_EQ(Texts{}, TakeLog());
    }
}

TEST_F(CDirEntryWrapperTest, AFailureBeforeAParentIsKnownIsLoggedAndDropped) {
    const std::wstring function = L"CDirEntryWrapper::CreateFromURI";
    layer.refused = __uuidof(ITKDSGetParentInfoForUri);
    EXPECT_EQ(S_OK, Run(Find(kWebUrl)));
    EXPECT_EQ(Texts{Failed(function, E_NOINTERFACE, L"CopyVariantToComPointer(variant, &pGetParentInfoForUri)")},
              TakeLog());
    layer.refused.reset();
    layer.faults = {{L"GetParentDirectory", Fault::Fail}};
    EXPECT_EQ(S_OK, Run(Find(kFileUrl)));
    EXPECT_EQ(Texts{Failed(function, kFault, L"pGetParentInfoForUri->GetParentDirectory(&pDirectory)")}, TakeLog());

    // No way leads on from there if the URI does not parse.
    EXPECT_EQ(E_POINTER, Run(Find(L"http://h:99999/")));
    EXPECT_EQ((Texts{Failed(function, kFault, L"pGetParentInfoForUri->GetParentDirectory(&pDirectory)"),
                     Error(function, L"pointer pUri is null"), Ended(function, E_POINTER)}),
              TakeLog());
}

// What fails last decides, is logged with its own text, and leaves nothing behind; the next attempt succeeds.
TEST_F(CDirEntryWrapperTest, EachStepThatFailsEndsTheFunctionWithItsFailure) {
    const wchar_t uri[] = L"CDirEntryWrapper::CreateFromURI", own[] = L"CDirEntryWrapper::GetUri",
                  compatible[] = L"CDirEntryWrapper::GetCompatibleUri", open[] = L"CDirEntryWrapper::CreateStream",
                  access[] = L"CDirEntryWrapper::GetAccessor", byUri[] = L"GetObjectMetaDataFromUri";
    const auto createFactory = L"pUriAccessFactory.CoCreateInstance(__uuidof(TKDSUriAccessFactory))";
    const Operation web = Find(kWebUrl), file = Find(kFileUrl), getOwn = Ask(&CDirEntryWrapper::GetUri),
                    getCompatible = Ask(&CDirEntryWrapper::GetCompatibleUri),
                    createStream = Ask(&CDirEntryWrapper::CreateStream);
    const Operation getAccessor = [&] {
        ComPtr<CDirEntryWrapper> entry;
        EXPECT_EQ(S_OK, CDirEntryWrapper::CreateFromEntry(nullptr, kWebUrl, entry.GetAddressOf()));
        VARIANT accessor;
        accessor.vt = VT_BSTR;  // not initialised: nothing there is to be freed
        accessor.bstrVal = reinterpret_cast<BSTR>(1);
        const HRESULT hr = entry->GetAccessor(TKDS_ACCESSOR_DIRECTORY, &accessor);
        EXPECT_EQ(SUCCEEDED(hr) ? VT_UNKNOWN : VT_EMPTY, accessor.vt);
        ::VariantClear(&accessor);
        return hr;
    };
    const Operation fetch = [] {
        ITKDSMetaData* metaData = reinterpret_cast<ITKDSMetaData*>(1);
        const HRESULT hr = FileAccess::GetObjectMetaDataFromUri(kWebUrl, 5, &metaData);
        EXPECT_EQ(SUCCEEDED(hr), metaData != nullptr);
        if (metaData)
            metaData->Release();
        return hr;
    };
    const struct {
        const wchar_t* function;
        const Operation& run;
        std::wstring step;
        const wchar_t* call;
        HRESULT whenNull;  // of success without a result; E_PENDING: the step has none
    } table[] = {
        {uri, web, L"create TKDSUriAccessFactory", createFactory, E_FAIL},
        {uri, web, L"GetEntryId", L"pGetParentInfoForUri->GetEntryId(&bstrEntryId)", S_OK},
        {uri, file, L"OpenUriAs TKDS.Accessor.Directory",
         L"pUriAccessFactory->OpenUriAs(CComBSTR(wszDir), CComBSTR(TKDS_ACCESSOR_DIRECTORY), &variant)", E_FAIL},
        {uri, web, L"create TKDSVirtualDirectoryFactory",
         L"pVDFactory.CoCreateInstance(__uuidof(TKDSVirtualDirectoryFactory))", E_FAIL},
        {uri, web, L"CreateVirtualDirectory", L"pVDFactory->CreateVirtualDirectory(&pVirtualDirectory)", E_FAIL},
        {uri, web, L"CreateVirtualDirectoryItemFromUri",
         L"pVDFactory->CreateVirtualDirectoryItemFromUri(CComBSTR(wszUri), &pVirtualDirectoryItem)", E_FAIL},
        {uri, web, L"AppendChildWithId",
         L"pVirtualDirectory->AppendChildWithId(pVirtualDirectoryItem, CComBSTR(wszUri), CComBSTR(wszUri))", E_PENDING},
        {access, getAccessor, L"create TKDSUriAccessFactory", createFactory, E_FAIL},
        {access, getAccessor, L"OpenUriAs",
         L"pUriAccessFactory->OpenUriAs(m_strUri.ToBSTR(),CComBSTR(wszAccessorId),pAccessor)", S_OK},
        {own, getOwn, L"OpenEntryAs", L"GetAccessor(TKDS_ACCESSOR_SOURCEINFO,&pSourceInfo)", E_FAIL},
        {own, getOwn, L"GetUri", L"pSourceInfo->GetUri(&bstrUri)", E_PENDING},
        {compatible, getCompatible, L"OpenEntryAs TKDS.Accessor.GetObjectMetaData",
         L"GetAccessor(TKDS_ACCESSOR_GETOBJECTMETADATA,&pGetObjectMetaData)", E_FAIL},
        {compatible, getCompatible, L"create TKCFStringList",
         L"pRequestList.CoCreateInstance(__uuidof(TKCFStringList))", E_FAIL},
        {compatible, getCompatible, L"Add", L"pRequestList->Add(CComBSTR(mdOriginalUri))", E_PENDING},
        {compatible, getCompatible, L"GetConstAccessor", L"pRequestList->GetConstAccessor(&pConstRequestList)", E_FAIL},
        {compatible, getCompatible, L"GetObjectMetaData",
         L"pGetObjectMetaData->GetObjectMetaData(GetMetaDataExtractFromObjectIfOutdated,pConstRequestList,&pMetaData)",
         E_POINTER},
        {compatible, getCompatible, L"GetGeneralMetaData", L"pMetaData->GetGeneralMetaData(&pProperties)", S_OK},
        {open, createStream, L"OpenEntryAs", L"GetAccessor(TKDS_ACCESSOR_CREATESTREAM,&pCreateStream)", E_FAIL},
        {open, createStream, L"CreateStreamEx2", L"pCreateStream->CreateStreamEx2(SC_UseDefault, ppStream)", E_FAIL},
        {byUri, fetch, L"create TKDSUriAccessFactory", createFactory, E_FAIL},
        {byUri, fetch, L"OpenUriAs TKDS.Accessor.GetObjectMetaData http",
         L"pUriAccessFactory->OpenUriAs(CComBSTR(wszUri),CComBSTR(TKDS_ACCESSOR_GETOBJECTMETADATA),&Variant)", E_FAIL},
        {byUri, fetch, L"GetAllObjectMetaData 5", L"pGetObjectMetaData->GetObjectMetaData(dwFlags,&pMetaData)",
         E_POINTER},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(::testing::PrintToString(row.step));
        layer.stream = &stream;
        const auto run = [&](Fault fault) {
            layer.faults = {{row.step, fault}};
            if (row.function == uri && row.step != L"GetEntryId")
                layer.faults.emplace(kNoParent, Fault::Fail);
            const HRESULT hr = Run(row.run);
            EXPECT_EQ(0u, stream.References());
            return hr;
        };
        EXPECT_EQ(kFault, run(Fault::Fail));
        EXPECT_EQ((Texts{Failed(row.function, kFault, row.call), Ended(row.function, kFault)}), TakeLog());
        EXPECT_TRUE(row.whenNull == E_PENDING || run(Fault::GiveNull) == row.whenNull);
        const Texts log = TakeLog();
        if (row.whenNull == E_POINTER) {
            EXPECT_EQ((Texts{Error(row.function, L"pointer pMetaData is null"), Ended(row.function, E_POINTER)}), log);
        }
        if (!row.step.starts_with(L"create ")) {  // the platform is the caller there
            EXPECT_EQ(E_UNEXPECTED, run(Fault::Throw));
            EXPECT_EQ(Ended(row.function, E_UNEXPECTED), TakeLog().back());
        }
        EXPECT_EQ(S_OK, run(Fault::None));
        EXPECT_EQ(Texts{}, TakeLog());
    }
}

TEST_F(CDirEntryWrapperTest, TheCompatibleUriIsTheOriginalOneWhereThereIsOne) {
    const Operation getCompatible = Ask(&CDirEntryWrapper::GetCompatibleUri);
    const Texts steps{L"OpenEntryAs TKDS.Accessor.GetObjectMetaData id",
                      L"create TKCFStringList",
                      L"Add TKDS.MetaData.OriginalURI",
                      L"GetConstAccessor",
                      L"GetObjectMetaData 1 with keys",
                      L"GetGeneralMetaData",
                      L"GetValue TKDS.MetaData.OriginalURI"};
    layer.originalUri = L"original";
    EXPECT_EQ(S_OK, Run(getCompatible));
    EXPECT_EQ(L"original", result);
    EXPECT_EQ(steps, layer.TakeSteps());
    layer.faults = {{L"GetValue", Fault::Fail}};
    EXPECT_EQ(S_OK, Run(getCompatible));
    EXPECT_EQ(L"own uri", result);
    layer.faults = {};
    layer.originalUri.reset();
    EXPECT_EQ(S_OK, Run(getCompatible));
    EXPECT_EQ(L"own uri", result);
    EXPECT_EQ(Texts{}, TakeLog());
}

TEST_F(CDirEntryWrapperTest, AnEntryWithoutADirectoryIsItsIdAsAUri) {
    const wchar_t own[] = L"CDirEntryWrapper::GetUri", compatible[] = L"CDirEntryWrapper::GetCompatibleUri";
    EXPECT_EQ(E_POINTER, Run(Ask(&CDirEntryWrapper::GetUri, false)));
    EXPECT_EQ(E_POINTER, Run(Ask(&CDirEntryWrapper::GetCompatibleUri, false)));
    EXPECT_EQ((Texts{Error(own, L"pointer m_pDirectory is null"), Ended(own, E_POINTER),
                     Error(compatible, L"pointer m_pDirectory is null"), Ended(compatible, E_POINTER)}),
              TakeLog());
    layer.stream = &stream;
    EXPECT_EQ(S_OK, Run(Ask(&CDirEntryWrapper::CreateStream, false)));
    EXPECT_EQ((Texts{L"create TKDSUriAccessFactory", L"OpenUriAs TKDS.Accessor.CreateStream id", L"CreateStreamEx2"}),
              layer.TakeSteps());
}

TEST_F(CDirEntryWrapperTest, WhatADirectoryAnswersIsNotLogged) {
    layer.faults = {{L"OpenEntryAs", Fault::Fail}};
    EXPECT_EQ(kFault, Run([&] {
                  ComPtr<CDirEntryWrapper> entry;
                  EXPECT_EQ(S_OK, CDirEntryWrapper::CreateFromEntry(&layer, L"", entry.GetAddressOf()));
                  VARIANT accessor;
                  return entry->GetAccessor(TKDS_ACCESSOR_SOURCEINFO, &accessor);
              }));
    EXPECT_EQ(Texts{}, TakeLog());
}

TEST_F(CDirEntryWrapperTest, RefusesNothingToFindAndNowhereToPutIt) {
    Run([&] {
        ComPtr<CDirEntryWrapper> entry;
        EXPECT_EQ(E_FAIL, CDirEntryWrapper::CreateFromEntry(nullptr, nullptr, entry.GetAddressOf()));
        EXPECT_EQ(E_FAIL, CDirEntryWrapper::CreateFromEntry(nullptr, L"", entry.GetAddressOf()));
        EXPECT_EQ(S_OK, CDirEntryWrapper::CreateFromEntry(nullptr, L"id", entry.GetAddressOf()));
        EXPECT_EQ(E_POINTER, CDirEntryWrapper::CreateFromURI(L"id", nullptr));
        EXPECT_EQ(E_POINTER, CDirEntryWrapper::CreateFromEntry(&layer, L"id", nullptr));
        EXPECT_EQ(E_POINTER, entry->GetAccessor(L"", nullptr));
        EXPECT_EQ(E_POINTER, entry->GetUri(nullptr));
        EXPECT_EQ(E_POINTER, entry->GetCompatibleUri(nullptr));
        EXPECT_EQ(E_POINTER, entry->CreateStream(nullptr));
        return S_OK;
    });
    const Texts log = TakeLog();
    ASSERT_EQ(14u, log.size());
    EXPECT_EQ(Ended(L"CDirEntryWrapper::CreateFromEntry", E_FAIL), log[0]);
    EXPECT_EQ(Error(L"CDirEntryWrapper::CreateStream", L"retval pointer ppStream is null"), log[12]);
    EXPECT_EQ(Texts{}, layer.TakeSteps());
}

BSTR WINAPI NoString(const OLECHAR*) {
    return nullptr;
}

TEST_F(CDirEntryWrapperTest, OutOfMemoryIsAResult) {
    for (const wchar_t* uri : {kFileUrl, kWebUrl}) {
        EXPECT_EQ(E_OUTOFMEMORY, Run([&] {
                      const CImportHook hook("SysAllocString", &NoString);
                      EXPECT_TRUE(hook.IsSet());
                      return Find(uri)();
                  }));
    }
}

}  // namespace
