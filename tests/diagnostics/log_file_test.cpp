// The log file: which registry values open one, what a line looks like, and who may write at the same time.
#include "diagnostics/CBstr.h"
#include "diagnostics/CLogToFile.h"
#include "tests/support/CRecordingLogger.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <set>

using namespace TKRuntimeLogger;
namespace fs = std::filesystem;

namespace {

// The registry value that names the log file, for as long as the object lives.
struct CLogFileSetting {
    explicit CLogFileSetting(const std::wstring& path) : CLogFileSetting(REG_SZ, path.c_str(), path.size() * 2 + 2) {}
    CLogFileSetting(DWORD type, const void* data, std::size_t bytes) {
        EXPECT_EQ(ERROR_SUCCESS,
                  ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, kKey, L"LogFile", type, data, static_cast<DWORD>(bytes)));
    }
    CLogFileSetting(const CLogFileSetting&) = delete;
    CLogFileSetting& operator=(const CLogFileSetting&) = delete;
    ~CLogFileSetting() { ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, kKey); }
    static constexpr wchar_t kKey[] = L"SOFTWARE\\Tavel\\TKRuntimeLogger";
};

using Texts = std::vector<std::string>;

// The complete lines, without their CR LF; what follows the last one is a line of its own.
Texts Lines(const std::wstring& path) {
    std::ifstream file(fs::path(path), std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    Texts lines;
    std::size_t begin = 0;
    for (std::size_t end; (end = bytes.find("\r\n", begin)) != std::string::npos; begin = end + 2)
        lines.push_back(bytes.substr(begin, end - begin));
    if (begin < bytes.size())
        lines.push_back("incomplete: " + bytes.substr(begin));
    return lines;
}

// A child program that is running; ends by itself.
struct CChild {
    explicit CChild(const std::wstring& arguments) {
        std::wstring command = L"diagnostics_child.exe " + arguments;
        STARTUPINFOW startup{};
        startup.cb = sizeof(startup);
        PROCESS_INFORMATION started{};
        EXPECT_TRUE(::CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                                     &started));
        process.Reset(started.hProcess);
        ::CloseHandle(started.hThread);
        id = started.dwProcessId;
    }
    DWORD Wait() const {
        DWORD code = STILL_ACTIVE;
        ::WaitForSingleObject(process.Get(), INFINITE);
        ::GetExitCodeProcess(process.Get(), &code);
        return code;
    }
    CAutoHandle process;
    DWORD id = 0;
};

// A DLL with a logger of its own, loaded for as long as the object lives.
struct CModule {
    template <class Argument>
    void Call(const char* name, Argument argument) const {
        const auto function = reinterpret_cast<void*>(::GetProcAddress(library.Get(), name));
        reinterpret_cast<void (*)(Argument)>(function)(argument);
    }
    void Log(const wchar_t* text) const { Call("LogFromModule", text); }
    CAutoLibrary library{::LoadLibraryW(L"diagnostics_module.dll")};
};

struct LogFileTest : ::testing::Test {
    LogFileTest() { fs::create_directories(folder); }
    ~LogFileTest() override {
        std::error_code ignored;
        fs::remove_all(folder, ignored);
    }
    static HRESULT Write(CLogToFile& sink, const std::wstring& message) {
        return sink.Log(1, CBstr(L"cat").Get(), 2, 3, CBstr(L"file").Get(), 4, CBstr(L"func").Get(),
                        CBstr(message).Get());
    }
    static std::string Line(const std::string& message) {
        return "SEV: 1, CAT: cat, PID: 2, TID: 3, FILE: file, LINE: 4, FUNC: func, MSG: " + message;
    }
    const std::wstring processId = std::to_wstring(::GetCurrentProcessId());
    const fs::path folder = fs::temp_directory_path() / (L"diagnostics-" + processId);
    const std::wstring path = (folder / L"log.txt").wstring();
};

TEST_F(LogFileTest, OnlyAPlainStringOpensAFile) {
    const std::wstring terminated = path + L'\0';
    const std::wstring unopenable = (folder / L"no such folder" / L"log.txt").wstring();
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
                 {REG_SZ, folder.c_str(), folder.native().size() * 2, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        ::DeleteFileW(path.c_str());
        const CLogFileSetting setting(c.type, c.data, c.bytes);
        CLogToFile sink;
        EXPECT_EQ(c.opens, sink.IsEnabled());
        EXPECT_EQ(S_OK, Write(sink, L"text"));
        EXPECT_EQ(c.opens ? Texts{Line("text")} : Texts{}, Lines(path));
    }
}

TEST_F(LogFileTest, WithoutTheValueThereIsNoFile) {
    CLogToFile sink;
    EXPECT_FALSE(sink.IsEnabled());
    EXPECT_EQ(S_OK, Write(sink, L"text"));
    EXPECT_EQ(0u, CChild(L"write 1 3").Wait());
    EXPECT_TRUE(fs::is_empty(folder));
}

TEST_F(LogFileTest, LineHasEveryFieldInOrderAndEveryCharacterAndStaysOneLine) {
    const CLogFileSetting setting(path);
    CLogToFile sink;
    EXPECT_EQ(S_OK, sink.Log(7, CBstr(L"TvFileSourceAsync").Get(), 0x80000000, 4294967295u,
                             CBstr(L"..\\..\\Helper\\FileAccess").Get(), -1, CBstr(L"CThing::Do").Get(),
                             CBstr(L"50% of %s").Get()));
    EXPECT_EQ(S_OK, sink.Log(-1, nullptr, 1, 2, nullptr, 0, nullptr, nullptr));
    Texts expected{
        "SEV: 7, CAT: TvFileSourceAsync, PID: -2147483648, TID: -1, FILE: ..\\..\\Helper\\FileAccess, LINE: -1, "
        "FUNC: CThing::Do, MSG: 50% of %s",
        "SEV: -1, CAT: , PID: 1, TID: 2, FILE: , LINE: 0, FUNC: , MSG: "};
    std::string longBytes;
    for (int i = 0; i < 32000; ++i)
        longBytes += "\xC3\xBC";
    const std::pair<std::wstring, std::string> cases[] = {
        {L"\u00DFe \u6587 \U0001F600 \u05D0", "\xC3\x9F\x65 \xE6\x96\x87 \xF0\x9F\x98\x80 \xD7\x90"},
        {std::wstring(32000, L'\u00FC'), longBytes},
        {{0xD800, L'-', 0xDC00}, "\xEF\xBF\xBD-\xEF\xBF\xBD"},
        {L"one\r\ntwo\nSEV: 4", "one\xE2\x90\x8D\xE2\x90\x8Atwo\xE2\x90\x8ASEV: 4"}};
    for (const auto& [text, bytes] : cases) {
        EXPECT_EQ(S_OK, Write(sink, text));
        expected.push_back(Line(bytes));
    }
    EXPECT_EQ(expected, Lines(path));
}

TEST_F(LogFileTest, LongPathWithForeignLettersOpensAndIsAppendedTo) {
    std::vector<std::wstring> folders{L"\\\\?\\" + folder.wstring()};
    for (int depth = 0; depth < 3; ++depth) {
        folders.push_back(folders.back() + L"\\" + std::wstring(100, L'\u00E4'));
        ASSERT_TRUE(::CreateDirectoryW(folders.back().c_str(), nullptr));
    }
    const std::wstring prefixed = folders.back() + L"\\log.txt";
    const CLogFileSetting setting(prefixed.substr(4));
    for (const wchar_t* message : {L"first", L"second"}) {
        CLogToFile sink;
        Write(sink, message);
    }
    EXPECT_EQ((Texts{Line("first"), Line("second")}), Lines(prefixed));
    EXPECT_TRUE(::DeleteFileW(prefixed.c_str()));
    for (; !folders.empty(); folders.pop_back())
        EXPECT_TRUE(::RemoveDirectoryW(folders.back().c_str()));
}

TEST_F(LogFileTest, OpenFileCanBeReadLockedRenamedAndDeleted) {
    const CLogFileSetting setting(path);
    CLogToFile sink;
    {
        const CAutoHandle stranger(::CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE,
                                                 FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                                 OPEN_EXISTING, 0, nullptr));
        OVERLAPPED behindAnyData{};
        behindAnyData.OffsetHigh = 0x10000000;
        ASSERT_TRUE(::LockFileEx(stranger.Get(), LOCKFILE_EXCLUSIVE_LOCK, 0, 0, 0x70000000, &behindAnyData));
        Write(sink, L"one");
        Write(sink, L"two");
    }
    EXPECT_EQ((Texts{Line("one"), Line("two")}), Lines(path));
    EXPECT_TRUE(::MoveFileW(path.c_str(), (path + L".old").c_str()));
    EXPECT_TRUE(::DeleteFileW((path + L".old").c_str()));
}

TEST_F(LogFileTest, TimingAndExplicitRecordsStayOut) {
    const CLogFileSetting setting(path);
    CLogToFile sink;
    EXPECT_EQ(S_OK, sink.LogProfile(0, nullptr, 0, nullptr, 0, nullptr, nullptr, 1, 0, 1, 1));
    EXPECT_EQ(S_OK, sink.LogExplicit(0, nullptr, 0, 0, nullptr, 0, 0, nullptr, nullptr, VARIANT_TRUE));
    EXPECT_EQ(Texts{}, Lines(path));
}

TEST_F(LogFileTest, ThreadsAndProcessesAppendWholeLinesToOneFile) {
    const CLogFileSetting setting(path);
    const CChild children[] = {CChild(L"write 3 100"), CChild(L"write 3 100"), CChild(L"write 3 100")};
    std::set<std::string> expected, found;
    for (const CChild& child : children) {
        EXPECT_EQ(0u, child.Wait());
        for (int i = 0; i < 300; ++i)
            expected.insert(std::to_string(child.id) + " worker " + std::to_string(i / 100) + " record " +
                            std::to_string(i % 100));
    }
    // Within a line, the two thread ids must agree and the padding must have the length that the record says.
    const std::regex form(R"(SEV: 1, CAT: child, PID: (\d+), TID: (\d+), FILE: child_program, LINE: \d+, FUNC: Work, )"
                          R"(MSG: (worker \d record (\d+)) of thread \2 ((?:\xC3\xBC)*))");
    for (const std::string& line : Lines(path)) {
        std::smatch parts;
        ASSERT_TRUE(std::regex_match(line, parts, form)) << line;
        EXPECT_EQ(2 * std::stol(parts[4]), parts[5].length()) << line;
        EXPECT_TRUE(found.insert(parts[1].str() + " " + parts[3].str()).second) << "twice: " << line;
    }
    EXPECT_EQ(expected, found);
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

TEST_F(LogFileTest, ModuleOpensTheFileAtLoadAndLeavesNothingBehindAtUnload) {
    const CLogFileSetting setting(path);
    CModule().Log(L"h\u00F6r");
    DWORD slots[2]{};
    {
        const CModule module;
        module.Log(L"h\u00F6r");
        module.Call("GetModuleSlots", +slots);
        EXPECT_FALSE(IsFreeSlot(slots[0]) || IsFreeSlot(slots[1]));
    }
    EXPECT_TRUE(IsFreeSlot(slots[0]) && IsFreeSlot(slots[1]));
    const std::string line = "SEV: 1, CAT: module, PID: " + std::to_string(::GetCurrentProcessId()) +
                             ", TID: " + std::to_string(::GetCurrentThreadId()) +
                             ", FILE: child_module, LINE: 9, FUNC: LogFromModule, MSG: h\xC3\xB6r";
    EXPECT_EQ((Texts{line, line}), Lines(path));
    // A handle left open would make this fail: it grants nobody else anything.
    EXPECT_TRUE(CAutoHandle(::CreateFileW(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr)));
}

TEST_F(LogFileTest, PublishedServiceIsPreferredToTheFileAndTheModuleMayBeUnloaded) {
    const CLogFileSetting setting(path);
    CPublishedLogger published;
    OnNewThread([] { CModule().Log(L"one"); });
    OnNewThread([] {
        const CModule module;
        module.Log(L"two");
        OnNewThread([&] { module.Log(L"three"); });
    });
    EXPECT_EQ((std::vector<std::wstring>{L"one", L"two", L"three"}), published->Messages());
    EXPECT_EQ(Texts{}, Lines(path));
}

TEST_F(LogFileTest, ServiceOfAnotherProcessWithoutProxiesIsPassedOverForTheFile) {
    const CLogFileSetting setting(path);
    const CAutoHandle ready(::CreateEventW(nullptr, TRUE, FALSE, (L"diagnostics-ready-" + processId).c_str()));
    const CAutoHandle done(::CreateEventW(nullptr, TRUE, FALSE, (L"diagnostics-done-" + processId).c_str()));
    const CChild service(L"publish diagnostics-ready-" + processId + L" diagnostics-done-" + processId);
    const HANDLE either[] = {ready.Get(), service.process.Get()};
    ASSERT_EQ(WAIT_OBJECT_0, ::WaitForMultipleObjects(2, either, FALSE, INFINITE));
    OnNewThread([] { CModule().Log(L"text"); });
    ::SetEvent(done.Get());
    EXPECT_EQ(0u, service.Wait());
    EXPECT_EQ(1u, Lines(path).size());
}

}  // namespace
