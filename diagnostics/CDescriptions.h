// Codes as text: the number always, and the name in parentheses where a table knows it.
//
//   DShowEventDescriptions().Describe(EC_COMPLETE)     0x00000001 / 1 (EC_COMPLETE)
//
// A code without a name is reported to the log at every lookup, so that missing names show up there.
//
// Threads: any, without a lock: tables don't change after they are built.
// Lifetime of the three tables: from the module's static initialisation to its unload.
// Errors: out of memory is an exception, as at any log site.
#pragma once

#include "diagnostics/LogSite.h"

#include <cstring>
#include <map>
#include <string>
#include <utility>

namespace TKRuntimeLogger {

template <class Key, class Less = std::less<Key>>
class CDescriptions {
public:
    CDescriptions(const CDescriptions&) = delete;
    CDescriptions& operator=(const CDescriptions&) = delete;
    virtual ~CDescriptions() = default;

    // The key by itself.
    [[nodiscard]] virtual std::wstring DefaultText(const Key& key) const = 0;

    [[nodiscard]] std::wstring Describe(const Key& key) const {
        std::wstring text = DefaultText(key);
        if (m_rawOnly)
            return text;
        if (const auto found = m_names.find(key); found != m_names.end())
            return text + L" (" + found->second + L")";
        if (!m_typeName.empty()) {
            static constexpr LogSource kSource{L"LOGGER_DESCRIPTIONS", L"TKRuntimeLoggerAPI"};
            TK_LOG(kSource, kInfo, m_lookupName, L"Missing Description for %s: %s", m_typeName.c_str(), text.c_str());
        }
        return text;
    }

    [[nodiscard]] std::wstring operator()(const Key& key) const { return Describe(key); }

protected:
    using Names = std::map<Key, std::wstring, Less>;

    // A missing name is reported with `typeName`, the kind of code, and `lookupName`, the function, which is a literal.
    // With an empty `typeName` nothing is reported. With `rawOnly`, names are left out and nothing is reported.
    CDescriptions(std::wstring typeName, const wchar_t* lookupName, Names names, bool rawOnly = false)
        : m_names(std::move(names)), m_typeName(std::move(typeName)), m_lookupName(lookupName), m_rawOnly(rawOnly) {}

private:
    const Names m_names;
    const std::wstring m_typeName;
    const wchar_t* const m_lookupName;
    const bool m_rawOnly;
};

// Codes that are read both ways: "0x%08X / %d".
class CLongDescriptions : public CDescriptions<long> {
public:
    [[nodiscard]] std::wstring DefaultText(const long& key) const override;

protected:
    CLongDescriptions(std::wstring typeName, Names names, bool rawOnly = false);
};

// Events of a filter graph: the platform's, and the product family's own in the user range (0x8101 to 0x810A).
class CDShowEventDescriptions final : public CLongDescriptions {
public:
    CDShowEventDescriptions();
};

// Result codes.
class CHresultEventDescriptions final : public CLongDescriptions {
public:
    CHresultEventDescriptions();
};

// Orders GUIDs by their bytes.
struct GUIDLess {
    bool operator()(const GUID& left, const GUID& right) const noexcept {
        return std::memcmp(&left, &right, sizeof(GUID)) < 0;
    }
};

// GUIDs in registry form, with braces. It knows no names, so every lookup is reported.
class CGuidDescriptions final : public CDescriptions<GUID, GUIDLess> {
public:
    CGuidDescriptions();
    [[nodiscard]] std::wstring DefaultText(const GUID& key) const override;
};

// The module's tables.
[[nodiscard]] const CDShowEventDescriptions& DShowEventDescriptions() noexcept;
[[nodiscard]] const CHresultEventDescriptions& HresultDescriptions() noexcept;
[[nodiscard]] const CGuidDescriptions& GuidDescriptions() noexcept;

}  // namespace TKRuntimeLogger
