// What the filter makes of the data-service layer's metadata classes, healthy and otherwise.
#include "filter/DataServiceMimeType.h"

#include "tests/support/CFakeDataLayer.h"
#include "tests/support/FilterTest.h"

namespace {

using Fault = CFakeDataLayer::Fault;
using Texts = std::vector<std::wstring>;

TEST(DataServiceMimeTypeTest, AFaultAtAnyStepEndsTheSearchForTheMimeType) {
    Stream content("content");
    EXPECT_EQ(Texts{}, filter::MimeTypeFromDataServices(&content)) << "a thread outside COM";
    const CTestApartment apartment(COINIT_MULTITHREADED);
    EXPECT_EQ(Texts{}, filter::MimeTypeFromDataServices(&content)) << "no service";
    CFakeDataLayer layer;
    const auto expect = [&](const Texts& types, const std::wstring& lastStep) {
        EXPECT_EQ(types, filter::MimeTypeFromDataServices(&content));
        EXPECT_EQ(lastStep, layer.TakeSteps().back());
        EXPECT_EQ(0u, layer.References());
        EXPECT_EQ(0u, content.References());
    };
    const std::wstring lastStep = L"GetValue TKDS.MetaData.MimeType";
    expect({}, lastStep);  // no such key
    for (const wchar_t* mimeType : {L"Video/MPEG ", L""}) {
        layer.value = mimeType;
        expect({mimeType}, lastStep);  // as it is
        EXPECT_EQ(&content, layer.extracted);
    }
    const Texts steps{L"create TKDSMetaDataReader",
                      L"create TKCFStringList",
                      L"create TKDSMetaDataExtractionOptions",
                      L"Insert -1 TKDS.MetaData.MimeType",
                      L"GetConstAccessor",
                      L"CreateMetaData",
                      L"Extract keys metadata",
                      L"GetGeneralMetaData",
                      lastStep};
    for (const std::wstring& step : steps) {
        SCOPED_TRACE(testing::PrintToString(step));
        layer.faults = {{step, Fault::Fail}};
        expect({}, step);
    }
    layer.faults = {{lastStep, Fault::Throw}};
    expect({}, lastStep);
    layer.faults = {{L"CreateMetaData", Fault::GiveNull}};
    expect({}, L"Extract keys");
}

}  // namespace
