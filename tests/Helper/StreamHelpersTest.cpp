// Copying and reading with streams that deliver in pieces, fail, or lie.
#include "tests/Helper/FileAccessTest.h"

using namespace FileAccess;

namespace {

constexpr wchar_t kCopy[] = L"CreateSmallFileStream";
constexpr wchar_t kReadAll[] = L"TryAsHardAsPossibleToReallyGiveMeAllTheBytesIWant";
constexpr wchar_t kReadCall[] = L"pStream->Read(tempbuf,(ULONG)min(32*1024,llSize),&ulRead)";
using enum CScriptedStream::Kind;

HRESULT WINAPI NoMarshaler(IUnknown*, IUnknown**) {
    return kFault;
}

struct StreamHelpersTest : FileAccessTest {
    // Copies `stream`; `copied` has what the copy gives from where it stands.
    HRESULT Copy(ULONGLONG maximumSize) {
        ULONG count = 0;
        copied.assign(100000, '?');
        const HRESULT hr = Run([&] {
            return Open<IStream>([&](IStream** copy) {
                const HRESULT result = CreateSmallFileStream(&stream, copy, maximumSize);
                EXPECT_TRUE(FAILED(result) || (*copy)->Read(copied.data(), 100000, &count) == S_FALSE);
                return result;
            });
        });
        copied.resize(count);
        return hr;
    }

    std::string copied;
};

TEST_F(StreamHelpersTest, CopiesInBlocksOf32768Bytes) {
    stream.SetContents(std::string(70000, 'a') + "more");
    stream.ReportSize(70000);
    EXPECT_EQ(S_OK, Copy(70000));
    EXPECT_EQ(std::string(70000, 'a'), copied);
    EXPECT_EQ(3, stream.Calls(ReadCall));
    for (int i = 0; const ULONG size : {32768u, 32768u, 4464u}) {
        stream.Seek({}, STREAM_SEEK_SET, nullptr);
        stream.On(ReadCall, i++, {.result = kFault, .bytes = 7});
        EXPECT_EQ(kFault, Copy(70000));
        ExpectLog(kCopy, kReadCall, kFault, kFault);
        EXPECT_EQ(size, stream.LastReadSize());
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
        const wchar_t* failedCall = nullptr;
    } table[] = {
        {"the maximum", 0, 10, 10, {}, {}, S_OK, "0123456789"},
        {"one byte more", 0, 10, 9, {}, {}, E_FAIL, ""},
        {"empty", 10, 0, 0, {}, {}, S_OK, ""},
        {"not rewound", 4, 10, 10, {}, {}, S_OK, "456789"},
        {"ends early", 0, 15, 15, {}, {}, S_OK, "0123456789"},
        {"unknown size", 0, 1ull << 63, ~0ull, {}, {}, E_FAIL, ""},
        {"claims too much", 0, 10, 10, {.claim = 1000000}, {}, S_OK, "0123456789"},
        {"throws", 0, 10, 10, {.throws = true}, {}, E_UNEXPECTED, "", kReadCall},
        {"no size", 0, 10, 10, {}, {.result = kFault}, kFault, "", L"pStream->Stat(&statstg,STATFLAG_NONAME)"},
    };
    stream.SetContents("0123456789");
    for (const auto& row : table) {
        SCOPED_TRACE(row.what);
        stream.ForgetSteps();
        stream.ReportSize(row.size);
        stream.Seek({.QuadPart = row.start}, STREAM_SEEK_SET, nullptr);
        stream.On(ReadCall, 0, row.read);
        stream.On(CScriptedStream::StatCall, 0, row.stat);
        EXPECT_EQ(row.result, Copy(row.maximum));
        EXPECT_EQ(row.copy, copied);
        ExpectLog(kCopy, row.failedCall, row.result, row.result);
    }
    EXPECT_TRUE(WasTimed(kCopy));
    const CImportHook hook("CoCreateFreeThreadedMarshaler", &NoMarshaler);
    EXPECT_EQ(kFault, Copy(10));
    ExpectLog(kCopy, L"::TKFCreateMemoryStream(NULL, llSize, &pTempStream)", kFault, kFault);
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
        {"throws after one", 100, 1, 1, {.throws = true}, E_UNEXPECTED, S_FALSE, 1, 2},
        {"claims too much", 50, 10, 1, {.claim = 1000}, S_OK, S_FALSE, 50, 2},
    };
    stream.SetContents(std::string(100, 'x'));
    for (const auto& row : table) {
        SCOPED_TRACE(row.what);
        stream.ForgetSteps();
        stream.Seek({}, STREAM_SEEK_SET, nullptr);
        stream.LimitTransfers(row.limit);
        stream.On(ReadCall, row.nth, row.step);
        const int before = stream.Calls(ReadCall);
        std::string buffer(row.cb + 4, '?');
        ULONG read = 99;
        EXPECT_EQ(row.result, Run([&] {
                      return TryAsHardAsPossibleToReallyGiveMeAllTheBytesIWant(&stream, buffer.data(), row.cb, &read);
                  }));
        EXPECT_EQ(row.read, read);
        EXPECT_EQ(row.reads, stream.Calls(ReadCall) - before);
        EXPECT_EQ("????", buffer.substr(row.cb));
        ExpectLog(kReadAll, L"pStream->Read(pcBuffer,ulBytesLeft,&ulRead)", row.failure, row.result);
    }
    EXPECT_TRUE(WasTimed(kReadAll) && WasTimed(kReadAll, L"Actual Reading"));
}

TEST_F(StreamHelpersTest, NullPointersAreNamedInTheLog) {
    const auto readAll = &TryAsHardAsPossibleToReallyGiveMeAllTheBytesIWant;
    char to = 0;
    const auto expect = [&](const wchar_t* function, const std::wstring& pointer,
                            const std::function<HRESULT()>& call) {
        EXPECT_EQ(E_POINTER, Run(call));
        EXPECT_EQ((Texts{Error(function, pointer + L" is null"), Ended(function, E_POINTER)}), TakeLog());
    };
    expect(kCopy, L"pointer pStream", [] { return CreateSmallFileStream(nullptr, nullptr, 1); });
    expect(kCopy, L"retval pointer ppStream", [&] { return CreateSmallFileStream(&stream, nullptr, 1); });
    expect(kReadAll, L"pointer pStream", [&] { return readAll(nullptr, nullptr, 0, nullptr); });
    expect(kReadAll, L"pointer pBuffer", [&] { return readAll(&stream, nullptr, 0, nullptr); });
    expect(kReadAll, L"retval pointer pulRead", [&] { return readAll(&stream, &to, 0, nullptr); });
    EXPECT_EQ(0, stream.Calls());
    EXPECT_EQ(E_POINTER, Run([] { return GetObjectMetaDataFromUri(L"http://h/x", 5, nullptr); }));
    ExpectLog(L"GetObjectMetaDataFromUri", L"pMetaData.CopyTo(ppMetaData)", E_POINTER, E_POINTER);
}

}  // namespace
