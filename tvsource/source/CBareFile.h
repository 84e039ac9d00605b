// A local file as the system reads it, beside what a source makes of it.
//
// Threads: one.  Errors: CCommandError.
#pragma once

#include "base/CAutoDestructor.h"

#include <windows.h>

#include <span>
#include <string>
#include <utility>

namespace tvsource {

class CBareFile final {
public:
    // Others may write to the file meanwhile: see HasChanged.
    explicit CBareFile(const std::wstring& path);

    // When it was opened.
    [[nodiscard]] LONGLONG Size() const noexcept { return m_state.first; }

    // How many bytes came: fewer than asked for only where the file ends.
    [[nodiscard]] size_t Read(LONGLONG position, std::span<BYTE> bytes) const;

    // It has another size now, or was written to.
    [[nodiscard]] bool HasChanged() const { return State() != m_state; }

private:
    using SizeAndTime = std::pair<LONGLONG, ULONGLONG>;

    [[nodiscard]] SizeAndTime State() const;

    base::CAutoHandle m_file;
    SizeAndTime m_state;
};

}  // namespace tvsource
