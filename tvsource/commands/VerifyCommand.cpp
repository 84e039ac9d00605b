#include "base/FormatText.h"
#include "base/Utf8Text.h"
#include "console/Text.h"
#include "tvsource/commands/Commands.h"
#include "tvsource/commands/SourceTurn.h"
#include "tvsource/report/CActivity.h"
#include "tvsource/report/CProgressLine.h"
#include "tvsource/source/CVerification.h"
#include "tvsource/source/SourceName.h"

#include <algorithm>
#include <cctype>
#include <chrono>

namespace tvsource {

namespace {

struct Arguments {
    SourceArguments source;
    std::vector<std::string> files;
    std::string sha256;
};

struct WayRow {
    CVerification::Way way;
    const wchar_t* words;
    const char* name;
};
constexpr WayRow kWays[] = {{CVerification::Way::InOrder, L"in order", "inOrder"},
                            {CVerification::Way::Backwards, L"backwards", "backwards"},
                            {CVerification::Way::AtRandom, L"at random", "atRandom"}};

std::optional<CBareFile> BareFileOf(const std::wstring& typed) {
    const framework::CParsedName name(SourceName(typed).c_str());
    return name.Uri() && name.Uri()->IsLocalFile() ? std::optional<CBareFile>(name.Uri()->GetLocalPath())
                                                   : std::nullopt;
}

std::wstring ByteText(const std::optional<BYTE>& byte) {
    return byte ? base::FormatText(L"0x%02X", unsigned{*byte}) : std::wstring(L"the end");
}

std::wstring DifferenceText(const ByteDifference& difference) {
    if (!difference.expected && !difference.actual)
        return base::FormatText(L"differs from the first way within the block at byte %I64d", difference.position);
    return base::FormatText(L"differs at byte %I64d: expected ", difference.position) + ByteText(difference.expected) +
           L", came " + ByteText(difference.actual);
}

console::Json DifferenceObject(const std::optional<ByteDifference>& difference) {
    if (!difference)
        return nullptr;
    const auto byte = [](const std::optional<BYTE>& value) {
        return value ? console::Json(unsigned{*value}) : console::Json();
    };
    return {{"position", difference->position},
            {"expected", byte(difference->expected)},
            {"actual", byte(difference->actual)}};
}

void ReadOneWay(CTurn& turn, CVerification& verification, const WayRow& row, const CSourceFilter::Length& length,
                const std::string& expectedDigest) {
    CActivity activity(L"Verify", L"reading " + turn.Source(), turn.Options().verbose);
    CProgressLine line(turn.Options().ShowsProgress());
    const auto begin = std::chrono::steady_clock::now();
    const auto outcome = verification.Read(row.way, [&](LONGLONG bytes) {
        activity.KeepAlive();
        line.Show(static_cast<ULONGLONG>(bytes), length.estimated ? 0 : static_cast<ULONGLONG>(length.total), row.words,
                  static_cast<ULONGLONG>(bytes));
    });
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    turn.Line(base::FormatText(L"Read     %ls, ", row.words) + console::CountText(outcome.bytes, L"byte") +
              base::FormatText(L" in %.2f s: ", seconds) +
              (outcome.first ? DifferenceText(*outcome.first) : L"no difference"));
    turn.Fields()["ways"].push_back({{"way", row.name},
                                     {"bytes", outcome.bytes},
                                     {"seconds", seconds},
                                     {"firstDifference", DifferenceObject(outcome.first)}});
    turn.Enter(step::kCompare);
    if (outcome.first)
        turn.FailSilently(
            console::CCommandError(std::wstring(L"Read ") + row.words + L", it " + DifferenceText(*outcome.first)));
    if (outcome.digest) {
        const std::string digest = HexOf(*outcome.digest);
        turn.Line(L"SHA-256  " + base::WideOfUtf8(digest));
        turn.Fields()["sha256"] = digest;
        if (!expectedDigest.empty() && digest != expectedDigest)
            turn.FailLater(console::CCommandError(L"The SHA-256 is " + base::WideOfUtf8(digest) + L" and not " +
                                                  base::WideOfUtf8(expectedDigest)));
    }
    turn.Enter(step::kRead);
}

void Verify(CTurn& turn, const Arguments& arguments, const std::wstring& typed) {
    const auto source = OpenSource(turn, arguments.source, typed);
    source->EnableDataFlow();
    turn.Enter(step::kRead);
    const std::optional<CBareFile> file = BareFileOf(typed);
    const CSourceFilter::Length length = source->SourceLength();
    turn.Line(L"File     " + turn.Source());
    turn.Line(L"Length   " + (length.estimated ? std::wstring(L"not known: it is read in order only")
                                               : console::CountText(length.total, L"byte") +
                                                     (length.total == 0 ? L": there is nothing to compare" : L"")));
    console::Json& fields = turn.Fields();
    fields["length"] = length.estimated ? console::Json() : console::Json(length.total);
    fields["comparedWith"] = file ? "file" : arguments.sha256.empty() ? "itself" : "sha256";
    fields["sha256"] = console::Json();
    fields["ways"] = console::Json::array();

    CVerification verification(*source, file ? &*file : nullptr);
    for (const WayRow& row : kWays) {
        if (row.way == CVerification::Way::InOrder || !length.estimated)
            ReadOneWay(turn, verification, row, length, arguments.sha256);
    }
    TellNetwork(turn, *source);
    if (file && file->HasChanged())
        turn.FailLater(console::CCommandError(L"The file was changed while it was verified"));
}

std::string DigestFault(const std::string& text) {
    return text.size() == 64 && std::ranges::all_of(text, [](unsigned char digit) { return std::isxdigit(digit) != 0; })
               ? std::string()
               : "'" + text + "' is no SHA-256: that has 64 hexadecimal digits";
}

}  // namespace

void AddVerify(CLI::App& app, Command& chosen) {
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* command = app.add_subcommand(
        "verify",
        "Reads each source as a whole three ways, in order, backwards and at random, and compares what comes.");
    AddFiles(*command, arguments->files);
    command->add_option("--sha256", arguments->sha256, "What the SHA-256 of the whole source must be")
        ->type_name("HEX")
        ->check(DigestFault)
        ->transform([](std::string text) {
            std::ranges::transform(text, text.begin(),
                                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
            return text;
        });
    arguments->source.AddTo(*command, true);
    command->callback([=, &chosen] {
        if (!arguments->sha256.empty() && arguments->files.size() > 1)
            throw CLI::ValidationError("--sha256", "it can't be that of several files");
        chosen = [=] {
            // A SHA-256 is that of one file.
            const auto run = arguments->sha256.empty() ? RunTurnsOfFiles : RunTurns;
            return run(arguments->source.report, "verify", arguments->files,
                       [&](CTurn& turn, const std::wstring& typed) { Verify(turn, *arguments, typed); });
        };
    });
}

}  // namespace tvsource
