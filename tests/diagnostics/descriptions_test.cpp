#include "diagnostics/CDescriptions.h"
#include "tests/support/CRecordingLogger.h"

#include <gtest/gtest.h>

#include <objbase.h>

using namespace TKRuntimeLogger;

namespace {

struct CNumberDescriptions final : CLongDescriptions {
    CNumberDescriptions(const wchar_t* typeName, bool rawOnly) : CLongDescriptions(typeName, {{1, L"one"}}, rawOnly) {}
};

TEST(DescriptionsTest, KnownCodesAndTablesWithoutNamesAreNotComplainedAbout) {
    const std::pair<long, const wchar_t*> events[] = {{1, L"0x00000001 / 1 (EC_COMPLETE)"},
                                                      {14, L"0x0000000E / 14 (EC_PAUSED)"},
                                                      {83, L"0x00000053 / 83 (EC_VMR_RENDERDEVICE_SET)"},
                                                      {33025, L"0x00008101 / 33025 (EC_FILE_CURRENT_AUDIO_STREAM_NUM)"},
                                                      {33034, L"0x0000810A / 33034 (EC_FILE_SCRAMBLED)"}};
    const std::pair<HRESULT, const wchar_t*> results[] = {
        {E_FAIL, L"0x80004005 / -2147467259 (E_FAIL (Generic error))"},
        {static_cast<HRESULT>(0x8876017C), L"0x8876017C / -2005532292 (D3DERR_OUTOFVIDEOMEMORY (Out of video memory))"},
    };
    CPublishedLogger published;
    OnNewThread([&] {
        for (const auto& [code, text] : events)
            EXPECT_EQ(text, DShowEventDescriptions().Describe(code));
        for (const auto& [code, text] : results)
            EXPECT_EQ(text, HresultDescriptions()(code));
        const CNumberDescriptions raw(L"number", true), nameless(L"", false);
        EXPECT_EQ(L"0x00000001 / 1", raw.Describe(1));
        EXPECT_EQ(L"0x00000002 / 2", nameless.Describe(2));
    });
    EXPECT_TRUE(published->Records().empty());
}

TEST(DescriptionsTest, UnknownCodesAreComplainedAboutByKindAtEveryLookup) {
    const auto complaint = [](const wchar_t* function, const wchar_t* message) {
        return LoggedRecord{
            1, L"LOGGER_DESCRIPTIONS", ::GetCurrentProcessId(), 0, L"TKRuntimeLoggerAPI", 0, function, message};
    };
    const wchar_t* const longLookup = L"CDescriptions<long,struct std::less<long> >::operator ()";
    const wchar_t* const guidLookup = L"CDescriptions<struct _GUID,struct GUIDLess>::operator ()";
    CPublishedLogger published;
    OnNewThread([] {
        for (int i = 0; i < 2; ++i)
            EXPECT_EQ(L"0x00000000 / 0", HresultDescriptions().Describe(S_OK));
        EXPECT_EQ(L"0x00008100 / 33024", DShowEventDescriptions().Describe(0x8100));
        EXPECT_EQ(L"{00000000-0000-0000-C000-000000000046}", GuidDescriptions().Describe(IID_IUnknown));
    });
    auto records = published->Records();
    for (LoggedRecord& record : records)
        record.threadId = 0, record.line = 0;
    const auto success = complaint(longLookup, L"Missing Description for HRESULT: 0x00000000 / 0");
    const auto event = complaint(longLookup, L"Missing Description for DirectShowEventCode: 0x00008100 / 33024");
    const auto guid = complaint(guidLookup, L"Missing Description for GUID: {00000000-0000-0000-C000-000000000046}");
    EXPECT_EQ((std::vector{success, success, event, guid}), records);
}

TEST(DescriptionsTest, GuidsAreOrderedByTheirBytes) {
    const GUID low{0x00000100, 0, 0, {}}, high{0x00000001, 0, 0, {}};  // the first bytes are 0 and 1
    EXPECT_TRUE(GUIDLess()(low, high) && !GUIDLess()(high, low));
}

}  // namespace
