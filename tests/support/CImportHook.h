// Puts a function of the test's in the place of one that this program imports from a DLL, while the object lives: to
// learn that a thread has got to a call, or to make the call fail.
//
//   BOOL WINAPI FailingSetEvent(HANDLE) { return FALSE; }
//   const CImportHook hook("SetEvent", &FailingSetEvent);
//   ASSERT_TRUE(hook.IsSet());
//
// All code of the program is affected, also the test's own. DLLs are not.
// Threads: no other thread may be about to make the call when a hook comes or goes.
#pragma once

#include <windows.h>

#include <cstring>

class CImportHook final {
public:
    template <class Function>
    CImportHook(const char* name, Function* replacement) : m_slot(FindImport(name)) {
        if (m_slot)
            m_original = Exchange(reinterpret_cast<void*>(replacement));
    }
    CImportHook(const CImportHook&) = delete;
    CImportHook& operator=(const CImportHook&) = delete;
    ~CImportHook() {
        if (m_slot)
            Exchange(m_original);
    }

    // False: the program imports no function of this name.
    [[nodiscard]] bool IsSet() const noexcept { return m_slot != nullptr; }

private:
    // The program's table entry through which the function is called; null when there is none.
    static void** FindImport(const char* name) {
        BYTE* const base = reinterpret_cast<BYTE*>(::GetModuleHandleW(nullptr));
        const auto* const dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
        const auto* const headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
        const DWORD imports = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
        for (auto* dll = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + imports); dll->Name; ++dll) {
            const auto* entry = reinterpret_cast<const IMAGE_THUNK_DATA*>(base + dll->OriginalFirstThunk);
            for (auto* slot = reinterpret_cast<void**>(base + dll->FirstThunk); entry->u1.Ordinal; ++entry, ++slot) {
                const auto* const named = reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + entry->u1.AddressOfData);
                if (!IMAGE_SNAP_BY_ORDINAL(entry->u1.Ordinal) &&
                    std::strcmp(reinterpret_cast<const char*>(named->Name), name) == 0)
                    return slot;
            }
        }
        return nullptr;
    }
    void* Exchange(void* function) const noexcept {
        void* const old = *m_slot;
        DWORD protection = 0;
        ::VirtualProtect(m_slot, sizeof(void*), PAGE_READWRITE, &protection);
        *m_slot = function;
        ::VirtualProtect(m_slot, sizeof(void*), protection, &protection);
        return old;
    }

    void** const m_slot;
    void* m_original = nullptr;
};
