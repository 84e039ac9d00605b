// The log file: which registry values open one, what a line looks like, and who may write at the same time.
#include "diagnostics/CBstr.h"
#include "diagnostics/CLogToFile.h"
#include "tests/diagnostics/LogFileSetting.h"
#include "tests/support/CRecordingLogger.h"

#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <regex>
#include <set>
#include <string>
#include <vector>

using namespace TKRuntimeLogger;
namespace fs = std::filesystem;

namespace {

std::wstring ProgramFolder() {
    wchar_t path[MAX_PATH];
    ::GetModuleFileNameW(nullptr, path, MAX_PATH);
    return fs::path(path).parent_path().wstring();
}

std::string ReadWhole(const std::wstring& path) {
    CAutoHandle file(::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                   nullptr, OPEN_EXISTING, 0, nullptr));
    std::string bytes(file ? ::GetFileSize(file.Get(), nullptr) : 0, '\0');
    DWORD read = 0;
    ::ReadFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr);
    return bytes;
}

// The complete lines, without their CR LF; what follows the last one is a line of its own.
std::vector<std::string> Lines(const std::string& bytes) {
    std::vector<std::string> lines;
    std::size_t begin = 0;
    for (std::size_t end; (end = bytes.find("\r\n", begin)) != std::string::npos; begin = end + 2)
        lines.push_back(bytes.substr(begin, end - begin));
    if (begin < bytes.size())
        lines.push_back("incomplete: " + bytes.substr(begin));
    return lines;
}

std::string PidAndTid(DWORD process, DWORD thread) {
    return "PID: " + std::to_string(process) + ", TID: " + std::to_string(thread);
}

// A child program that is running; ends by itself.
struct CChild {
    explicit CChild(const std::wstring& arguments) {
        std::wstring command = L"\"" + ProgramFolder() + L"\\diagnostics_child.exe\" " + arguments;
        STARTUPINFOW startup{};
        startup.cb = sizeof(startup);
        PROCESS_INFORMATION started{};
        EXPECT_TRUE(::CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                                     &started));
        process.Reset(started.hProcess);
        const CAutoHandle thread(started.hThread);
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

struct LogFileTest : ::testing::Test {
    LogFileTest() {
        folder = fs::temp_directory_path() / (L"diagnostics-" + std::to_wstring(::GetCurrentProcessId()));
        fs::create_directories(folder);
        path = (folder / L"log.txt").wstring();
    }
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

    fs::path folder;
    std::wstring path;
};

TEST_F(LogFileTest, OnlyAPlainStringOpensAFile) {
    const std::wstring terminated = path + L'\0';
    const std::wstring unopenable = (folder / L"no such folder" / L"log.txt").wstring();
    const std::wstring directory = folder.wstring();
    struct Case {
        const char* name;
        DWORD type;
        const void* data;
        std::size_t bytes;
        bool opens;
    };
    const std::size_t chars = path.size();
    const Case cases[] = {
        {"terminated", REG_SZ, terminated.data(), (chars + 1) * 2, true},
        {"without terminator", REG_SZ, path.data(), chars * 2, true},
        {"half a terminator", REG_SZ, terminated.data(), chars * 2 + 1, true},
        {"empty", REG_SZ, L"", 2, false},
        {"no data", REG_SZ, L"", 0, false},
        {"to be expanded", REG_EXPAND_SZ, terminated.data(), (chars + 1) * 2, false},
        {"list", REG_MULTI_SZ, terminated.data(), (chars + 1) * 2, false},
        {"binary", REG_BINARY, terminated.data(), (chars + 1) * 2, false},
        {"folder that isn't there", REG_SZ, unopenable.data(), unopenable.size() * 2, false},
        {"folder", REG_SZ, directory.data(), directory.size() * 2, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ::DeleteFileW(path.c_str());
        const CLogFileSetting setting(c.type, c.data, c.bytes);
        CLogToFile sink;
        EXPECT_EQ(c.opens, sink.IsEnabled());
        EXPECT_EQ(S_OK, Write(sink, L"text"));
        EXPECT_EQ(c.opens ? std::vector{Line("text")} : std::vector<std::string>{}, Lines(ReadWhole(path)));
    }
}

TEST_F(LogFileTest, WithoutTheValueThereIsNoFile) {
    CLogToFile sink;
    EXPECT_FALSE(sink.IsEnabled());
    EXPECT_EQ(S_OK, Write(sink, L"text"));
    EXPECT_TRUE(fs::is_empty(folder));
}

TEST_F(LogFileTest, LineHasEveryFieldInOrder) {
    const CLogFileSetting setting(path);
    CLogToFile sink;
    ASSERT_EQ(S_OK, sink.Log(7, CBstr(L"TvFileSourceAsync").Get(), 0x80000000, 4294967295u,
                             CBstr(L"..\\..\\Helper\\FileAccess").Get(), -1, CBstr(L"CThing::Do").Get(),
                             CBstr(L"50% of %s").Get()));
    ASSERT_EQ(S_OK, sink.Log(-1, nullptr, 1, 2, nullptr, 0, nullptr, nullptr));
    EXPECT_EQ(
        "SEV: 7, CAT: TvFileSourceAsync, PID: -2147483648, TID: -1, FILE: ..\\..\\Helper\\FileAccess, LINE: -1, "
        "FUNC: CThing::Do, MSG: 50% of %s\r\n"
        "SEV: -1, CAT: , PID: 1, TID: 2, FILE: , LINE: 0, FUNC: , MSG: \r\n",
        ReadWhole(path));
}

TEST_F(LogFileTest, EveryCharacterOfANameIsKeptAndOneRecordStaysOneLine) {
    const std::wstring longName(32000, L'\u00FC');
    std::string longBytes;
    for (std::size_t i = 0; i < longName.size(); ++i)
        longBytes += "\xC3\xBC";
    const std::pair<std::wstring, std::string> cases[] = {
        {L"Gr\u00FC\u00DFe \u6587\u4EF6 \U0001F600 \u05D0",
         "Gr\xC3\xBC\xC3\x9F"
         "e \xE6\x96\x87\xE4\xBB\xB6 \xF0\x9F\x98\x80 \xD7\x90"},
        {longName, longBytes},
        {std::wstring(L"a") + wchar_t{0xD800} + L"b" + wchar_t{0xDC00},
         "a\xEF\xBF\xBD"
         "b\xEF\xBF\xBD"},
        {L"one\r\ntwo\nSEV: 4", "one\xE2\x90\x8D\xE2\x90\x8Atwo\xE2\x90\x8ASEV: 4"},
    };
    const CLogFileSetting setting(path);
    CLogToFile sink;
    std::vector<std::string> expected;
    for (const auto& [text, bytes] : cases) {
        EXPECT_EQ(S_OK, Write(sink, text));
        expected.push_back(Line(bytes));
    }
    EXPECT_EQ(expected, Lines(ReadWhole(path)));
}

TEST_F(LogFileTest, LongPathWithForeignLettersOpensAndIsAppendedTo) {
    fs::path deep = folder;
    while (deep.native().size() < 400)
        deep /= std::wstring(60, L'\u00E4');
    const std::wstring prefixed = L"\\\\?\\" + deep.wstring();
    for (std::size_t end = folder.native().size() + 4; end < prefixed.size(); ++end) {
        if (end + 1 == prefixed.size() || prefixed[end + 1] == L'\\')
            ::CreateDirectoryW(prefixed.substr(0, end + 1).c_str(), nullptr);
    }
    const CLogFileSetting setting((deep / L"log.txt").wstring());
    for (const wchar_t* message : {L"first", L"second"}) {
        CLogToFile sink;
        EXPECT_TRUE(sink.IsEnabled());
        Write(sink, message);
    }
    EXPECT_EQ((std::vector{Line("first"), Line("second")}), Lines(ReadWhole(prefixed + L"\\log.txt")));
    ::DeleteFileW((prefixed + L"\\log.txt").c_str());
    for (std::wstring left = prefixed; left.size() > folder.native().size() + 4; left.resize(left.rfind(L'\\')))
        ::RemoveDirectoryW(left.c_str());
}

TEST_F(LogFileTest, FileCanBeReadRenamedAndDeletedWhileItIsOpen) {
    const CLogFileSetting setting(path);
    CLogToFile sink;
    Write(sink, L"text");
    EXPECT_EQ(std::vector{Line("text")}, Lines(ReadWhole(path)));
    EXPECT_TRUE(::MoveFileW(path.c_str(), (path + L".old").c_str()));
    EXPECT_TRUE(::DeleteFileW((path + L".old").c_str()));
}

TEST_F(LogFileTest, StrangersLockOnTheFileCostsNoRecord) {
    const CLogFileSetting setting(path);
    CLogToFile sink;
    ASSERT_TRUE(sink.IsEnabled());
    const CAutoHandle stranger(::CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE,
                                             FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                             OPEN_EXISTING, 0, nullptr));
    OVERLAPPED behindAnyData{};
    behindAnyData.OffsetHigh = 0x10000000;
    ASSERT_TRUE(::LockFileEx(stranger.Get(), LOCKFILE_EXCLUSIVE_LOCK, 0, 0, 0x70000000, &behindAnyData));
    Write(sink, L"one");
    Write(sink, L"two");
    EXPECT_EQ((std::vector{Line("one"), Line("two")}), Lines(ReadWhole(path)));
}

TEST_F(LogFileTest, SinkAnswersNoQueryAndIsNotCounted) {
    CLogToFile sink;
    for (const IID& iid : {__uuidof(IUnknown), __uuidof(ITKRuntimeLogger)}) {
        void* object = &sink;
        EXPECT_EQ(E_NOINTERFACE, sink.QueryInterface(iid, &object));
        EXPECT_EQ(nullptr, object);
    }
    EXPECT_EQ(E_POINTER, sink.QueryInterface(__uuidof(IUnknown), nullptr));
    EXPECT_EQ(2u, sink.AddRef());
    EXPECT_EQ(2u, sink.Release());
}

TEST_F(LogFileTest, TimingAndExplicitRecordsStayOut) {
    const CLogFileSetting setting(path);
    CLogToFile sink;
    EXPECT_EQ(S_OK, sink.LogProfile(0, nullptr, 0, nullptr, 0, nullptr, nullptr, 1, 0, 1, 1));
    EXPECT_EQ(S_OK, sink.LogExplicit(0, nullptr, 0, 0, nullptr, 0, 0, nullptr, nullptr, VARIANT_TRUE));
    EXPECT_EQ("", ReadWhole(path));
}

TEST_F(LogFileTest, ThreadsAndProcessesAppendWholeLinesToOneFile) {
    constexpr int kChildren = 3, kThreads = 3, kRecords = 100;
    const CLogFileSetting setting(path);
    std::vector<CChild> children;
    children.reserve(kChildren);
    for (int i = 0; i < kChildren; ++i)
        children.emplace_back(L"write " + std::to_wstring(kThreads) + L" " + std::to_wstring(kRecords));
    std::set<std::string> expected;
    for (const CChild& child : children) {
        EXPECT_EQ(0u, child.Wait());
        for (int worker = 0; worker < kThreads; ++worker) {
            for (int record = 0; record < kRecords; ++record)
                expected.insert(std::to_string(child.id) + " worker " + std::to_string(worker) + " record " +
                                std::to_string(record));
        }
    }
    // Within a line, the two thread ids must agree and the padding must have the length that the record says.
    const std::regex form(R"(SEV: 1, CAT: child, PID: (\d+), TID: (\d+), FILE: child_program, LINE: \d+, FUNC: Work, )"
                          R"(MSG: (worker \d record (\d+)) of thread \2 ((?:\xC3\xBC)*))");
    std::set<std::string> found;
    for (const std::string& line : Lines(ReadWhole(path))) {
        std::smatch parts;
        ASSERT_TRUE(std::regex_match(line, parts, form)) << line;
        EXPECT_EQ(2 * std::stol(parts[4]), parts[5].length()) << line;
        EXPECT_TRUE(found.insert(parts[1].str() + " " + parts[3].str()).second) << "twice: " << line;
    }
    EXPECT_EQ(expected, found);
}

TEST_F(LogFileTest, ProcessWithoutTheValueWritesNowhere) {
    EXPECT_EQ(0u, CChild(L"write 1 3").Wait());
    EXPECT_TRUE(fs::is_empty(folder));
}

// A DLL with a logger of its own, loaded for as long as the object lives.
struct CModule {
    CModule() : library(::LoadLibraryW((ProgramFolder() + L"\\diagnostics_module.dll").c_str())) {}
    void Log(const wchar_t* text) const { Export<void (*)(const wchar_t*)>("LogFromModule")(text); }
    std::array<DWORD, 2> Slots() const {
        std::array<DWORD, 2> slots{};
        Export<void (*)(DWORD*)>("GetModuleSlots")(slots.data());
        return slots;
    }
    template <class Function>
    Function Export(const char* name) const {
        return reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(library.Get(), name)));
    }
    CAutoLibrary library;
};

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
    std::vector<std::string> expected;
    for (int round = 0; round < 3; ++round) {
        std::array<DWORD, 2> slots{};
        {
            const CModule module;
            ASSERT_TRUE(module.library);
            module.Log(L"h\u00F6r");
            slots = module.Slots();
            EXPECT_FALSE(IsFreeSlot(slots[0]) || IsFreeSlot(slots[1]));
        }
        EXPECT_TRUE(IsFreeSlot(slots[0]) && IsFreeSlot(slots[1]));
        expected.push_back("SEV: 1, CAT: module, " + PidAndTid(::GetCurrentProcessId(), ::GetCurrentThreadId()) +
                           ", FILE: child_module, LINE: 9, FUNC: LogFromModule, MSG: h\xC3\xB6r");
    }
    EXPECT_EQ(expected, Lines(ReadWhole(path)));
    // A handle left open would make this fail: it grants nobody else anything.
    EXPECT_TRUE(CAutoHandle(::CreateFileW(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr)));
}

TEST_F(LogFileTest, ModuleMayBeUnloadedWhileAServiceIsPublished) {
    const auto logger = CRecordingLogger::Create();
    {
        CPublishedLogger published(logger);
        OnNewThread([] {
            const CModule module;
            module.Log(L"one");
        });
        OnNewThread([] {
            const CModule module;
            module.Log(L"two");
            OnNewThread([&] { module.Log(L"three"); });
        });
    }
    EXPECT_EQ((std::vector<std::wstring>{L"one", L"two", L"three"}), logger->Messages());
}

TEST_F(LogFileTest, PublishedServiceIsPreferredToTheFile) {
    const CLogFileSetting setting(path);
    CPublishedLogger published;
    OnNewThread([] { CModule().Log(L"text"); });
    EXPECT_EQ(std::vector<std::wstring>{L"text"}, published->Messages());
    EXPECT_EQ("", ReadWhole(path));
}

TEST_F(LogFileTest, ServiceOfAnotherProcessWithoutProxiesIsPassedOverForTheFile) {
    const CLogFileSetting setting(path);
    const std::wstring suffix = std::to_wstring(::GetCurrentProcessId());
    const CAutoHandle ready(::CreateEventW(nullptr, TRUE, FALSE, (L"diagnostics-ready-" + suffix).c_str()));
    const CAutoHandle done(::CreateEventW(nullptr, TRUE, FALSE, (L"diagnostics-done-" + suffix).c_str()));
    const CChild service(L"publish diagnostics-ready-" + suffix + L" diagnostics-done-" + suffix);
    const HANDLE either[] = {ready.Get(), service.process.Get()};
    ASSERT_EQ(WAIT_OBJECT_0, ::WaitForMultipleObjects(2, either, FALSE, INFINITE));
    OnNewThread([] { CModule().Log(L"text"); });
    ::SetEvent(done.Get());
    EXPECT_EQ(0u, service.Wait());
    EXPECT_EQ(1u, Lines(ReadWhole(path)).size());
}

}  // namespace
