// Copying and reading with streams that deliver in pieces, fail, or lie; and metadata by URI.
#include "tests/Helper/FileAccessTest.h"
#include "tests/support/CScriptedStream.h"

#include <set>

using namespace FileAccess;

namespace {

constexpr HRESULT kFault = CFakeDirectories::kFault;
constexpr wchar_t kCopy[] = L"CreateSmallFileStream";
constexpr wchar_t kReadAll[] = L"TryAsHardAsPossibleToReallyGiveMeAllTheBytesIWant";
constexpr auto kRead = CScriptedStream::kRead;

struct StreamHelpersTest : FileAccessTest {
    // Copies `source`; `copied` has what the copy gives from where it stands.
    HRESULT Copy(ULONGLONG maximumSize) {
        return Run([&] {
            IStream* copy = reinterpret_cast<IStream*>(1);
            const HRESULT hr = CreateSmallFileStream(&source, &copy, maximumSize);
            EXPECT_EQ(SUCCEEDED(hr), copy != nullptr);
            EXPECT_EQ(0u, source.References());
            copied.assign(100000, '?');
            ULONG count = 0;
            if (copy) {
                EXPECT_EQ(S_FALSE, copy->Read(copied.data(), static_cast<ULONG>(copied.size()), &count));
                copy->Release();
            }
            copied.resize(count);
            return hr;
        });
    }

    CScriptedStream source;
    std::string copied;
};

TEST_F(StreamHelpersTest, CopiesInBlocksOf32768BytesAndGivesNothingIfAnyFails) {
    source.SetContents(std::string(70000, 'a') + "more");
    source.ReportSize(70000);
    EXPECT_EQ(S_OK, Copy(70000));
    EXPECT_EQ(std::string(70000, 'a'), copied);
    EXPECT_EQ(3, source.Calls(kRead));
    const ULONG sizes[] = {32768, 32768, 4464};
    for (int i = 0; i < 3; ++i) {
        source.Seek({}, STREAM_SEEK_SET, nullptr);
        source.On(kRead, i, {.result = kFault, .bytes = 7});
        EXPECT_EQ(kFault, Copy(70000));
        EXPECT_EQ(sizes[i], source.LastReadSize());
        EXPECT_EQ((Texts{Failed(kCopy, kFault, L"pStream->Read(tempbuf,(ULONG)min(32*1024,llSize),&ulRead)"),
                         Ended(kCopy, kFault)}),
                  TakeLog());
    }
}

TEST_F(StreamHelpersTest, CopiesFromWhereTheSourceStandsIfItIsSmall) {
    const struct {
        const char* what;
        LONGLONG start;
        ULONGLONG size, maximum;
        CScriptedStream::Step read, stat;
        HRESULT result;
        std::string copy;
    } table[] = {
        {"the maximum", 0, 10, 10, {}, {}, S_OK, "0123456789"},
        {"one byte more", 0, 10, 9, {}, {}, E_FAIL, ""},
        {"empty", 10, 0, 0, {}, {}, S_OK, ""},
        {"not rewound", 4, 10, 10, {}, {}, S_OK, "456789"},
        {"ends early", 0, 15, 15, {}, {}, S_OK, "0123456789"},
        {"unknown size", 0, 1ull << 63, ~0ull, {}, {}, E_FAIL, ""},
        {"claims too much", 0, 10, 10, {.claim = 1000000}, {}, S_OK, "0123456789"},
        {"throws", 0, 10, 10, {.throws = true}, {}, E_UNEXPECTED, ""},
        {"no size", 0, 10, 10, {}, {.result = kFault}, kFault, ""},
    };
    source.SetContents("0123456789");
    for (const auto& row : table) {
        SCOPED_TRACE(row.what);
        source.ForgetSteps();
        source.ReportSize(row.size);
        source.Seek({.QuadPart = row.start}, STREAM_SEEK_SET, nullptr);
        source.On(kRead, 0, row.read);
        source.On(CScriptedStream::kStat, 0, row.stat);
        EXPECT_EQ(row.result, Copy(row.maximum));
        EXPECT_EQ(row.copy, copied);
        const Texts log = TakeLog();
        EXPECT_EQ(FAILED(row.result), !log.empty() && log.back() == Ended(kCopy, row.result));
    }
}

TEST_F(StreamHelpersTest, ReadsUntilAllIsThereOrNothingComes) {
    const struct {
        const char* what;
        ULONG cb, limit;
        int nth;
        CScriptedStream::Step step;
        HRESULT failure, result;
        ULONG read;
        int reads;
    } table[] = {
        {"ten bytes each", 100, 10, 0, {}, S_OK, S_OK, 100, 10},
        {"in one", 40, 100, 0, {}, S_OK, S_OK, 40, 1},
        {"nothing", 0, 100, 0, {}, S_OK, S_OK, 0, 1},
        {"ends", 150, 100, 0, {}, S_OK, S_FALSE, 100, 2},
        {"fails after ten", 100, 10, 1, {.result = kFault, .bytes = 5}, kFault, S_FALSE, 10, 2},
        {"fails at once", 100, 10, 0, {.result = kFault}, kFault, kFault, 0, 1},
        {"throws after ten", 100, 10, 1, {.throws = true}, E_UNEXPECTED, S_FALSE, 10, 2},
        {"claims too much", 50, 10, 1, {.claim = 1000}, S_OK, S_FALSE, 50, 2},
    };
    source.SetContents(std::string(100, 'x'));
    for (const auto& row : table) {
        SCOPED_TRACE(row.what);
        source.Seek({}, STREAM_SEEK_SET, nullptr);
        source.LimitTransfers(row.limit);
        source.On(kRead, row.nth, row.step);
        const int before = source.Calls(kRead);
        std::string buffer(row.cb + 4, '?');
        ULONG read = 99;
        EXPECT_EQ(row.result, Run([&] {
                      return TryAsHardAsPossibleToReallyGiveMeAllTheBytesIWant(&source, buffer.data(), row.cb, &read);
                  }));
        EXPECT_EQ(row.read, read);
        EXPECT_EQ(row.reads, source.Calls(kRead) - before);
        EXPECT_EQ("????", buffer.substr(row.cb));
        Texts log;
        if (FAILED(row.failure))
            log.push_back(Failed(kReadAll, row.failure, L"pStream->Read(pcBuffer,ulBytesLeft,&ulRead)"));
        if (FAILED(row.result))
            log.push_back(Ended(kReadAll, row.result));
        EXPECT_EQ(log, TakeLog());
        source.ForgetSteps();
    }
}

TEST_F(StreamHelpersTest, NullPointersAreNamedInTheLog) {
    Run([&] {
        char to = 0;
        EXPECT_EQ(E_POINTER, CreateSmallFileStream(nullptr, nullptr, 1));
        EXPECT_EQ(E_POINTER, CreateSmallFileStream(&source, nullptr, 1));
        EXPECT_EQ(E_POINTER, TryAsHardAsPossibleToReallyGiveMeAllTheBytesIWant(nullptr, nullptr, 0, nullptr));
        EXPECT_EQ(E_POINTER, TryAsHardAsPossibleToReallyGiveMeAllTheBytesIWant(&source, nullptr, 0, nullptr));
        EXPECT_EQ(E_POINTER, TryAsHardAsPossibleToReallyGiveMeAllTheBytesIWant(&source, &to, 0, nullptr));
        return GetObjectMetaDataFromUri(L"http://h/x", 5, nullptr);
    });
    const Texts log = TakeLog();
    const Texts expected{L"pointer pStream", L"retval pointer ppStream", L"pointer pStream", L"pointer pBuffer",
                         L"retval pointer pulRead"};
    ASSERT_EQ(12u, log.size());
    for (size_t i = 0; i < expected.size(); ++i)
        EXPECT_EQ(Error(i < 2 ? kCopy : kReadAll, expected[i] + L" is null"), log[2 * i]);
    EXPECT_EQ(Failed(L"GetObjectMetaDataFromUri", E_POINTER, L"pMetaData.CopyTo(ppMetaData)"), log[10]);
    EXPECT_EQ(0, source.Calls());
}

TEST_F(StreamHelpersTest, EveryFunctionIsTimedUnderItsName) {
    Run([&] {
        ComPtr<CDirEntryWrapper> entry;
        VARIANT accessor;
        CBstr uri;
        EXPECT_EQ(S_OK, CDirEntryWrapper::CreateFromURI(L"http://h/x", entry.GetAddressOf()));
        EXPECT_EQ(S_OK, entry->GetCompatibleUri(uri.Put()));
        EXPECT_EQ(S_OK, entry->GetAccessor(TKDS_ACCESSOR_SOURCEINFO, &accessor));
        ::VariantClear(&accessor);
        ComPtr<IStream> stream;
        layer.stream = &source;
        EXPECT_EQ(S_OK, entry->CreateStream(stream.GetAddressOf()));
        stream.Reset();
        EXPECT_EQ(S_OK, CreateSmallFileStream(&source, stream.GetAddressOf(), 1));
        ULONG count = 0;
        EXPECT_EQ(S_OK, TryAsHardAsPossibleToReallyGiveMeAllTheBytesIWant(&source, &count, 0, &count));
        ComPtr<ITKDSMetaData> metaData;
        EXPECT_EQ(S_OK, GetObjectMetaDataFromUri(L"http://h/x", 0, metaData.GetAddressOf()));
        TKRuntimeLogger::GetProfilesCollector()->ReportAll();
        return S_OK;
    });
    std::set<std::wstring> sites;
    for (const LoggedProfile& profile : logger->Profiles())
        if (profile.category == L"PROFILE" && profile.file == L"FileAccess")
            sites.insert(profile.function + profile.message);
    std::set<std::wstring> expected{std::wstring(L"FileAccess::") + kReadAll + L"Actual Reading"};
    for (const std::wstring method :
         {L"CreateFromURI", L"CreateFromEntry", L"GetAccessor", L"GetUri", L"GetCompatibleUri", L"CreateStream"})
        expected.insert(L"FileAccess::CDirEntryWrapper::" + method);
    for (const std::wstring function : {kCopy, kReadAll, L"GetObjectMetaDataFromUri"})
        expected.insert(L"FileAccess::" + function);
    EXPECT_EQ(expected, sites);
}

}  // namespace
