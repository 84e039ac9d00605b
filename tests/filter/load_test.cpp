// Loading a source by its name: what is opened, what is refused, what is kept, and what the log says of it.
#include "diagnostics/CAutoDestructor.h"
#include "tests/filter/CFilterHost.h"
#include "tests/filter/LoggedLines.h"
#include "tests/support/CFakeDataService.h"
#include "tests/support/CRegisteredComClass.h"
#include "tests/support/CScriptedStream.h"
#include "tests/support/CTempFile.h"
#include "tests/support/CTestApartment.h"

#include <uuids.h>
#include <vfwmsgs.h>

#include <gtest/gtest.h>

#include <future>
#include <string>
#include <thread>

using Microsoft::WRL::ComPtr;

namespace {

constexpr wchar_t kLoad[] = L"CCustomFileSourceFilter::Load";
constexpr wchar_t kThread[] = L"CCustomFileSourceFilter::CreateStreamThread";
constexpr wchar_t kSetSource[] = L"CCustomFileSourceFilter::SetSourceFileStream";
const std::wstring kTypeFromOutside =
    Line(1, kSetSource, L"Using MediaType set from outside. Subtype is {E436EB88-524F-11CE-9F53-0020AF0BA770}");

AM_MEDIA_TYPE AviType() {
    AM_MEDIA_TYPE type{};
    type.majortype = MEDIATYPE_Stream;
    type.subtype = MEDIASUBTYPE_Avi;
    return type;
}

// What the platform answers where there is no stream to fetch.
HRESULT NothingCreated() {
    ComPtr<IGlobalInterfaceTable> table;
    EXPECT_EQ(S_OK, ::CoCreateInstance(CLSID_StdGlobalInterfaceTable, nullptr, CLSCTX_ALL, IID_PPV_ARGS(&table)));
    ComPtr<IStream> none;
    return table->GetInterfaceFromGlobal(0, IID_PPV_ARGS(&none));
}

// A file of the test's own name below the temporary folder; `folder`, made for it, goes too.
class CNamedFile final {
public:
    CNamedFile(const std::wstring& folder, const std::wstring& name, const std::string& contents) : m_bytes(contents) {
        wchar_t temp[MAX_PATH]{};
        EXPECT_NE(0u, ::GetTempPathW(MAX_PATH, temp));
        m_folder = std::wstring(temp) + folder;
        m_path = m_folder + L"\\" + name;
        ::CreateDirectoryW((LR"(\\?\)" + m_folder).c_str(), nullptr);
        const CAutoHandle file(::CreateFileW((LR"(\\?\)" + m_path).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                             FILE_ATTRIBUTE_NORMAL, nullptr));
        DWORD written = 0;
        EXPECT_TRUE(file) << ::GetLastError();
        EXPECT_TRUE(::WriteFile(file.Get(), contents.data(), static_cast<DWORD>(contents.size()), &written, nullptr));
    }
    CNamedFile(const CNamedFile&) = delete;
    CNamedFile& operator=(const CNamedFile&) = delete;
    ~CNamedFile() {
        ::DeleteFileW((LR"(\\?\)" + m_path).c_str());
        ::RemoveDirectoryW((LR"(\\?\)" + m_folder).c_str());
    }
    const std::wstring& Path() const { return m_path; }
    const std::string& Bytes() const { return m_bytes; }

private:
    const std::string m_bytes;
    std::wstring m_folder;
    std::wstring m_path;
};

struct LoadTest : ::testing::Test {
    const CTestApartment apartment{COINIT_MULTITHREADED};
    CFilterHost host;

    void SetUp() override {
        ASSERT_EQ(S_OK, host.Create());
        ASSERT_EQ(S_OK, host.As<IDataFlowControl>()->EnableDataFlow());
    }
    HRESULT Load(const std::wstring& name) {
        const AM_MEDIA_TYPE type = AviType();
        return host.As<IFileSourceFilter>()->Load(name.c_str(), &type);
    }
    // The whole source as the pin gives it.
    std::string Contents() const {
        LONGLONG total = -1;
        LONGLONG available = -1;
        EXPECT_EQ(S_OK, host.Reader()->Length(&total, &available));
        EXPECT_EQ(total, available);
        std::string bytes(static_cast<std::size_t>(std::max<LONGLONG>(total, 0)), '\0');
        EXPECT_EQ(S_OK,
                  host.Reader()->SyncRead(0, static_cast<LONG>(bytes.size()), reinterpret_cast<BYTE*>(bytes.data())));
        return bytes;
    }
};

TEST_F(LoadTest, OpensEveryNameThatWindowsOpens) {
    const std::wstring longName(200, L'n');
    const CNamedFile files[] = {{L"tvt plain", L"a file.bin", "plain"},
                                {L"tvt %20#&", L"100%25 #1.bin", "percent"},
                                {L"tvt t\u00F6ne", L"\u65E5\u672C\u8A9E \u00E9.bin", "unicode"},
                                {L"tvt " + longName, longName + L".bin", "long"},
                                {L"tvt empty", L"empty.bin", ""}};
    for (const CNamedFile& file : files) {
        SCOPED_TRACE(::testing::PrintToString(file.Path()));
        ASSERT_EQ(S_OK, Load(file.Path()));
        EXPECT_EQ(file.Path(), host.CurrentName());
        const std::string contents = Contents();
        EXPECT_EQ(file.Bytes(), contents);
        char beyond = 'x';
        EXPECT_EQ(S_FALSE,
                  host.Reader()->SyncRead(static_cast<LONGLONG>(contents.size()), 1, reinterpret_cast<BYTE*>(&beyond)));
    }
}

TEST_F(LoadTest, KeepsSourceAndTypeButReportsTheNewNameWhenItCannotBeOpened) {
    const CTempFile good("good");
    const CTempFile locked("locked");
    const CAutoHandle lock(::CreateFileW(locked.Path().c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                         FILE_ATTRIBUTE_NORMAL, nullptr));
    ASSERT_TRUE(lock);
    ASSERT_EQ(S_OK, Load(good.Path()));

    const std::wstring folder = good.Path().substr(0, good.Path().rfind(L'\\'));
    const std::wstring names[] = {good.Path() + L".missing",
                                  folder,
                                  folder + L"\\no such folder\\x.avi",
                                  folder + L"\\what?.avi",
                                  locked.Path(),
                                  L"C:\\" + std::wstring(32'000, L'x'),
                                  std::wstring(32'000, L'y'),
                                  L"tvtest://nowhere/clip.avi",
                                  LR"(\\tvtest-no-such-server\share\clip.avi)",
                                  L"::",
                                  L" ",
                                  L"http://"};
    for (const std::wstring& name : names) {
        SCOPED_TRACE(::testing::PrintToString(name.substr(0, 80)));
        AM_MEDIA_TYPE other{};
        other.subtype = MEDIASUBTYPE_WAVE;
        EXPECT_EQ(NothingCreated(), host.As<IFileSourceFilter>()->Load(name.c_str(), &other));
        wchar_t* current = nullptr;
        AM_MEDIA_TYPE type{};
        ASSERT_EQ(S_OK, host.As<IFileSourceFilter>()->GetCurFile(&current, &type));
        EXPECT_EQ(name, current);
        EXPECT_EQ(MEDIASUBTYPE_Avi, type.subtype);
        ::CoTaskMemFree(current);
        EXPECT_EQ("good", Contents());
    }
    EXPECT_EQ(NothingCreated(), Load(L""));
    EXPECT_EQ(L"", host.CurrentName());  // an empty name is none

    const CTempFile next("next");
    EXPECT_EQ(S_OK, Load(next.Path()));  // the creation thread is none the worse
    EXPECT_EQ(next.Path(), host.CurrentName());
    EXPECT_EQ("next", Contents());
}

TEST_F(LoadTest, SharesTheFileWithReadersAndDeletersNotWithWriters) {
    const CTempFile file("0123456789");
    ASSERT_EQ(S_OK, Load(file.Path()));
    const auto open = [&](DWORD access) {
        return static_cast<bool>(CAutoHandle(::CreateFileW(file.Path().c_str(), access,
                                                           FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                                           nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr)));
    };
    EXPECT_TRUE(open(GENERIC_READ));
    EXPECT_FALSE(open(GENERIC_WRITE));
    EXPECT_TRUE(::DeleteFileW(file.Path().c_str()));
    EXPECT_EQ("0123456789", Contents());
}

TEST_F(LoadTest, GivesTheOldSourceBackWhenANewOneComes) {
    const CTempFile first("first");
    const CTempFile second("second");
    ASSERT_EQ(S_OK, Load(first.Path()));
    ASSERT_EQ(S_OK, Load(second.Path()));
    EXPECT_EQ("second", Contents());
    const CAutoHandle alone(
        ::CreateFileW(first.Path().c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    EXPECT_TRUE(alone) << "the first file is still open";
}

// ---- Through the data service

TEST(LoadThroughDataService, TakesWhateverIsNotALocalFile) {
    OnNewThread([] {
        CScriptedStream source("0123456789");
        CFakeDataService service;
        service.createStream = [&](const std::wstring& uri, IStream** stream) {
            if (uri.find(L"missing") != std::wstring::npos)
                return STG_E_FILENOTFOUND;
            if (uri.find(L"endless") != std::wstring::npos)
                source.ReportSize(0x8000000000000000u);
            return source.QueryInterface(IID_PPV_ARGS(stream));
        };
        const CRegisteredComClass registered(CLSID_TKDSUriAccessFactory, service.Creator());
        ASSERT_EQ(S_OK, registered.Result());
        {
            CFilterHost host;
            ASSERT_EQ(S_OK, host.Create());
            const auto filter = host.As<IFileSourceFilter>();
            const AM_MEDIA_TYPE type = AviType();
            struct {
                const wchar_t* name;
                HRESULT result;
            } const cases[] = {{L"http://host/clip.avi?x=%20y", S_OK},
                               {LR"(\\server\share\clip.avi)", S_OK},
                               {L"tvtest:whatever", S_OK},
                               {L"http://host/missing", NothingCreated()},
                               {L"http://host/endless", VFW_S_ESTIMATED}};
            for (const auto& row : cases) {
                SCOPED_TRACE(::testing::PrintToString(row.name));
                EXPECT_EQ(row.result, filter->Load(row.name, &type));
                EXPECT_EQ(row.name, host.CurrentName());
                bool asked = false;
                for (const CFakeDataService::Call& call : service.Calls())
                    asked = asked || call.uri == row.name;
                EXPECT_TRUE(asked);
            }
        }
        EXPECT_EQ(0u, source.References());
        EXPECT_EQ(0, service.LiveObjects());
    });
}

// The stream is the creation thread's; a caller in another apartment reaches it there.
TEST(LoadThroughDataService, HandsTheStreamOverToASingleThreadedApartment) {
    OnNewThread([] {
        CScriptedStream source("0123456789");
        CFakeDataService service;
        service.createStream = [&](const std::wstring&, IStream** stream) {
            return source.QueryInterface(IID_PPV_ARGS(stream));
        };
        const CRegisteredComClass registered(CLSID_TKDSUriAccessFactory, service.Creator());
        std::thread([&] {
            const CTestApartment single(COINIT_APARTMENTTHREADED);
            CFilterHost host;
            ASSERT_EQ(S_OK, host.Create());
            ASSERT_EQ(S_OK, host.As<IDataFlowControl>()->EnableDataFlow());
            const AM_MEDIA_TYPE type = AviType();
            ASSERT_EQ(S_OK, host.As<IFileSourceFilter>()->Load(L"tvtest:clip", &type));
            BYTE bytes[5]{};
            EXPECT_EQ(S_OK, host.Reader()->SyncRead(3, 4, bytes));
            EXPECT_STREQ("3456", reinterpret_cast<char*>(bytes));
            EXPECT_NE(::GetCurrentThreadId(), source.LastThread());
        }).join();
    });
}

// ---- The log

TEST(LoadLog, TellsOfEachLoadOnBothThreads) {
    const CTempFile file("0123456789");
    const std::wstring missing = L"C:\\tvt missing\\" + std::wstring(32'000, L'm');
    const CPublishedLogger logger;
    DWORD caller = 0;
    OnNewThread([&] {
        caller = ::GetCurrentThreadId();
        CFilterHost host;
        ASSERT_EQ(S_OK, host.Create());
        const AM_MEDIA_TYPE type = AviType();
        EXPECT_EQ(E_POINTER, host.As<IFileSourceFilter>()->Load(nullptr, &type));
        EXPECT_EQ(L"", host.CurrentName());
        EXPECT_EQ(S_OK, host.As<IFileSourceFilter>()->Load(file.Path().c_str(), &type));
        EXPECT_EQ(NothingCreated(), host.As<IFileSourceFilter>()->Load(missing.c_str(), &type));
    });
    const std::vector<std::wstring> expected = {
        Line(1, kLoad, L"Loading: <invalid filename>"),
        Line(1, kLoad, L"Loading: " + file.Path()),
        Line(1, kThread, L"Create stream thread: Creating stream succeeded for " + file.Path()),
        kTypeFromOutside,
        Line(1, kLoad, L"Loading: " + missing),
        Line(1, kThread, L"Create stream thread: Creating stream failed for " + missing),
        Line(1, kThread, L"Create stream thread stop message received"),
    };
    EXPECT_EQ(expected, Lines(logger));
    for (const LoggedRecord& record : logger->Records())
        EXPECT_EQ(record.function != kThread, record.threadId == caller);
}

// A foreign stream may do anything on the thread that opens it. What ends the thread must leave neither the load that
// waits nor later ones hanging, and open streams need no such thread.
TEST(LoadLog, SaysSoWhenTheCreationThreadIsGone) {
    const CPublishedLogger logger;
    OnNewThread([] {
        CFakeDataService service;
        service.createStream = [](const std::wstring&, IStream**) -> HRESULT {
            ::ExitThread(0);
            return E_FAIL;
        };
        const CRegisteredComClass registered(CLSID_TKDSUriAccessFactory, service.Creator());
        ASSERT_EQ(S_OK, registered.Result());
        CScriptedStream source("0123456789");
        CFilterHost host;
        ASSERT_EQ(S_OK, host.Create());
        const AM_MEDIA_TYPE type = AviType();
        EXPECT_EQ(NothingCreated(), host.As<IFileSourceFilter>()->Load(L"tvtest:end", &type));
        EXPECT_EQ(L"tvtest:end", host.CurrentName());
        EXPECT_EQ(E_UNEXPECTED, host.As<IFileSourceFilter>()->Load(L"tvtest:next", &type));
        EXPECT_EQ(L"tvtest:end", host.CurrentName());
        EXPECT_EQ(S_OK, host.As<ITavelIStreamFileSource>()->OpenStream(&source, &type));
        EXPECT_EQ(L"scripted", host.CurrentName());
    });
    const std::vector<std::wstring> expected = {
        Line(1, kLoad, L"Loading: tvtest:end"),
        Line(4, kLoad, L"A fatal error ocurred while trying to open the stream"),
        Line(1, kLoad, L"Loading: tvtest:next"),
        Line(4, kLoad, L"The stream creation thread is not running!"),
        Line(1, L"CCustomFileSourceFilter::OpenStream", L"Loading file : scripted"),
        kTypeFromOutside,
    };
    EXPECT_EQ(expected, Lines(logger));
}

}  // namespace
