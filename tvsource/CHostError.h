// What stopped a command, in words for the person in front of it. Commands throw it; main prints it and ends with
// code 1.
#pragma once

#include <windows.h>

#include <string>

namespace tvsource {

class CHostError final {
public:
    // `step` says what could not be done, without a full stop.
    explicit CHostError(std::wstring step) : m_text(std::move(step)) {}

    // The same, followed by the result code that a call gave for it.
    CHostError(const std::wstring& step, HRESULT result);

    [[nodiscard]] const std::wstring& Text() const noexcept { return m_text; }

private:
    std::wstring m_text;
};

// A result code as "0x80040217 (what it means)", with our own text for what the host meets often, otherwise with that
// of DirectShow or else of the system. A code without any text stands alone.
[[nodiscard]] std::wstring ResultText(HRESULT result);

// Throws CHostError when `result` is a failure.
void Check(HRESULT result, const wchar_t* step);

}  // namespace tvsource
