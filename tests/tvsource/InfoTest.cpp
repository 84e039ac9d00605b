#include "tests/tvsource/CHost.h"
#include "tests/tvsource/CScratchFolder.h"

#include <gtest/gtest.h>

namespace {

bool Has(const std::string& text, const std::string& line) {
    return text.find(line + "\n") != std::string::npos;
}

}  // namespace

TEST(Info, SaysWhatTheFilterSays) {
    const struct {
        const wchar_t* type;
        const char* offer;
    } kTypes[] = {
        {L"WAVE", "Stream / WAVE"},
        {L"mpeg1audio", "Stream / MPEG1Audio"},
        {L"{E436EB88-524F-11CE-9F53-0020AF0BA770}", "Stream / Avi"},
        {L"{12345678-1234-1234-1234-123456789ABC}", "Stream / {12345678-1234-1234-1234-123456789ABC}"},
        {L"any", "Stream / any"},
    };
    for (const auto& row : kTypes) {
        SCOPED_TRACE(row.offer);
        const HostRun run = RunWithFilter(L"info", {L"--type", row.type, MediaFile(L"tone.wav")});
        EXPECT_EQ(0u, run.exitCode) << run.err.c_str();
        EXPECT_TRUE(Has(run.out, "Length   16044 bytes")) << run.out;
        EXPECT_TRUE(Has(run.out, "Type     " + std::string(row.offer))) << run.out;
        EXPECT_TRUE(Has(run.out, "Offers   " + std::string(row.offer))) << run.out;
    }
}

TEST(Info, NamesTheFileInFullAndInUtf8) {
    CScratchFolder folder;
    folder.Write(L"T\u00F6ne \u97F3.bin", "x");
    const HostRun run = RunWithFilter(L"info", {folder.Path() + L"\\.\\T\u00F6ne \u97F3.bin"});
    EXPECT_EQ(0u, run.exitCode) << run.err.c_str();
    EXPECT_TRUE(Has(run.out, "\\T\xC3\xB6ne \xE9\x9F\xB3.bin")) << run.out;
    EXPECT_EQ(std::string::npos, run.out.find("\\.\\")) << run.out;
    EXPECT_TRUE(Has(run.out, "Length   1 bytes")) << run.out;
}

TEST(Info, ALengthThatNobodyKnowsIsNotShownAsANumber) {
    CScratchFolder folder;
    const HostRun run = RunAwkward(L"info", {folder.Write(L"endless.live", "x")});
    EXPECT_EQ(0u, run.exitCode);
    EXPECT_TRUE(Has(run.out, "Length   not known (estimated)")) << run.out;
}
