// What the filter makes of the data-service layer's metadata classes, healthy and otherwise.
#include "filter/DataServiceMimeType.h"

#include "tests/filter/FilterTest.h"
#include "tests/support/CFakeDataLayer.h"

namespace {

using Fault = CFakeDataLayer::Fault;
using Texts = std::vector<std::wstring>;

const Texts kCalls{L"create TKDSMetaDataReader",
                   L"create TKCFStringList",
                   L"create TKDSMetaDataExtractionOptions",
                   L"Insert -1 TKDS.MetaData.MimeType",
                   L"GetConstAccessor",
                   L"CreateMetaData",
                   L"Extract keys metadata",
                   L"GetGeneralMetaData",
                   L"GetValue TKDS.MetaData.MimeType"};

TEST(DataServiceMimeTypeTest, TheMimeTypeIsAskedForStepByStep) {
    Stream content("content");
    EXPECT_EQ(Texts{}, MimeTypeFromDataServices(&content)) << "a thread outside COM";
    const CTestApartment apartment(COINIT_MULTITHREADED);
    EXPECT_EQ(Texts{}, MimeTypeFromDataServices(&content)) << "no service";
    CFakeDataLayer layer;
    for (const wchar_t* mimeType : {L"Video/MPEG ", L""}) {
        layer.value = mimeType;
        EXPECT_EQ(Texts{mimeType}, MimeTypeFromDataServices(&content)) << "as it is";
    }
    layer.value = nullptr;
    layer.TakeSteps();
    EXPECT_EQ(Texts{}, MimeTypeFromDataServices(&content)) << "no such key";
    EXPECT_EQ(kCalls, layer.TakeSteps());
    EXPECT_EQ(&content, layer.extracted);
    EXPECT_EQ(0u, layer.References());
    EXPECT_EQ(0u, content.References());
}

TEST(DataServiceMimeTypeTest, AFaultAtAnyStepEndsTheSearchWithNothing) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    Stream content("content");
    CFakeDataLayer layer;
    layer.value = L"video/mpeg";
    const auto expectNothing = [&](const std::wstring& call, Fault fault, const std::wstring& lastCall) {
        SCOPED_TRACE(testing::PrintToString(call));
        layer.faults = {{call, fault}};
        EXPECT_EQ(Texts{}, MimeTypeFromDataServices(&content));
        EXPECT_EQ(lastCall, layer.TakeSteps().back());
        EXPECT_EQ(0u, layer.References());
        EXPECT_EQ(0u, content.References());
    };
    for (const std::wstring& call : kCalls) {
        expectNothing(call, Fault::Fail, call);
        if (!call.starts_with(L"create"))  // the platform is the caller there
            expectNothing(call, Fault::Throw, call);
    }
    for (const wchar_t* call : {L"create TKDSMetaDataReader", L"create TKCFStringList",
                                L"create TKDSMetaDataExtractionOptions", L"GetConstAccessor", L"GetGeneralMetaData"})
        expectNothing(call, Fault::GiveNull, call);
    expectNothing(L"CreateMetaData", Fault::GiveNull, L"Extract keys");
}

}  // namespace
