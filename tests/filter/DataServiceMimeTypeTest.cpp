// What the filter makes of the data-service layer's metadata classes, healthy and otherwise.
#include "filter/DataServiceMimeType.h"

#include "tests/filter/CFakeMetadataService.h"
#include "tests/support/CScriptedStream.h"
#include "tests/support/CTestApartment.h"

using Fault = CFakeMetadataService::Fault;
using MimeTypes = std::vector<std::wstring>;

namespace {

const std::vector<std::wstring> kSteps{
    L"create reader",  L"create keys", L"create options",     L"Insert -1 TKDS.MetaData.MimeType", L"GetConstAccessor",
    L"CreateMetaData", L"Extract +++", L"GetGeneralMetaData", L"GetValue TKDS.MetaData.MimeType",
};

struct DataServiceMimeTypeTest : ::testing::Test {
    const CTestApartment apartment{COINIT_MULTITHREADED};
    CScriptedStream content{"content"};
    CFakeMetadataService service;
};

TEST_F(DataServiceMimeTypeTest, AsksForTheMimeTypeAndReleasesInReverseOrder) {
    EXPECT_EQ(MimeTypes{L"video/mpeg"}, MimeTypeFromDataServices(&content));
    std::vector<std::wstring> expected = kSteps;
    for (const wchar_t* object : {L"properties", L"metadata", L"key set", L"options", L"keys", L"reader"})
        expected.push_back(std::wstring(L"released ") + object);
    EXPECT_EQ(expected, service.Events());
    EXPECT_EQ(&content, service.Extracted());
    EXPECT_EQ(0u, content.References());
}

TEST_F(DataServiceMimeTypeTest, AnyStepThatFailsOrThrowsEndsTheSearchWithNothing) {
    for (size_t step = 0; step < kSteps.size(); ++step) {
        for (const Fault fault : {Fault::Fail, Fault::Throw}) {
            const bool isCreation = step < 3;  // the platform is the caller there
            if (isCreation && fault == Fault::Throw)
                continue;
            const std::wstring name = isCreation ? kSteps[step] : kSteps[step].substr(0, kSteps[step].find(L' '));
            SCOPED_TRACE(testing::PrintToString(name));
            const size_t before = service.Events().size();
            service.fault = {{name, fault}};
            EXPECT_EQ(MimeTypes{}, MimeTypeFromDataServices(&content));
            const auto events = service.Events();
            ASSERT_GT(events.size(), before + step);
            EXPECT_TRUE(std::equal(kSteps.begin(), kSteps.begin() + static_cast<std::ptrdiff_t>(step) + 1,
                                   events.begin() + static_cast<std::ptrdiff_t>(before)));
            EXPECT_TRUE(events.size() == before + step + 1 || events[before + step + 1].starts_with(L"released "));
            EXPECT_EQ(0, service.LiveObjects());
            EXPECT_EQ(0u, content.References());
        }
    }
    service.fault.reset();
    EXPECT_EQ(MimeTypes{L"video/mpeg"}, MimeTypeFromDataServices(&content)) << "no fault lasts";
}

TEST_F(DataServiceMimeTypeTest, SuccessWithoutAnObjectIsSurvived) {
    const struct {
        const wchar_t* step;
        const wchar_t* lastStep;
        bool isFound;
    } cases[] = {
        {L"create reader", L"create reader", false},
        {L"create keys", L"create keys", false},
        {L"create options", L"create options", false},
        {L"GetConstAccessor", L"GetValue TKDS.MetaData.MimeType", true},  // the reader is asked to do without
        {L"CreateMetaData", L"Extract ++-", false},
        {L"GetGeneralMetaData", L"GetGeneralMetaData", false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.step));
        const size_t before = service.Events().size();
        service.fault = {{c.step, Fault::GiveNull}};
        EXPECT_EQ(c.isFound ? MimeTypes{L"video/mpeg"} : MimeTypes{}, MimeTypeFromDataServices(&content));
        std::wstring lastStep;
        const auto events = service.Events();
        for (size_t i = before; i < events.size() && !events[i].starts_with(L"released "); ++i)
            lastStep = events[i];
        EXPECT_EQ(c.lastStep, lastStep);
        EXPECT_EQ(0, service.LiveObjects());
    }
}

TEST_F(DataServiceMimeTypeTest, TheValueCountsInItsTextForm) {
    const auto value = [](VARTYPE type, LONG number, HRESULT hr) {
        return [=](VARIANT* out) {
            out->vt = type;
            out->lVal = number;
            return hr;
        };
    };
    const struct {
        const char* name;
        std::function<HRESULT(VARIANT*)> getValue;
        MimeTypes expected;
    } cases[] = {
        {"text as it is", CFakeMetadataService::TextValue(L"Video/MPEG "), {L"Video/MPEG "}},
        {"empty text", CFakeMetadataService::TextValue(L""), {L""}},
        {"null text",
         [](VARIANT* out) {
             out->vt = VT_BSTR;
             out->bstrVal = nullptr;
             return S_OK;
         },
         {L""}},
        {"number", value(VT_I4, 42, S_OK), {L"42"}},
        {"no value", value(VT_EMPTY, 0, S_OK), {}},
        {"null value", value(VT_NULL, 0, S_OK), {}},
        {"no such key", value(VT_EMPTY, 0, S_FALSE), {}},
        {"an object", value(VT_UNKNOWN, 0, S_OK), {}},
        {"an error code", value(VT_ERROR, E_FAIL, S_OK), {}},
        {"a type that isn't", value(0x7FF, 1, S_OK), {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        service.getValue = c.getValue;
        EXPECT_EQ(c.expected, MimeTypeFromDataServices(&content));
        EXPECT_EQ(0, service.LiveObjects());
    }
}

TEST(DataServiceMimeTypeWithoutServiceTest, NoServiceGivesNoMimeType) {
    CScriptedStream content("content");
    EXPECT_EQ(MimeTypes{}, MimeTypeFromDataServices(&content)) << "a thread outside COM";
    const CTestApartment apartment(COINIT_MULTITHREADED);
    EXPECT_EQ(MimeTypes{}, MimeTypeFromDataServices(&content));
    EXPECT_EQ(0, content.Calls());
}

}  // namespace
