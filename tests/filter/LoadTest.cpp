// Loading a source by its name: what is opened, what is refused, what is kept, and what the log says of it.
#include "base/CAutoDestructor.h"
#include "base/FormatText.h"
#include "base/Utf8Text.h"
#include "diagnostics/ComErrors.h"
#include "diagnostics/HResultText.h"
#include "tests/support/CFakeDataLayer.h"
#include "tests/support/CLogFileSetting.h"
#include "tests/support/FilterTest.h"

namespace {

constexpr wchar_t kLoad[] = L"CCustomFileSourceFilter::Load";
constexpr wchar_t kThread[] = L"CCustomFileSourceFilter::CreateStreamThread";
constexpr wchar_t kOpenCall[] = L"TKFCreateStreamFromUri(m_PendingName,kSourceMode,&pStream,0,0)";

std::wstring Failed(HRESULT hr, const std::wstring& text, const wchar_t* call = kOpenCall) {
    return base::FormatText(L"ERROR: hr=0x%08X (\"%s\"), from call %s", static_cast<unsigned>(hr), text.c_str(), call);
}

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
                   Line(3, kThread, Failed(E_FAIL, TKRuntimeLogger::HResultText(E_FAIL))),
                   Line(1, kThread, L"Create stream thread: Creating stream failed for " + missing), kStopped}),
              lines);
}

// The log file is all that most people have.
TEST(LoadLogTest, WhyANameCannotBeOpenedIsSaidOnce) {
    constexpr auto kTimeout = static_cast<HRESULT>(0x80072EE2);
    constexpr wchar_t kNotFoundText[] = L"TK: Element was not found.";
    const CTestApartment apartment(COINIT_MULTITHREADED);
    const CTempFile file, log;
    const CLogFileSetting setting{};
    setting.Set(log.Path());
    Stream good("0123456789"), refusing;
    refusing.refused = __uuidof(IStream);
    refusing.refusal = E_ACCESSDENIED;
    std::optional<CFakeDataLayer> service;
    using Fault = CFakeDataLayer::Fault;
    using Create = std::function<HRESULT(const std::wstring&, IStream**)>;
    const auto fails = [](HRESULT hr, const wchar_t* info) -> Create {
        return [=](const std::wstring&, IStream**) {
            if (info)
                SetComErrorInfo(hr, __uuidof(ITKDSCreateStream), info, 0, nullptr, nullptr);
            return hr;
        };
    };
    const auto leaves = [](IStream& stream, const wchar_t* info) -> Create {
        return [=, &stream](const std::wstring&, IStream** to) {
            SetComErrorInfo(S_OK, __uuidof(ITKDSCreateStream), info, 0, nullptr, nullptr);
            *to = &stream;
            stream.AddRef();
            return S_OK;
        };
    };
    const struct {
        const char* what;
        std::wstring name;
        HRESULT code;
        Create createStream = {};
        std::map<std::wstring, Fault> faults = {};
        const wchar_t* call = kOpenCall;
        const wchar_t* text = nullptr;  // null: the system's
    } rows[] = {
        {"no file", file.Path() + L".missing", E_FAIL},
        {"a folder", L"C:\\windows", STG_E_ACCESSDENIED},
        {"no name", L"", E_INVALIDARG},
        {"no service", L"tvtest:x", REGDB_E_CLASSNOTREG},
        {"no service for it", L"http://[", CFakeDataLayer::kFault, {}, {{L"OpenUriAs", Fault::Fail}}},
        {"no factory", L"tvtest:x", CFakeDataLayer::kFault, {}, {{L"create", Fault::Fail}}},
        {"no accessor", L"tvtest:x", E_FAIL, {}, {{L"OpenUriAs", Fault::GiveNull}}},
        {"no stream", L"tvtest:x", E_FAIL, {}, {{L"CreateStream", Fault::GiveNull}}},
        {"too late", L"tvtest:x", kTimeout, fails(kTimeout, L"too late")},
        {"not to be registered",
         L"tvtest:x",
         E_ACCESSDENIED,
         leaves(refusing, L""),
         {},
         L"m_CreatedStream.Attach(pStream)"},
        {"the framework's code", L"tvtest:x", kNotFound, fails(kNotFound, kNotFoundText), {}, kOpenCall, kNotFoundText},
        {"the platform's code", L"tvtest:x", kNotFound, fails(kNotFound, nullptr)},
        {"another text", L"tvtest:x", kNotFound, fails(kNotFound, L"secret")},
        {"success", L"tvtest:x", S_OK, leaves(good, kNotFoundText)},
        {"after a success", L"tvtest:x", kNotFound, fails(kNotFound, nullptr)},
    };
    CFilterHost host;
    host.Create();
    size_t told = 0;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        service.reset();
        if (row.createStream || !row.faults.empty()) {
            service.emplace();
            service->faults = row.faults;
            service->createStream = row.createStream;
        }
        EXPECT_EQ(SUCCEEDED(row.code) ? S_OK : NothingCreated(), host.Load(row.name, &kWave));
        const std::string lines = log.Contents().substr(told);
        told += lines.size();
        const std::wstring text = row.text ? row.text : TKRuntimeLogger::HResultText(row.code);
        const std::string line = base::Utf8OfWide(std::wstring(L"FUNC: ") + kThread + L", MSG: " +
                                                  Failed(row.code, text, row.call) + L"\r\n");
        const auto count = [&](const std::string& part) {
            size_t found = 0;
            for (size_t at = lines.find(part); at != lines.npos; at = lines.find(part, at + 1))
                ++found;
            return found;
        };
        const size_t expected = FAILED(row.code) ? 1 : 0;
        EXPECT_EQ(expected, count(line)) << lines;
        EXPECT_EQ(expected, count("ERROR")) << lines;
        EXPECT_EQ(expected, count("SEV: 3")) << lines;
    }
    EXPECT_EQ(0u, host.Release());
    service.reset();
}

// What the creation thread has opened can still get lost on its way to the thread that loads.
TEST(LoadLogTest, AStreamThatCannotBeFetchedIsToldOf) {
    Stream source("0123456789");
    const CPublishedLogger logger;
    logger->onCall = [&]() -> HRESULT {
        if (logger->Records().back().message.find(L"succeeded") != std::wstring::npos)
            source.refused = __uuidof(IStream);
        return S_OK;
    };
    source.refusal = E_ACCESSDENIED;
    OnNewThread([&] {
        CFakeDataLayer service;
        service.stream = &source;
        CFilterHost host;
        host.Create();
        EXPECT_EQ(E_ACCESSDENIED, host.Load(L"tvtest:x", &kWave));
        HRESULT opened = E_FAIL;
        EXPECT_EQ(S_OK, host.As<ITavelSourceOpenResult>()->GetOpenResult(&opened));
        EXPECT_EQ(S_OK, opened);
    });
    Log errors;
    for (const LoggedRecord& record : logger->Records())
        if (record.severity == 3)
            errors.push_back(record.function + L": " + record.message);
    EXPECT_EQ((Log{std::wstring(kLoad) + L": " +
                   Failed(E_ACCESSDENIED, TKRuntimeLogger::HResultText(E_ACCESSDENIED),
                          L"m_CreatedStream.CopyTo(&pStream)")}),
              errors);
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
