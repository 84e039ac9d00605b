// The log file: which registry values open one, what a line looks like, and who may write at the same time.
#include "diagnostics/CBstr.h"
#include "diagnostics/CLogToFile.h"
#include "tests/support/CRecordingLogger.h"
#include "tests/support/CTempFile.h"
#include "tests/support/CTestApartment.h"

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <sstream>
#include <thread>

using namespace TKRuntimeLogger;

namespace {

constexpr wchar_t kKey[] = L"SOFTWARE\\Tavel\\TKRuntimeLogger";

// A DLL with a logger of its own, loaded for as long as the object lives.
struct CModule {
    // Logs a record, and gives the two thread-local slots that the module's logger holds.
    std::pair<DWORD, DWORD> Log(const wchar_t* text) const {
        DWORD slots[2]{};
        const auto function = reinterpret_cast<void*>(::GetProcAddress(library.Get(), "LogFromModule"));
        reinterpret_cast<void (*)(const wchar_t*, DWORD*)>(function)(text, slots);
        return {slots[0], slots[1]};
    }
    const CAutoLibrary library{::LoadLibraryW(L"diagnostics_module.dll")};
};

HRESULT Write(CLogToFile& sink, const std::wstring& message) {
    return sink.Log(1, CBstr(L"cat").Get(), 2, 3, CBstr(L"file").Get(), 4, CBstr(L"func").Get(), CBstr(message).Get());
}

std::string Line(const std::string& message) {
    return "SEV: 1, CAT: cat, PID: 2, TID: 3, FILE: file, LINE: 4, FUNC: func, MSG: " + message + "\r\n";
}

CAutoHandle Open(const std::wstring& path, DWORD sharing) {
    return CAutoHandle(
        ::CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, sharing, nullptr, OPEN_EXISTING, 0, nullptr));
}

bool IsFreeSlot(DWORD slot) {
    std::vector<DWORD> taken;
    do
        taken.push_back(::TlsAlloc());
    while (taken.back() < slot);  // slots are handed out from the lowest
    for (const DWORD index : taken)
        ::TlsFree(index);
    return taken.back() == slot;
}

struct CLogToFileTest : ::testing::Test {
    ~CLogToFileTest() override { ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, kKey); }

    static void SetValue(DWORD type, const void* data, std::size_t bytes) {
        EXPECT_EQ(ERROR_SUCCESS,
                  ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, kKey, L"LogFile", type, data, static_cast<DWORD>(bytes)));
    }
    static void SetLogFile(const std::wstring& name) { SetValue(REG_SZ, name.c_str(), name.size() * 2 + 2); }

    const CTempFile log;
    const std::wstring& path = log.Path();
};

TEST_F(CLogToFileTest, OnlyAPlainStringOpensAFile) {
    const std::wstring terminated = path + L'\0', unopenable = path + L"\\log.txt";
    const std::size_t bytes = path.size() * 2;
    const struct {
        DWORD type;
        const void* data;
        std::size_t bytes;
        bool opens;
    } cases[] = {{REG_SZ, terminated.data(), bytes + 2, true},
                 {REG_SZ, terminated.data(), bytes, true},
                 {REG_SZ, terminated.data(), bytes + 1, true},
                 {REG_SZ, L"", 2, false},
                 {REG_SZ, L"", 0, false},
                 {REG_EXPAND_SZ, terminated.data(), bytes + 2, false},
                 {REG_BINARY, terminated.data(), bytes + 2, false},
                 {REG_SZ, unopenable.data(), unopenable.size() * 2, false},
                 {REG_SZ, L"C:\\windows", 20, false}};
    std::string expected;
    const auto expectToOpen = [&](bool opens) {
        CLogToFile sink;
        EXPECT_EQ(opens, sink.IsEnabled());
        EXPECT_EQ(S_OK, Write(sink, L"text"));
        expected += opens ? Line("text") : "";
        EXPECT_EQ(expected, log.Contents()) << "each appends";
    };
    expectToOpen(false);  // no value at all
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        SetValue(c.type, c.data, c.bytes);
        expectToOpen(c.opens);
    }
}

TEST_F(CLogToFileTest, LineHasEveryFieldInOrderAndEveryCharacterAndStaysOneLine) {
    SetLogFile(path);
    CLogToFile sink;
    EXPECT_EQ(S_OK, sink.Log(7, CBstr(L"cat").Get(), 0x80000000, 4294967295u, CBstr(L"..\\file").Get(), -1,
                             CBstr(L"CThing::Do").Get(), CBstr(L"50% of %s").Get()));
    EXPECT_EQ(S_OK, sink.Log(-1, nullptr, 1, 2, nullptr, 0, nullptr, nullptr));
    std::string expected =
        "SEV: 7, CAT: cat, PID: -2147483648, TID: -1, FILE: ..\\file, LINE: -1, FUNC: CThing::Do, MSG: 50% of %s\r\n"
        "SEV: -1, CAT: , PID: 1, TID: 2, FILE: , LINE: 0, FUNC: , MSG: \r\n";
    const std::pair<std::wstring, std::string> cases[] = {
        {L"\u00DFe \u6587 \U0001F600 \u05D0", "\xC3\x9F\x65 \xE6\x96\x87 \xF0\x9F\x98\x80 \xD7\x90"},
        {std::wstring(32000, L'x'), std::string(32000, 'x')},
        {{0xD800, L'-', 0xDC00}, "\xEF\xBF\xBD-\xEF\xBF\xBD"},
        {L"one\r\ntwo\nSEV: 4", "one\xE2\x90\x8D\xE2\x90\x8Atwo\xE2\x90\x8ASEV: 4"}};
    for (const auto& [text, bytes] : cases) {
        EXPECT_EQ(S_OK, Write(sink, text));
        expected += Line(bytes);
    }
    EXPECT_EQ(S_OK, sink.LogProfile(0, nullptr, 0, nullptr, 0, nullptr, nullptr, 1, 0, 1, 1)) << "stays out";
    EXPECT_EQ(S_OK, sink.LogExplicit(0, nullptr, 0, 0, nullptr, 0, 0, nullptr, nullptr, VARIANT_TRUE)) << "stays out";
    EXPECT_EQ(expected, log.Contents());
}

TEST_F(CLogToFileTest, LongPathWithForeignLettersIsCreated) {
    const std::wstring folder = L"\\\\?\\" + path + std::wstring(220, L'n') + L'\u00E4', file = folder + L"\\log.txt";
    ASSERT_TRUE(::CreateDirectoryW(folder.c_str(), nullptr));
    SetLogFile(file.substr(4));
    EXPECT_EQ(S_OK, Write(*std::make_unique<CLogToFile>(), L"text"));
    EXPECT_EQ(Line("text").size(), ::GetFileSize(Open(file, 0).Get(), nullptr));
    EXPECT_TRUE(::DeleteFileW(file.c_str()) && ::RemoveDirectoryW(folder.c_str()));
}

TEST_F(CLogToFileTest, OpenFileCanBeReadLockedRenamedAndDeleted) {
    SetLogFile(path);
    CLogToFile sink;
    {
        const CAutoHandle stranger = Open(path, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE);
        OVERLAPPED behindAnyData{};
        behindAnyData.OffsetHigh = 0x10000000;
        ASSERT_TRUE(::LockFileEx(stranger.Get(), LOCKFILE_EXCLUSIVE_LOCK, 0, 0, 0x70000000, &behindAnyData));
        Write(sink, L"one");
        Write(sink, L"two");
    }
    EXPECT_EQ(Line("one") + Line("two"), log.Contents());
    EXPECT_TRUE(::MoveFileW(path.c_str(), (path + L".old").c_str()));
    EXPECT_TRUE(::DeleteFileW((path + L".old").c_str()));
}

// Each sink has opened the file by itself, as those of different modules and processes do.
TEST_F(CLogToFileTest, WritersToOneFileAppendWholeLines) {
    SetLogFile(path);
    CLogToFile sinks[3];
    std::multiset<std::string> expected, found;
    std::vector<std::jthread> threads;
    for (std::size_t writer = 0; writer < 6; ++writer) {
        const std::wstring letter(1, static_cast<wchar_t>(L'a' + writer));
        for (std::size_t length = 1; length <= 100; ++length)
            expected.insert(Line(std::string(length, static_cast<char>(letter[0]))));
        threads.emplace_back([letter, &sink = sinks[writer % 3]] {
            for (std::size_t length = 1; length <= 100; ++length)
                EXPECT_EQ(S_OK, Write(sink, std::wstring(length, letter[0])));
        });
    }
    threads.clear();
    std::istringstream lines(log.Contents());
    for (std::string line; std::getline(lines, line);)
        found.insert(line + '\n');
    EXPECT_EQ(expected, found);
}

TEST_F(CLogToFileTest, ModuleOpensTheFileAtLoadAndLeavesNothingBehindAtUnload) {
    SetLogFile(path);
    std::pair<DWORD, DWORD> slots;
    {
        const CModule module;
        slots = module.Log(L"h\u00F6r");
        EXPECT_FALSE(IsFreeSlot(slots.first) || IsFreeSlot(slots.second));
    }
    EXPECT_TRUE(IsFreeSlot(slots.first) && IsFreeSlot(slots.second));
    EXPECT_EQ("SEV: 1, CAT: module, PID: " + std::to_string(::GetCurrentProcessId()) +
                  ", TID: " + std::to_string(::GetCurrentThreadId()) +
                  ", FILE: ChildModule, LINE: 9, FUNC: LogFromModule, MSG: h\xC3\xB6r\r\n",
              log.Contents());
    EXPECT_TRUE(Open(path, 0)) << "nobody has it open";
}

TEST_F(CLogToFileTest, PublishedServiceIsPreferredToTheFileUnlessItNeedsAProxyThatIsNotThere) {
    SetLogFile(path);
    CPublishedLogger published;
    OnNewThread([] { CModule().Log(L"one"); });
    OnNewThread([] {
        const CModule module;
        module.Log(L"two");
        OnNewThread([&] { module.Log(L"three"); });
    });
    EXPECT_EQ("", log.Contents());
    std::jthread([] {
        const CTestApartment otherThanThePublishers(COINIT_APARTMENTTHREADED);
        CModule().Log(L"four");
    }).join();
    EXPECT_EQ((std::vector<std::wstring>{L"one", L"two", L"three"}), published->Messages());
    EXPECT_TRUE(log.Contents().ends_with("MSG: four\r\n"));
}

}  // namespace
