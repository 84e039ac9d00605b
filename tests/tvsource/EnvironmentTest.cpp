// What `info --environment` writes to the log, and what it says of the place where that is.
#include "tests/support/CLogFileSetting.h"
#include "tests/support/CTempFolder.h"
#include "tests/tvsource/CHost.h"

TEST(Environment, IsInTheLogFileThatTheScreenNames) {
    CTempFolder folder;
    const CLogFileSetting setting{};
    for (const bool withSource : {false, true}) {
        const std::wstring path = folder.Write("", withSource ? L"with \u97F3.log" : L"without.log");
        setting.Set(path);
        const HostRun run = withSource ? RunWithFilter(L"info", {L"--environment", MediaFile(L"tone.wav")})
                                       : RunHost({L"info", L"--environment"});
        ExpectRun(run, 0, {Utf8(path) + "\n", withSource ? "Length   16044 bytes\n" : ""});
        const std::string log = BytesOf(path);
        const std::string versions = "  (FileVersion: 0.1.0.0  ProductVersion: 0.1.0.0)\r\n";
        for (const std::string& text : {std::string("CAT: tvsource, "), std::string("MSG: Current OS:                "),
                                        "tvsource.exe" + versions})
            EXPECT_NE(log.npos, log.find(text)) << text;
        EXPECT_EQ(withSource, log.find("TvFileSourceAsync.dll" + versions) != log.npos);
    }
}

TEST(Environment, WithoutALogTheLackIsExplained) {
    ExpectRun(RunHost({L"info", L"--environment"}), 1, {"no log is on"});
    const CTempFolder folder;
    const std::wstring nowhere = folder.PathOf(L"no\\folder.log");
    const CLogFileSetting setting{};
    setting.Set(nowhere);
    const HostRun run = RunWithFilter(L"info", {L"--environment", MediaFile(L"tone.wav")});
    ExpectRun(run, 1, {Utf8(nowhere) + " can't be opened"});
    EXPECT_NE(run.out.npos, run.out.find("Length   16044 bytes\n")) << run.out;
}
