// What stopped a command, in words for the person in front of it and in parts for programs. Commands throw it; a turn
// (CTurn.h) or main reports it, and the exit code becomes 1.
#pragma once

#include <windows.h>

#include <optional>
#include <string>

namespace console {

class CCommandError final {
public:
    // `words` say what could not be done, and with what, without a full stop.
    explicit CCommandError(std::wstring words) : m_words(std::move(words)) {}

    // The same, followed by the result code that a call gave for it.
    CCommandError(std::wstring words, HRESULT result);
    // With what the code means here.
    CCommandError(std::wstring words, HRESULT result, std::wstring meaning)
        : m_words(std::move(words)), m_code(result), m_meaning(std::move(meaning)) {}

    // What the person can do about it, and, as lines of their own, what was tried. Both without a full stop.
    CCommandError&& Advise(std::wstring advice) &&;
    CCommandError&& Detail(std::wstring line) &&;

    [[nodiscard]] const std::wstring& Words() const noexcept { return m_words; }
    [[nodiscard]] const std::optional<HRESULT>& Code() const noexcept { return m_code; }
    // What the code means; may be empty.
    [[nodiscard]] const std::wstring& Meaning() const noexcept { return m_meaning; }
    [[nodiscard]] const std::wstring& Advice() const noexcept { return m_advice; }

    // All of it: "words: 0x80040217 (what it means); advice", and the details, each behind a line break.
    [[nodiscard]] std::wstring Text() const;

private:
    std::wstring m_words;
    std::optional<HRESULT> m_code;
    std::wstring m_meaning;
    std::wstring m_advice;
    std::wstring m_details;
};

// What the code means, without the code: our own text for what the host meets often, otherwise that of DirectShow or
// else of the system. Empty: nobody has a text.
[[nodiscard]] std::wstring ResultWords(HRESULT result);

// "0x80040217", and with what it means "0x80040217 (no combination ...)".
[[nodiscard]] std::wstring CodeText(HRESULT result);
[[nodiscard]] std::wstring ResultText(HRESULT result);

// Throws CCommandError when `result` is a failure.
void Check(HRESULT result, const wchar_t* step);

}  // namespace console
