// What the filter makes of the data-service layer's metadata classes, healthy and otherwise.
#include "filter/DataServiceMimeType.h"

#include "tests/filter/CFakeMetadataService.h"
#include "tests/filter/FilterTest.h"

namespace {

using Fault = CFakeMetadataService::Fault;
using Texts = std::vector<std::wstring>;

const Texts kCalls{L"create reader",
                   L"create keys",
                   L"create options",
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
    CFakeMetadataService service;
    for (const wchar_t* mimeType : {L"Video/MPEG ", L""}) {
        service.mimeType = mimeType;
        EXPECT_EQ(Texts{mimeType}, MimeTypeFromDataServices(&content)) << "as it is";
    }
    service.mimeType.reset();
    service.calls.clear();
    EXPECT_EQ(Texts{}, MimeTypeFromDataServices(&content)) << "no such key";
    EXPECT_EQ(kCalls, service.calls);
    EXPECT_EQ(&content, service.extracted);
    EXPECT_EQ(0, service.liveObjects);
    EXPECT_EQ(0u, content.References());
}

TEST(DataServiceMimeTypeTest, AFaultAtAnyStepEndsTheSearchWithNothing) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    Stream content("content");
    CFakeMetadataService service;
    const auto expectNothing = [&](const std::wstring& call, Fault fault, const std::wstring& lastCall) {
        SCOPED_TRACE(testing::PrintToString(call));
        service.faultyCall = call;
        service.fault = fault;
        EXPECT_EQ(Texts{}, MimeTypeFromDataServices(&content));
        EXPECT_EQ(lastCall, service.calls.back());
        EXPECT_EQ(0, service.liveObjects);
        EXPECT_EQ(0u, content.References());
    };
    for (const std::wstring& call : kCalls) {
        expectNothing(call, Fault::Fail, call);
        if (!call.starts_with(L"create"))  // the platform is the caller there
            expectNothing(call, Fault::Throw, call);
    }
    for (const wchar_t* call : {L"create reader", L"create keys", L"create options", L"GetGeneralMetaData"})
        expectNothing(call, Fault::GiveNull, call);
    expectNothing(L"CreateMetaData", Fault::GiveNull, L"Extract keys");
    service.faultyCall = L"GetConstAccessor";
    EXPECT_EQ(Texts{L"video/mpeg"}, MimeTypeFromDataServices(&content)) << "the reader is asked to do without keys";
}

}  // namespace
