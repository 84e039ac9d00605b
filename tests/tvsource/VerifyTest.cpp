#include "tests/support/CTempFolder.h"
#include "tests/tvsource/CHost.h"

#include <algorithm>

namespace {

constexpr char kSha256OfAbc[] = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

size_t Count(const std::string& text, const std::string& part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != text.npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

// More than three blocks, and no two of them alike.
std::string LongContents() {
    std::string contents;
    for (unsigned i = 0; contents.size() < 200'000; ++i)
        contents += std::to_string(i) + "\r\n";
    return contents;
}

struct Verify : ::testing::Test {
    CTempFolder folder;
};

TEST_F(Verify, AFileThatIsReadAsItStandsDiffersNoWay) {
    const std::wstring abc = folder.Write("abc", L"abc"), empty = folder.Write("", L"empty"),
                       longer = folder.Write(LongContents(), L"long");
    const HostRun run = RunWithFilter(L"verify", {abc, empty, longer});
    ExpectRun(run, 0, {std::string("SHA-256  ") + kSha256OfAbc, "Length   0 bytes: there is nothing to compare\n"});
    EXPECT_EQ(9u, Count(run.out, ": no difference\n")) << run.out;
    std::string upper = kSha256OfAbc;
    std::ranges::transform(upper, upper.begin(), [](char c) { return static_cast<char>(c >= 'a' ? c - 32 : c); });
    ExpectRun(RunWithFilter(L"verify", {L"--sha256", std::wstring(upper.begin(), upper.end()), abc}), 0, {});
}

TEST_F(Verify, SaysWhereASourceFirstDiffers) {
    const std::string contents = LongContents();
    const auto write = [&](const wchar_t* name) { return folder.Write(contents, name); };
    const int expected = contents[100'000];
    const std::string bytes = "\"firstDifference\":{\"position\":100000,\"expected\":" + std::to_string(expected) +
                              ",\"actual\":" + std::to_string(expected ^ 1) + "}";
    const HostRun lying = RunWithFilter(L"verify", {L"--json", write(L"a.lying")}, kAwkward);
    EXPECT_EQ(1u, lying.exitCode);
    EXPECT_EQ(3u, Count(lying.out, bytes)) << lying.out;

    const HostRun shrinking = RunWithFilter(L"verify", {write(L"a.shrinks")}, kAwkward);
    ExpectRun(shrinking, 1, {"The file was changed while it was verified"});
    EXPECT_EQ(2u, Count(shrinking.out, "differs at byte " + std::to_string(contents.size() / 2) + ": expected the end"))
        << shrinking.out;

    const HostRun tooShort = RunWithFilter(L"verify", {write(L"a.short")}, kAwkward);
    EXPECT_EQ(1u, tooShort.exitCode);
    const std::string atEnd =
        "differs at byte " + std::to_string(contents.size() - 1) + ": expected 0x0A, came the end";
    EXPECT_EQ(1u, Count(tooShort.out, atEnd)) << tooShort.out;

    ExpectRun(RunWithFilter(L"verify", {L"--sha256", std::wstring(64, L'0'), folder.Write("abc", L"abc")}), 1,
              {std::string("The SHA-256 is ") + kSha256OfAbc + " and not 000"});
}

TEST_F(Verify, ASourceThatBreaksIsAnErrorAndOneOfUnknownLengthIsReadInOrder) {
    const std::string contents = LongContents();
    ExpectRun(RunWithFilter(L"verify", {folder.Write(contents, L"a.broken")}, kAwkward), 1,
              {"could not be read beyond byte 131072"});
    const HostRun live = RunWithFilter(L"verify", {folder.Write(contents, L"a.live")}, kAwkward);
    ExpectRun(live, 0, {"Length   not known: it is read in order only\n"});
    EXPECT_EQ(1u, Count(live.out, ": no difference\n")) << live.out;
}

TEST_F(Verify, TakesASha256OfOneFileOnly) {
    const std::wstring abc = folder.Write("abc", L"abc"), hex(64, L'0');
    for (const std::wstring& bad : {hex + L"0", hex.substr(1), hex.substr(1) + L"g"})
        ExpectRun(RunWithFilter(L"verify", {L"--sha256", bad, abc}), 2, {"64 hexadecimal digits"});
    ExpectRun(RunWithFilter(L"verify", {abc, abc, L"--sha256", hex}), 2, {"several files"});
}

}  // namespace
