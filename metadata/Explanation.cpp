#include "metadata/Explanation.h"

#include <algorithm>

namespace metadata {

namespace {

std::wstring Hex(const std::vector<std::uint8_t>& bytes) {
    constexpr wchar_t kDigits[] = L"0123456789ABCDEF";
    std::wstring text;
    for (const std::uint8_t byte : bytes) {
        text += text.empty() ? L"" : L" ";
        text += {kDigits[byte >> 4], kDigits[byte & 15]};
    }
    return text;
}

std::wstring BytesText(const Finding& finding) {
    const Evidence& evidence = finding.verdict.evidence;
    if (evidence.length == 0)
        return {};
    const std::uint64_t first = evidence.position;
    std::wstring text = L" (bytes " + std::to_wstring(first) + L" to " + std::to_wstring(first + evidence.length - 1);
    if (!finding.bytes.empty())
        text += L": " + Hex(finding.bytes) + (finding.bytes.size() < evidence.length ? L" ..." : L"");
    return text + L")";
}

const wchar_t* Heading(const Verdict& verdict) {
    if (verdict.types[0])
        return L"found";
    return verdict.isForeign ? L"not in the table" : L"ruled out";
}

std::wstring FindingText(const Finding& finding) {
    const Verdict& verdict = finding.verdict;
    return std::wstring(Heading(verdict)) + L": " + finding.rule->name + L": " + verdict.reason + BytesText(finding);
}

// The names of the rules that were asked and saw no sign of their format.
std::wstring SilentRules(const Detection& detection, bool isDecided) {
    std::wstring names;
    for (const FormatRule& rule : FormatRules()) {
        const bool spoke = std::any_of(detection.findings.begin(), detection.findings.end(),
                                       [&](const Finding& finding) { return finding.rule == &rule; });
        if (!spoke)
            names += (names.empty() ? L"" : L", ") + std::wstring(rule.name);
        else if (isDecided && &rule == detection.findings.back().rule)
            break;  // the rules behind it were not asked
    }
    return names;
}

}  // namespace

std::vector<std::wstring> Explain(const Detection& detection) {
    std::vector<std::wstring> lines;
    if (detection.tags > 0)
        lines.push_back(L"stepped over: " + std::to_wstring(detection.tags) +
                        (detection.tags == 1 ? L" ID3v2 tag" : L" ID3v2 tags") + L"; judged from byte " +
                        std::to_wstring(detection.start) + L" on");
    const bool isDecided = !detection.findings.empty() && detection.findings.back().verdict.Decides();
    // What it is comes first, then what it isn't.
    if (isDecided)
        lines.push_back(FindingText(detection.findings.back()));
    else
        lines.emplace_back(L"nothing found");
    if (detection.isOutOfTime)
        lines.emplace_back(L"the source is slow: judged by what came within " +
                           std::to_wstring(CContent::kMostMs / 1000) + L" seconds");
    for (size_t i = 0; i + (isDecided ? 1 : 0) < detection.findings.size(); ++i)
        lines.push_back(FindingText(detection.findings[i]));
    const std::wstring silent = SilentRules(detection, isDecided);
    if (!silent.empty())
        lines.push_back(L"no sign of: " + silent);
    return lines;
}

}  // namespace metadata
