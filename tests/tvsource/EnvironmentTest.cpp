// What `info --environment` writes to the log, and what it says of the place where that is.
#include "TavelVersion.h"
#include "tests/support/CLogFileSetting.h"
#include "tests/support/CTempFolder.h"
#include "tests/tvsource/CHost.h"

using namespace std::string_literals;

TEST(Environment, IsInTheLogFileThatTheScreenNames) {
    CTempFolder folder;
    const CLogFileSetting setting{};
    const std::wstring path = folder.Write("", L"\u97F3.log");
    setting.Set(path);
    ExpectRun(RunWithFilter(L"info", {L"--environment", MediaFile(L"tone.wav")}), 0,
              {Utf8(path) + "\n", "Length   16044 bytes\n"});
    const std::string log = BytesOf(path),
                      versions = "  (FileVersion: " TAVEL_VERSION ".0  ProductVersion: " TAVEL_VERSION ".0)\r\n";
    for (const std::string& text : {"CAT: tvsource, "s, "MSG: Current OS:                "s, "tvsource.exe" + versions,
                                    "TvFileSourceAsync.dll" + versions})
        EXPECT_NE(log.npos, log.find(text)) << text;
    ExpectRun(RunHost({L"info", L"--environment"}), 0, {Utf8(path) + "\n"});
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
