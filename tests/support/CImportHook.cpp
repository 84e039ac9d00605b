#include "tests/support/CImportHook.h"

#include <cstring>

namespace {

// The program's table entry through which the function is called; null when there is none.
void** FindImport(const char* name) {
    BYTE* const base = reinterpret_cast<BYTE*>(::GetModuleHandleW(nullptr));
    const auto* const dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* const headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
    const DWORD imports = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
    for (auto* library = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + imports); library->Name; ++library) {
        const auto* entry = reinterpret_cast<const IMAGE_THUNK_DATA*>(base + library->OriginalFirstThunk);
        auto* slot = reinterpret_cast<void**>(base + library->FirstThunk);
        for (; entry->u1.AddressOfData; ++entry, ++slot) {
            if (IMAGE_SNAP_BY_ORDINAL(entry->u1.Ordinal))
                continue;
            const auto* const named = reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + entry->u1.AddressOfData);
            if (std::strcmp(reinterpret_cast<const char*>(named->Name), name) == 0)
                return slot;
        }
    }
    return nullptr;
}

}  // namespace

CImportHook::CImportHook(const char* name, void* replacement, int) : m_slot(FindImport(name)) {
    if (m_slot) {
        m_original = *m_slot;
        Write(replacement);
    }
}

CImportHook::~CImportHook() {
    if (m_slot)
        Write(m_original);
}

void CImportHook::Write(void* function) noexcept {
    DWORD protection = 0;
    ::VirtualProtect(m_slot, sizeof(void*), PAGE_READWRITE, &protection);
    *m_slot = function;
    ::VirtualProtect(m_slot, sizeof(void*), protection, &protection);
}
