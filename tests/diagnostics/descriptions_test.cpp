#include "diagnostics/CDescriptions.h"
#include "tests/support/CRecordingLogger.h"

#include <gtest/gtest.h>

#include <objbase.h>

using namespace TKRuntimeLogger;

namespace {

constexpr wchar_t kLongLookup[] = L"CDescriptions<long,struct std::less<long> >::operator ()";
constexpr wchar_t kGuidLookup[] = L"CDescriptions<struct _GUID,struct GUIDLess>::operator ()";

// What the one complaint of `lookup` says; the rest of the record is checked on the way.
std::wstring ComplaintOf(const std::wstring& function, const std::function<void()>& lookup) {
    CPublishedLogger published;
    OnNewThread(lookup);
    const auto records = published->Records();
    if (records.size() != 1)
        return std::to_wstring(records.size()) + L" records";
    EXPECT_EQ(1, records[0].severity);
    EXPECT_EQ(L"LOGGER_DESCRIPTIONS", records[0].category);
    EXPECT_EQ(L"TKRuntimeLoggerAPI", records[0].file);
    EXPECT_EQ(function, records[0].function);
    return records[0].message;
}

class CNumberDescriptions final : public CLongDescriptions {
public:
    CNumberDescriptions(std::wstring typeName, bool rawOnly)
        : CLongDescriptions(std::move(typeName), {{1, L"one"}}, rawOnly) {}
};

TEST(DescriptionsTest, KnownCodesCarryTheirNamesAndAreNotComplainedAbout) {
    const std::pair<long, const wchar_t*> events[] = {
        {1, L"0x00000001 / 1 (EC_COMPLETE)"},
        {2, L"0x00000002 / 2 (EC_USERABORT)"},
        {3, L"0x00000003 / 3 (EC_ERRORABORT)"},
        {10, L"0x0000000A / 10 (EC_VIDEO_SIZE_CHANGED)"},
        {13, L"0x0000000D / 13 (EC_CLOCK_CHANGED)"},
        {14, L"0x0000000E / 14 (EC_PAUSED)"},
        {83, L"0x00000053 / 83 (EC_VMR_RENDERDEVICE_SET)"},
        {33025, L"0x00008101 / 33025 (EC_FILE_CURRENT_AUDIO_STREAM_NUM)"},
        {33026, L"0x00008102 / 33026 (EC_FILE_CURRENT_SUBPIC_STREAM_NUM)"},
        {33027, L"0x00008103 / 33027 (EC_FILE_AUDIO_STREAM_INFO)"},
        {33028, L"0x00008104 / 33028 (EC_FILE_SUBPIC_STREAM_INFO)"},
        {33029, L"0x00008105 / 33029 (EC_FILE_CURRENT_VIDEO_STREAM_NUM)"},
        {33030, L"0x00008106 / 33030 (EC_FILE_VIDEO_STREAM_INFO)"},
        {33031, L"0x00008107 / 33031 (EC_FILE_STREAM_INFO_COMPLETED)"},
        {33032, L"0x00008108 / 33032 (EC_FILE_PROGRAM_INFO)"},
        {33033, L"0x00008109 / 33033 (EC_FILE_CURRENT_PROGRAM_NUM)"},
        {33034, L"0x0000810A / 33034 (EC_FILE_SCRAMBLED)"},
    };
    const std::pair<HRESULT, const wchar_t*> results[] = {
        {E_FAIL, L"0x80004005 / -2147467259 (E_FAIL (Generic error))"},
        {E_OUTOFMEMORY, L"0x8007000E / -2147024882 (E_OUTOFMEMORY (Out of memory))"},
        {E_UNEXPECTED, L"0x8000FFFF / -2147418113 (E_UNEXPECTED (Unexpected error))"},
        {E_INVALIDARG, L"0x80070057 / -2147024809 (E_INVALIDARG (Invalid Argument))"},
        {E_POINTER, L"0x80004003 / -2147467261 (E_POINTER (Invalid pointer))"},
        {static_cast<HRESULT>(0x8876017C), L"0x8876017C / -2005532292 (D3DERR_OUTOFVIDEOMEMORY (Out of video memory))"},
    };
    CPublishedLogger published;
    OnNewThread([&] {
        for (const auto& [code, text] : events)
            EXPECT_EQ(text, DShowEventDescriptions().Describe(code));
        for (const auto& [code, text] : results)
            EXPECT_EQ(text, HresultDescriptions()(code));
    });
    EXPECT_TRUE(published->Records().empty());
}

TEST(DescriptionsTest, UnknownCodesAreComplainedAboutByKind) {
    EXPECT_EQ(L"Missing Description for DirectShowEventCode: 0x00008100 / 33024", ComplaintOf(kLongLookup, [] {
                  EXPECT_EQ(L"0x00008100 / 33024", DShowEventDescriptions().Describe(0x8100));
              }));
    EXPECT_EQ(L"Missing Description for HRESULT: 0x80004001 / -2147467263", ComplaintOf(kLongLookup, [] {
                  EXPECT_EQ(L"0x80004001 / -2147467263", HresultDescriptions().Describe(E_NOTIMPL));
              }));
    EXPECT_EQ(L"Missing Description for GUID: {00000000-0000-0000-C000-000000000046}", ComplaintOf(kGuidLookup, [] {
                  EXPECT_EQ(L"{00000000-0000-0000-C000-000000000046}", GuidDescriptions().Describe(IID_IUnknown));
              }));
}

TEST(DescriptionsTest, ComplaintComesAtEveryLookup) {
    CPublishedLogger published;
    OnNewThread([] {
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(L"0x00000000 / 0", HresultDescriptions().Describe(S_OK));
    });
    EXPECT_EQ(3u, published->Records().size());
}

TEST(DescriptionsTest, RawTablesGiveNumbersOnlyAndNamelessTablesDoNotComplain) {
    CPublishedLogger published;
    OnNewThread([] {
        const CNumberDescriptions raw(L"number", true);
        EXPECT_EQ(L"0x00000001 / 1", raw.Describe(1));
        EXPECT_EQ(L"0x00000002 / 2", raw.Describe(2));
        const CNumberDescriptions nameless(L"", false);
        EXPECT_EQ(L"0x00000001 / 1 (one)", nameless.Describe(1));
        EXPECT_EQ(L"0x00000002 / 2", nameless.Describe(2));
    });
    EXPECT_TRUE(published->Records().empty());
}

TEST(DescriptionsTest, GuidsAreOrderedByTheirBytes) {
    const GUID low{0x00000100, 0, 0, {}};   // first byte 0
    const GUID high{0x00000001, 0, 0, {}};  // first byte 1
    EXPECT_TRUE(GUIDLess()(low, high));
    EXPECT_FALSE(GUIDLess()(high, low));
    EXPECT_FALSE(GUIDLess()(low, low));
}

}  // namespace
