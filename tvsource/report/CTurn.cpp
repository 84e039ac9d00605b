#include "tvsource/report/CTurn.h"

#include "console/CConsole.h"
#include "tvsource/report/CActivity.h"
#include "tvsource/report/CLogLines.h"
#include "tvsource/report/CProgressLine.h"
#include "tvsource/report/CWaitLine.h"
#include "tvsource/report/Interrupt.h"

#include <utility>

namespace tvsource {

bool ReportOptions::ShowsProgress() const noexcept {
    return progress || (!quiet && console::IsTerminal(STD_ERROR_HANDLE));
}

CTurn::CTurn(const ReportOptions& options, std::string_view command, std::wstring source)
    : m_options(options),
      m_source(std::move(source)),
      m_fields{{"command", command}, {"source", console::JsonText(m_source)}} {
    SetLastWords([this](const console::CCommandError& error) {
        Fail(error);
        Tell();
    });
}

CTurn::~CTurn() {
    SetLastWords({});
}

void CTurn::SetSource(std::wstring source) {
    m_source = std::move(source);
    m_fields["source"] = console::JsonText(m_source);
}

void CTurn::Wait(const char* step, const std::wstring& words, const std::function<void()>& work) {
    Enter(step);
    const CActivity activity(L"Wait", words + L" " + m_source, m_options.verbose);
    const CWaitLine line(m_options.ShowsProgress(), words);
    work();
}

void CTurn::Note(std::wstring_view text) const {
    if (m_options.quiet)
        return;
    CLogLines::CatchUp();
    CProgressLine::Complain(L"tvsource: " + m_source + L": " + std::wstring(text) + L"\n");
}

void CTurn::FailSilently(const console::CCommandError& error) {
    m_exitCode = 1;
    if (!m_fields.contains("error"))
        m_fields["error"] = ErrorObject(m_step, error);
}

void CTurn::FailLater(const console::CCommandError& error) {
    FailSilently(error);
    m_later.push_back(error);
}

void CTurn::Fail(const console::CCommandError& error) {
    FailLater(error);
    TellLines();
    Complain();
}

void CTurn::Complain() {
    CLogLines::CatchUp();
    for (const console::CCommandError& error : std::exchange(m_later, {})) {
        if (m_options.json)
            continue;
        const std::wstring text = error.Text();
        CProgressLine::Complain(
            L"tvsource: " + (m_isNamed || text.find(m_source) == text.npos ? m_source + L": " : L"") + text + L"\n");
    }
}

void CTurn::TellLines() {
    if (m_options.json || m_text.empty())
        return;
    CLogLines::CatchUp();
    console::Print(std::exchange(m_text, {}));
}

int CTurn::Tell() {
    TellLines();
    Complain();
    if (m_options.json)
        console::Print(base::WideOfUtf8(m_fields.dump()) + L"\n");
    return m_exitCode;
}

int CTurn::Run(const ReportOptions& options, std::string_view command, const std::wstring& source,
               const std::function<void(CTurn&)>& work) {
    CTurn turn(options, command, source);
    try {
        work(turn);
    } catch (const console::CCommandError& error) {
        turn.Fail(error);
    } catch (const std::bad_alloc&) {
        turn.Fail(console::CCommandError(L"There is too little memory for it", E_OUTOFMEMORY));
    } catch (const std::exception& error) {
        turn.Fail(console::CCommandError(base::WideOfUtf8(error.what())));
    }
    return turn.Tell();
}

console::Json ErrorObject(const char* step, const console::CCommandError& error) {
    console::Json object{{"step", step}};
    if (error.Code()) {
        object["code"] = console::JsonText(console::CodeText(*error.Code()));
        if (!error.Meaning().empty())
            object["meaning"] = console::JsonText(error.Meaning());
    }
    object["words"] = console::JsonText(error.Words());
    if (!error.Advice().empty())
        object["advice"] = console::JsonText(error.Advice());
    object["text"] = console::JsonText(error.Text());
    return object;
}

}  // namespace tvsource
