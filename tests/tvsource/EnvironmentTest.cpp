// What `info --environment` writes to the log, and what it says of the place where that is.
#include "tests/tvsource/CHost.h"
#include "tests/tvsource/CScratchFolder.h"

#include <gtest/gtest.h>

namespace {

// The registry value that names the log file, for as long as the object lives.
struct CLogFile {
    explicit CLogFile(const std::wstring& path) {
        EXPECT_EQ(ERROR_SUCCESS, ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, kKey, L"LogFile", REG_SZ, path.c_str(),
                                                   static_cast<DWORD>((path.size() + 1) * sizeof(wchar_t))));
    }
    CLogFile(const CLogFile&) = delete;
    CLogFile& operator=(const CLogFile&) = delete;
    ~CLogFile() { ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, kKey); }
    static constexpr wchar_t kKey[] = L"SOFTWARE\\Tavel\\TKRuntimeLogger";
};

bool Has(const std::string& text, const std::string& part) {
    return text.find(part) != text.npos;
}

}  // namespace

TEST(Environment, IsInTheLogFileThatTheScreenNames) {
    CScratchFolder folder;
    const std::string process = "CAT: tvsource, ", system = "MSG: Current OS:                ";
    const std::string program = "tvsource.exe  (FileVersion: 0.1.0.0  ProductVersion: 0.1.0.0)\r\n";
    const std::string filter = "TvFileSourceAsync.dll  (FileVersion: 0.1.0.0  ProductVersion: 0.1.0.0)\r\n";
    for (const bool withSource : {false, true}) {
        const std::wstring path = folder.Write(withSource ? L"with \u97F3.log" : L"without.log", "");
        const CLogFile setting(path);
        const HostRun run = withSource ? RunWithFilter(L"info", {L"--environment", MediaFile(L"tone.wav")})
                                       : RunHost({L"info", L"--environment"});
        EXPECT_EQ(0u, run.exitCode) << run.err;
        EXPECT_TRUE(Has(run.out, Utf8(path) + "\n")) << run.out;
        EXPECT_EQ(withSource, Has(run.out, "Length   16044 bytes\n")) << run.out;
        const std::string log = BytesOf(path);
        for (const std::string& text : {process, system, program})
            EXPECT_TRUE(Has(log, text)) << text;
        EXPECT_EQ(withSource, Has(log, filter));
    }
}

TEST(Environment, WithoutALogTheLackIsExplained) {
    CScratchFolder folder;
    HostRun run = RunHost({L"info", L"--environment"});
    EXPECT_EQ(1u, run.exitCode);
    EXPECT_TRUE(Has(run.err, "no log is on")) << run.err;

    const std::wstring nowhere = folder.PathOf(L"no\\folder.log");
    const CLogFile setting(nowhere);
    run = RunWithFilter(L"info", {L"--environment", MediaFile(L"tone.wav")});
    EXPECT_EQ(1u, run.exitCode);
    EXPECT_TRUE(Has(run.err, Utf8(nowhere) + " can't be opened")) << run.err;
    EXPECT_TRUE(Has(run.out, "Length   16044 bytes\n")) << run.out;
}
