// Loading a source by its name: what is opened, what is refused, what is kept, and what the log says of it.
#include "base/CAutoDestructor.h"
#include "diagnostics/HResultText.h"
#include "tests/support/CFakeDataLayer.h"
#include "tests/support/FilterTest.h"

namespace {

constexpr wchar_t kLoad[] = L"CCustomFileSourceFilter::Load";
constexpr wchar_t kThread[] = L"CCustomFileSourceFilter::CreateStreamThread";

// What the platform answers where there is no stream to fetch.
HRESULT NothingCreated() {
    ComPtr<IGlobalInterfaceTable> table;
    EXPECT_EQ(S_OK, ::CoCreateInstance(CLSID_StdGlobalInterfaceTable, nullptr, CLSCTX_ALL, IID_PPV_ARGS(&table)));
    ComPtr<IStream> none;
    return table->GetInterfaceFromGlobal(0, IID_PPV_ARGS(&none));
}

HANDLE Open(const std::wstring& path, DWORD access, DWORD share) {
    return ::CreateFileW(path.c_str(), access, share, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
}

struct LoadTest : ::testing::Test {
    const CTestApartment apartment{COINIT_MULTITHREADED};
    CFilterHost host;

    void SetUp() override {
        host.Create();
        EXPECT_EQ(E_UNEXPECTED, OpenResult());
    }
    HRESULT OpenResult() const {
        HRESULT result = E_PENDING;
        const HRESULT hr = host.As<ITavelSourceOpenResult>()->GetOpenResult(&result);
        EXPECT_EQ(result == E_UNEXPECTED ? E_UNEXPECTED : S_OK, hr);
        return result;
    }
    void ExpectSource(const std::wstring& name, const std::string& contents) {
        EXPECT_EQ(name, host.CurrentName());
        EXPECT_EQ('W', host.CurrentType());
        const Got got = SyncRead(*host.Reader().Get(), 0, static_cast<LONG>(contents.size()) + 4);
        EXPECT_EQ(Got(S_FALSE, contents + "...."), got);
    }
};

TEST_F(LoadTest, TheSourceStaysWhenANameCannotBeOpened) {
    const CTempFile good("good"), locked("locked");
    const base::CAutoHandle lock(Open(locked.Path(), GENERIC_READ, 0));
    ASSERT_EQ(S_OK, host.Load(good.Path(), &kWave));
    const std::wstring folder = good.Path().substr(0, good.Path().rfind(L'\\'));
    const AM_MEDIA_TYPE other{};
    const struct {
        std::wstring name;
        HRESULT reason = REGDB_E_CLASSNOTREG;  // there is no data service
    } rows[] = {{good.Path() + L".missing", E_FAIL},
                {folder, STG_E_ACCESSDENIED},
                {locked.Path(), E_FAIL},
                {std::wstring(32'000, L'y'), E_FAIL},
                {L"tvtest://nowhere/clip.avi"}};
    for (const auto& [name, reason] : rows) {
        SCOPED_TRACE(::testing::PrintToString(name.substr(0, 80)));
        EXPECT_EQ(NothingCreated(), host.Load(name, &other));
        EXPECT_EQ(reason, OpenResult());
        ExpectSource(name, "good");
    }
    EXPECT_EQ(NothingCreated(), host.Load(L"", &other));
    EXPECT_EQ(L"", host.CurrentName()) << "an empty name is none";
    EXPECT_EQ(S_OK, host.Load(good.Path(), &kWave)) << "the creation thread goes on";
    EXPECT_EQ(S_OK, OpenResult());
    EXPECT_EQ(E_POINTER, host.As<ITavelSourceOpenResult>()->GetOpenResult(nullptr));
    ExpectSource(good.Path(), "good");
}

TEST_F(LoadTest, TheFileIsSharedWithReadersUntilTheNextLoad) {
    const CTempFile first("first"), second("second"), third;
    constexpr DWORD kAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    ASSERT_EQ(S_OK, host.Load(first.Path(), &kWave));
    EXPECT_TRUE(base::CAutoHandle(Open(first.Path(), GENERIC_READ, kAll)));
    EXPECT_FALSE(base::CAutoHandle(Open(first.Path(), GENERIC_WRITE, kAll)));
    ASSERT_EQ(S_OK, host.Load(second.Path(), &kWave));
    EXPECT_TRUE(base::CAutoHandle(Open(first.Path(), GENERIC_WRITE, 0))) << "the first file is still open";
    EXPECT_TRUE(::DeleteFileW(second.Path().c_str()));
    ExpectSource(second.Path(), "second");
    Stream stream;
    ASSERT_EQ(S_OK, host.Load(third.Path(), &kWave));
    ExpectSource(third.Path(), "");
    ASSERT_EQ(S_OK, host.Open(&stream, &kWave));
    EXPECT_TRUE(base::CAutoHandle(Open(third.Path(), GENERIC_WRITE, 0))) << "a stream has replaced it";
    EXPECT_EQ(0u, host.Release());
}

TEST(LoadLogTest, EachLoadIsToldOf) {
    const CTempFile file("0123456789");
    const std::wstring missing = L"C:\\tvt missing\\" + std::wstring(32'000, L'm');
    const Log lines = LinesOf([&] {
        CFilterHost host;
        host.Create();
        EXPECT_EQ(E_POINTER, host.As<IFileSourceFilter>()->Load(nullptr, &kWave));
        EXPECT_EQ(L"", host.CurrentName());
        EXPECT_EQ(S_OK, host.Load(file.Path(), &kWave));
        EXPECT_TRUE(host.Reader());
        EXPECT_EQ(NothingCreated(), host.Load(missing, &kWave));
    });
    EXPECT_EQ((Log{Line(1, kLoad, L"Loading: <invalid filename>"), Line(1, kLoad, L"Loading: " + file.Path()),
                   Line(1, kThread, L"Create stream thread: Creating stream succeeded for " + file.Path()), kWaveLine,
                   Line(0, L"CCustomFileSourcePin::NonDelegatingQueryInterface",
                        L"TvFileSourceAsync Output Pin: m_bAsyncReaderChecked = true"),
                   Line(1, kLoad, L"Loading: " + missing),
                   Line(3, kThread,
                        L"ERROR: hr=0x80004005 (\"" + TKRuntimeLogger::HResultText(E_FAIL) +
                            L"\"), from call TKFCreateStreamFromUri(m_PendingName,kSourceMode,&pStream,0,0)"),
                   Line(1, kThread, L"Create stream thread: Creating stream failed for " + missing), kStopped}),
              lines);
}

// A foreign stream may do anything on the thread that opens it. When it ends the thread, neither the load that waits
// nor later ones may hang. Opening a stream needs no such thread.
TEST(LoadLogTest, ACreationThreadThatIsGoneIsToldOf) {
    const Log lines = LinesOf([] {
        CFakeDataLayer service;
        service.createStream = [](const std::wstring&, IStream**) -> HRESULT {
            ::ExitThread(0);
            return E_FAIL;
        };
        Stream source("0123456789");
        CFilterHost host;
        host.Create();
        EXPECT_EQ(NothingCreated(), host.Load(L"tvtest:end", &kWave));
        EXPECT_EQ(E_UNEXPECTED, host.Load(L"tvtest:next", &kWave));
        HRESULT result = S_OK;
        EXPECT_EQ(E_UNEXPECTED, host.As<ITavelSourceOpenResult>()->GetOpenResult(&result)) << "it was never opened";
        EXPECT_EQ(L"tvtest:end", host.CurrentName());
        EXPECT_EQ(S_OK, host.Open(&source, &kWave));
    });
    EXPECT_EQ(
        (Log{Line(1, kLoad, L"Loading: tvtest:end"),
             Line(4, kLoad, L"A fatal error ocurred while trying to open the stream"),
             Line(1, kLoad, L"Loading: tvtest:next"), Line(4, kLoad, L"The stream creation thread is not running!"),
             Line(1, L"CCustomFileSourceFilter::OpenStream", L"Loading file : scripted"), kWaveLine}),
        lines);
}

}  // namespace
