// Lists a live object in the process, for as long as the registration lives. From the list, a debugger or the reader of
// a dump learns which objects exist, where they are and what they are. It writes no log record.
//
// Threads: any.  Errors: none; it takes no memory but its own.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace TKRuntimeLogger {

class CDiagnosticRegistration final {
public:
    struct Entry {
        std::wstring category;
        const void* address = nullptr;
        std::wstring description;
    };

    // The texts are literals. Only those who read the list touch the texts or the object.
    CDiagnosticRegistration(const wchar_t* category, const void* address, const wchar_t* description) noexcept;
    CDiagnosticRegistration(const CDiagnosticRegistration&) = delete;
    CDiagnosticRegistration& operator=(const CDiagnosticRegistration&) = delete;
    ~CDiagnosticRegistration();

    [[nodiscard]] static std::size_t LiveCount() noexcept;

    // The newest first.  Throws std::bad_alloc.
    [[nodiscard]] static std::vector<Entry> Snapshot();

private:
    const wchar_t* const m_category;
    const void* const m_address;
    const wchar_t* const m_description;
    CDiagnosticRegistration* m_newer = nullptr;
    CDiagnosticRegistration* m_older = nullptr;
};

}  // namespace TKRuntimeLogger
