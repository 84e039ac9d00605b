// Puts a function of the test's in the place of one that this program, or a module that is given, imports from a DLL,
// while the object lives: to learn that a thread has got to a call, or to make the call fail.
//
//   const CImportHook hook("SetEvent", &FailingSetEvent);  // a failed test when there is no such import
//
// The hook affects all code of the given module, which must outlive the hook; without a module, all code of the
// program, also the test's own. Threads: no other thread may be about to make the call when a hook comes or goes.
#pragma once

#include <windows.h>

#include <gtest/gtest.h>

#include <string_view>
#include <type_traits>
#include <utility>

class CImportHook final {
public:
    // `original`, when given, receives the function that the replacement stands for, before it can be called.
    template <class Function>
    CImportHook(const char* name, Function* replacement, std::type_identity_t<Function>** original = nullptr,
                HMODULE module = ::GetModuleHandleW(nullptr))
        : m_slot(FindImport(module, name)) {
        EXPECT_NE(nullptr, m_slot) << name;
        if (m_slot && original)
            *original = reinterpret_cast<Function*>(*m_slot);
        m_original = Exchange(reinterpret_cast<void*>(replacement));
    }
    CImportHook(const CImportHook&) = delete;
    CImportHook& operator=(const CImportHook&) = delete;
    ~CImportHook() { Exchange(m_original); }

private:
    // The module's table entry through which the function is called; null when there is none.
    static void** FindImport(HMODULE module, std::string_view name) {
        BYTE* const base = reinterpret_cast<BYTE*>(module);
        const auto* const dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
        const auto* const headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
        const DWORD imports = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
        for (auto* dll = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + imports); dll->Name; ++dll) {
            const auto* entry = reinterpret_cast<const IMAGE_THUNK_DATA*>(base + dll->OriginalFirstThunk);
            for (auto* slot = reinterpret_cast<void**>(base + dll->FirstThunk); entry->u1.Ordinal; ++entry, ++slot) {
                const auto* const named = reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + entry->u1.AddressOfData);
                if (!IMAGE_SNAP_BY_ORDINAL(entry->u1.Ordinal) && reinterpret_cast<const char*>(named->Name) == name)
                    return slot;
            }
        }
        return nullptr;
    }
    void* Exchange(void* function) const noexcept {
        if (!m_slot)
            return nullptr;
        DWORD protection = 0;
        ::VirtualProtect(m_slot, sizeof(void*), PAGE_READWRITE, &protection);
        return std::exchange(*m_slot, function);
    }

    void** const m_slot;
    void* m_original = nullptr;
};
