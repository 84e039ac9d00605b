#include "diagnostics/CDiagnosticRegistration.h"

#include "base/CSlimLock.h"

#include <mutex>

namespace TKRuntimeLogger {
namespace {

// Guards the links of all registrations. Nothing is called under it.
constinit base::CSlimLock g_lock;
constinit CDiagnosticRegistration* g_newest = nullptr;

}  // namespace

CDiagnosticRegistration::CDiagnosticRegistration(const wchar_t* category, const void* address,
                                                 const wchar_t* description) noexcept
    : m_category(category), m_address(address), m_description(description) {
    const std::lock_guard lock(g_lock);
    m_older = g_newest;
    if (m_older)
        m_older->m_newer = this;
    g_newest = this;
}

CDiagnosticRegistration::~CDiagnosticRegistration() {
    const std::lock_guard lock(g_lock);
    (m_newer ? m_newer->m_older : g_newest) = m_older;
    if (m_older)
        m_older->m_newer = m_newer;
}

std::size_t CDiagnosticRegistration::LiveCount() noexcept {
    const std::lock_guard lock(g_lock);
    std::size_t count = 0;
    for (const auto* entry = g_newest; entry; entry = entry->m_older)
        ++count;
    return count;
}

std::vector<CDiagnosticRegistration::Entry> CDiagnosticRegistration::Snapshot() {
    const std::lock_guard lock(g_lock);
    std::vector<Entry> entries;
    for (const auto* entry = g_newest; entry; entry = entry->m_older)
        entries.push_back({entry->m_category ? entry->m_category : L"", entry->m_address,
                           entry->m_description ? entry->m_description : L""});
    return entries;
}

}  // namespace TKRuntimeLogger
