// The log file: which registry values open one, what a line looks like, and who may write at the same time.
#include "base/CAutoDestructor.h"
#include "base/CBstr.h"
#include "diagnostics/CLogToFile.h"
#include "tests/support/CImportHook.h"
#include "tests/support/CLogFileSetting.h"
#include "tests/support/CRecordingLogger.h"
#include "tests/support/CTempFile.h"
#include "tests/support/CTempFolder.h"

#include <thread>

using namespace TKRuntimeLogger;

namespace {

// A DLL with a logger of its own, loaded for as long as the object lives.
struct CModule {
    void Log(const wchar_t* text) const {
        const auto function = reinterpret_cast<void*>(::GetProcAddress(library.Get(), "LogFromModule"));
        reinterpret_cast<void (*)(const wchar_t*)>(function)(text);
    }
    const base::CAutoLibrary library{::LoadLibraryW(L"diagnostics_module.dll")};
};

HRESULT Write(CLogToFile& sink, const std::wstring& message) {
    return sink.Log(1, base::CBstr(L"cat").Get(), 2, 3, base::CBstr(L"file").Get(), 4, base::CBstr(L"func").Get(),
                    base::CBstr(message).Get());
}

std::string Line(const std::string& message) {
    return "SEV: 1, CAT: cat, PID: 2, TID: 3, FILE: file, LINE: 4, FUNC: func, MSG: " + message + "\r\n";
}

base::CAutoHandle Open(const std::wstring& path, DWORD sharing) {
    return base::CAutoHandle(
        ::CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, sharing, nullptr, OPEN_EXISTING, 0, nullptr));
}

struct CLogToFileTest : ::testing::Test {
    const CLogFileSetting setting{};
    const CTempFile log;
    const std::wstring& path = log.Path();
};

TEST_F(CLogToFileTest, OnlyAPlainStringOpensAFile) {
    const struct {
        std::wstring text;
        DWORD type;
        std::size_t bytesLess;
        bool opens;
    } cases[] = {{path, REG_SZ, 0, true},
                 {path, REG_SZ, 1, true},
                 {L"", REG_SZ, 0, false},
                 {path, REG_EXPAND_SZ, 0, false},
                 {path + L"\\log.txt", REG_SZ, 0, false}};
    std::string expected;
    EXPECT_FALSE(CLogToFile().IsEnabled()) << "no value at all";
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        setting.Set(c.text, c.type, c.bytesLess);
        CLogToFile sink;
        EXPECT_EQ(c.opens, sink.IsEnabled());
        EXPECT_EQ(S_OK, Write(sink, L"text"));
        expected += c.opens ? Line("text") : "";
        EXPECT_EQ(expected, log.Contents()) << "each appends";
    }
}

TEST_F(CLogToFileTest, ARecordIsOneLineWithAllItsFieldsInOrder) {
    setting.Set(path);
    CLogToFile sink;
    EXPECT_EQ(S_OK, sink.Log(7, base::CBstr(L"cat").Get(), 0x80000000, 4294967295u, base::CBstr(L"..\\file").Get(), -1,
                             base::CBstr(L"CThing::Do").Get(), base::CBstr(L"50% of %s").Get()));
    EXPECT_EQ(S_OK, sink.Log(-1, nullptr, 1, 2, nullptr, 0, nullptr, nullptr));
    std::string expected =
        "SEV: 7, CAT: cat, PID: -2147483648, TID: -1, FILE: ..\\file, LINE: -1, FUNC: CThing::Do, MSG: 50% of %s\r\n"
        "SEV: -1, CAT: , PID: 1, TID: 2, FILE: , LINE: 0, FUNC: , MSG: \r\n";
    const std::pair<std::wstring, std::string> cases[] = {
        {L"\u00DFe \u6587 \U0001F600", "\xC3\x9F\x65 \xE6\x96\x87 \xF0\x9F\x98\x80"},
        {std::wstring(32000, L'x'), std::string(32000, 'x')},
        {{0xD800, L'-', 0xDC00}, "\xEF\xBF\xBD-\xEF\xBF\xBD"},
        {L"one\r\ntwo\nSEV: 4", "one\xE2\x90\x8D\xE2\x90\x8Atwo\xE2\x90\x8ASEV: 4"}};
    for (const auto& [text, bytes] : cases) {
        EXPECT_EQ(S_OK, Write(sink, text));
        expected += Line(bytes);
    }
    EXPECT_EQ(S_OK, sink.LogProfile(0, nullptr, 0, nullptr, 0, nullptr, nullptr, 1, 0, 1, 1)) << "stays out";
    EXPECT_EQ(expected, log.Contents());
}

TEST_F(CLogToFileTest, LongPathWithForeignLettersIsCreated) {
    const CTempFolder folder({std::wstring(220, L'n') + L'\u00E4'});
    const std::wstring file = folder.PathOf(L"log.txt");
    setting.Set(file.substr(4));  // without the prefix
    EXPECT_TRUE(CLogToFile().IsEnabled());
    EXPECT_TRUE(::DeleteFileW(file.c_str()));
}

TEST_F(CLogToFileTest, OpenFileCanBeReadLockedRenamedAndDeleted) {
    setting.Set(path);
    CLogToFile sink;
    {
        const base::CAutoHandle reader = Open(path, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE);
        OVERLAPPED fromTheStart{};
        ASSERT_TRUE(::LockFileEx(reader.Get(), LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &fromTheStart));
        Write(sink, L"text");
    }
    EXPECT_EQ(Line("text"), log.Contents());
    EXPECT_TRUE(::MoveFileW(path.c_str(), (path + L".old").c_str()));
    EXPECT_TRUE(::DeleteFileW((path + L".old").c_str()));
}

ULONGLONG g_nowMs = 0;
int g_locks = 0;
DWORD g_lockError = 0;  // 0: locks are granted
decltype(&::LockFileEx) g_lock;
ULONGLONG WINAPI HalfASecondLater() {
    return g_nowMs += 500;
}
BOOL WINAPI CountLock(HANDLE file, DWORD flags, DWORD zero, DWORD low, DWORD high, LPOVERLAPPED where) {
    ++g_locks;
    return g_lockError == 0 ? g_lock(file, flags, zero, low, high, where) : (::SetLastError(g_lockError), FALSE);
}

// Each sink has opened the file by itself, as those of different modules and processes do.
TEST_F(CLogToFileTest, EveryLineIsWrittenWithOrWithoutALock) {
    setting.Set(path);
    const CImportHook clock("GetTickCount64", &HalfASecondLater), lock("LockFileEx", &CountLock, &g_lock);
    const struct {
        DWORD error;
        size_t sinks;
        // The time that passes before each line, and how many locks are asked for until it is written.
        std::vector<std::pair<ULONGLONG, int>> lines;
    } cases[] = {{0, 3, {{0, 1}, {0, 1}, {0, 1}, {0, 1}}},
                 {ERROR_LOCK_VIOLATION, 1, {{0, 5}, {0, 0}, {30'000, 1}, {0, 0}}},
                 {ERROR_NOT_SUPPORTED, 1, {{0, 1}, {90'000, 0}}}};
    std::string expected;
    for (const auto& c : cases) {
        CLogToFile sinks[3];
        size_t next = 0;
        g_lockError = c.error;
        for (const auto& [passedMs, locks] : c.lines) {
            g_nowMs += passedMs;
            g_locks = 0;
            EXPECT_EQ(S_OK, Write(sinks[next++ % c.sinks], L"text"));
            EXPECT_EQ(locks, g_locks);
            EXPECT_EQ(expected += Line("text"), log.Contents());
        }
    }
}

TEST_F(CLogToFileTest, TheFileIsOpenExactlyWhileTheModuleIsLoaded) {
    setting.Set(path);
    CModule().Log(L"h\u00F6r");
    EXPECT_EQ("SEV: 1, CAT: module, PID: " + std::to_string(::GetCurrentProcessId()) +
                  ", TID: " + std::to_string(::GetCurrentThreadId()) +
                  ", FILE: ChildModule, LINE: 9, FUNC: LogFromModule, MSG: h\xC3\xB6r\r\n",
              log.Contents());
    EXPECT_TRUE(Open(path, 0)) << "nobody has it open";
}

TEST_F(CLogToFileTest, PublishedServiceIsPreferredToTheFileUnlessItsProxyIsMissing) {
    setting.Set(path);
    CPublishedLogger published;
    OnNewThread([] {
        const CModule module;
        module.Log(L"one");
        OnNewThread([&] { module.Log(L"two"); });
    });
    EXPECT_EQ("", log.Contents());
    std::jthread([] {
        const CTestApartment otherThanThePublishers(COINIT_APARTMENTTHREADED);
        CModule().Log(L"three");
    }).join();
    EXPECT_EQ((std::vector<std::wstring>{L"one", L"two"}), published->Messages());
    EXPECT_TRUE(log.Contents().ends_with("MSG: three\r\n"));
}

}  // namespace
