// What a logging service hears of the media-type decision.
#include "diagnostics/CDescriptions.h"
#include "sdk/TvMetadata.h"
#include "tests/filter/CFilterWithLibrary.h"
#include "tests/filter/CScriptedDictionary.h"
#include "tests/support/CRecordingLogger.h"
#include "tests/support/CScriptedStream.h"

#include <uuids.h>

#include <map>
#include <set>
#include <utility>
#include <vector>

using Types = CScriptedDictionary::Types;

namespace {

const wchar_t kFunction[] = L"CCustomFileSourceFilter::SetSourceFileStream";

// A stream that no apartment can be told of, and so none that can be buffered.
class CStreamWithoutInterfaces final : public IStream {
public:
    STDMETHODIMP QueryInterface(REFIID, void** object) override {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP Read(void*, ULONG, ULONG*) override { return E_NOTIMPL; }
    STDMETHODIMP Write(const void*, ULONG, ULONG*) override { return E_NOTIMPL; }
    STDMETHODIMP Seek(LARGE_INTEGER, DWORD, ULARGE_INTEGER*) override { return E_NOTIMPL; }
    STDMETHODIMP SetSize(ULARGE_INTEGER) override { return E_NOTIMPL; }
    STDMETHODIMP CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*, ULARGE_INTEGER*) override { return E_NOTIMPL; }
    STDMETHODIMP Commit(DWORD) override { return E_NOTIMPL; }
    STDMETHODIMP Revert() override { return E_NOTIMPL; }
    STDMETHODIMP LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
    STDMETHODIMP UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
    STDMETHODIMP Stat(STATSTG*, DWORD) override { return E_NOTIMPL; }
    STDMETHODIMP Clone(IStream**) override { return E_NOTIMPL; }
};

struct MediaTypeLogTest : ::testing::Test {
    using Records = std::vector<std::pair<LONG, std::wstring>>;  // severity and message

    // The decision's records of this thread since the last call, each checked for what all of them share.
    Records NewRecords() {
        Records found;
        for (const LoggedRecord& record : published->Records()) {
            if (record.function != kFunction || record.threadId != ::GetCurrentThreadId())
                continue;
            EXPECT_EQ(L"TvFileSourceAsync", record.category);
            EXPECT_EQ(L"CustomFileSource", record.file);
            EXPECT_EQ(::GetCurrentProcessId(), record.processId);
            EXPECT_LT(0, record.line);
            found.emplace_back(record.severity, record.message);
        }
        const size_t seen = std::exchange(m_seen[::GetCurrentThreadId()], found.size());
        found.erase(found.begin(), found.begin() + static_cast<std::ptrdiff_t>(seen));
        return found;
    }

    CPublishedLogger published;
    CScriptedStream content{"0123456789"};

private:
    std::map<DWORD, size_t> m_seen;
};

TEST_F(MediaTypeLogTest, WhatIsMissingIsLoggedOnceALoad) {
    const CLoaderSearchesOnly systemOnly;
    const struct {
        Library library;
        Records expected;
    } cases[] = {
        {Library::None, {{2, L"TvMetadata.dll was not found"}}},
        {Library::Damaged, {{2, L"TvMetadata.dll was not found"}}},
        {Library::Foreign, {{4, L"Cannot get function pointer to GetMimeTypeDictionary"}}},
        {Library::WithExport, {}},  // without a dictionary: nobody misses it
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(static_cast<int>(c.library));
        OnNewThread([&] {
            const CFilterWithLibrary filter(c.library);
            for (int load = 0; load < 2; ++load) {
                EXPECT_EQ(S_OK, filter.Open(&content));
                EXPECT_EQ(c.expected, NewRecords());
            }
        });
    }
}

TEST_F(MediaTypeLogTest, CallersTypeIsLoggedByItsSubtype) {
    OnNewThread([&] {
        const CFilterWithLibrary filter(Library::None);
        AM_MEDIA_TYPE type{};
        type.majortype = MEDIATYPE_Video;
        type.subtype = MEDIASUBTYPE_Avi;
        EXPECT_EQ(S_OK, filter.Open(&content, &type));
        const Records expected{
            {1, L"Using MediaType set from outside. Subtype is {E436EB88-524F-11CE-9F53-0020AF0BA770}"}};
        EXPECT_EQ(expected, NewRecords());
    });
}

TEST_F(MediaTypeLogTest, StreamThatCannotBeBufferedIsLoggedAndChangesNothing) {
    OnNewThread([&] {
        CScriptedDictionary dictionary;
        dictionary.types = Types{L"audio/wav"};
        const CFilterWithLibrary filter(Library::WithExport);
        EXPECT_EQ(S_OK, filter.Open(&content));
        CStreamWithoutInterfaces unusable;
        const HRESULT hr = filter.Open(&unusable);  // the platform's reason
        EXPECT_HRESULT_FAILED(hr);
        wchar_t result[16]{};
        ::swprintf_s(result, L"0x%08X", static_cast<unsigned>(hr));
        const Records expected{{3, std::wstring(L"ERROR: hr=") + result + L" (\"" +
                                       TKRuntimeLogger::HresultDescriptions().Describe(hr) +
                                       L"\"), from call TKFCreateBufferedStream(pStream, &pBufferedStream)"}};
        EXPECT_EQ(expected, NewRecords());
        EXPECT_EQ("W", filter.Offers());
        EXPECT_EQ('W', filter.CurrentType());
        EXPECT_EQ(1, dictionary.Detections());
        LONGLONG total = 0;
        LONGLONG available = 0;
        EXPECT_EQ(S_OK, filter.host.Reader()->Length(&total, &available));
        EXPECT_EQ(10, total) << "the pin reads what it read before";
    });
}

// Figures are reported ever more rarely, so the loads go on until each scope was heard of.
TEST_F(MediaTypeLogTest, EachStageOfTheDecisionIsTimed) {
    const struct {
        const char* name;
        bool hasDictionary;
        std::set<std::wstring> stages;
    } cases[] = {
        {"with a dictionary",
         true,
         {L"", L"Loading TvMetaData.dll", L"Getting Mimetype Dictionary",
          L"Extracting MimeType via MimeTypeDictionary"}},
        {"without one",
         false,
         {L"", L"Loading TvMetaData.dll", L"Getting Mimetype Dictionary", L"Extracting MimeType via TKDataServices"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const size_t before = published->Profiles().size();
        std::set<std::wstring> stages;
        OnNewThread([&] {
            std::optional<CScriptedDictionary> dictionary;
            if (c.hasDictionary)
                dictionary.emplace();
            const CFilterWithLibrary filter(Library::WithExport);
            for (int load = 0; load < 100 && stages.size() < c.stages.size(); ++load) {
                EXPECT_EQ(S_OK, filter.Open(&content));
                const auto profiles = published->Profiles();
                for (size_t i = before; i < profiles.size(); ++i) {
                    if (profiles[i].function != kFunction)
                        continue;
                    EXPECT_EQ(0, profiles[i].severity);
                    EXPECT_EQ(L"PROFILE", profiles[i].category);
                    EXPECT_EQ(L"CustomFileSource", profiles[i].file);
                    if (profiles[i].count > 0)
                        stages.insert(profiles[i].message);
                }
            }
        });
        EXPECT_EQ(c.stages, stages);
    }
}

}  // namespace
