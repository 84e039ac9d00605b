// An executable file as the loader reads it: its headers and sections, without any of its code being run.
//
// Errors: std::runtime_error where the file isn't what its headers say.
#pragma once

#include <windows.h>

#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

class CImage final {
public:
    explicit CImage(std::string bytes) : m_bytes(std::move(bytes)) {
        const auto dos = At<IMAGE_DOS_HEADER>(0);
        const size_t at = static_cast<size_t>(dos.e_lfanew);
        if (dos.e_magic != IMAGE_DOS_SIGNATURE || At<DWORD>(at) != IMAGE_NT_SIGNATURE)
            throw std::runtime_error("no executable");
        m_file = At<IMAGE_FILE_HEADER>(at + sizeof(DWORD));
        const size_t optional = at + sizeof(DWORD) + sizeof m_file;
        // Both formats have the fields that are asked for; the directories stand behind fields of different sizes.
        if (Is64()) {
            const auto header = At<IMAGE_OPTIONAL_HEADER64>(optional);
            m_traits = header.DllCharacteristics;
            std::memcpy(m_directories, header.DataDirectory, sizeof m_directories);
        } else {
            const auto header = At<IMAGE_OPTIONAL_HEADER32>(optional);
            m_traits = header.DllCharacteristics;
            std::memcpy(m_directories, header.DataDirectory, sizeof m_directories);
        }
        for (WORD i = 0; i < m_file.NumberOfSections; ++i)
            m_sections.push_back(
                At<IMAGE_SECTION_HEADER>(optional + m_file.SizeOfOptionalHeader + i * sizeof(IMAGE_SECTION_HEADER)));
    }

    [[nodiscard]] bool Is64() const noexcept { return m_file.Machine == IMAGE_FILE_MACHINE_AMD64; }
    [[nodiscard]] const IMAGE_FILE_HEADER& File() const noexcept { return m_file; }
    [[nodiscard]] WORD Traits() const noexcept { return m_traits; }
    [[nodiscard]] const IMAGE_DATA_DIRECTORY& Directory(int index) const { return m_directories[index]; }
    [[nodiscard]] const std::vector<IMAGE_SECTION_HEADER>& Sections() const noexcept { return m_sections; }

    // The names of the libraries that it can't start without.
    [[nodiscard]] std::vector<std::string> Imports() const {
        return LibrariesIn(IMAGE_DIRECTORY_ENTRY_IMPORT, &IMAGE_IMPORT_DESCRIPTOR::Name);
    }
    // Those that are loaded at the first call, where the linker tells of them: GNU's leaves the directory empty.
    [[nodiscard]] std::vector<std::string> LateImports() const {
        return LibrariesIn(IMAGE_DIRECTORY_ENTRY_DELAY_IMPORT, &IMAGE_DELAYLOAD_DESCRIPTOR::DllNameRVA);
    }

    [[nodiscard]] bool Contains(const std::string& text) const { return m_bytes.find(text) != m_bytes.npos; }

private:
    template <class Part>
    [[nodiscard]] Part At(size_t offset) const {
        if (offset > m_bytes.size() || m_bytes.size() - offset < sizeof(Part))
            throw std::runtime_error("the file is too short");
        Part part;
        std::memcpy(&part, m_bytes.data() + offset, sizeof part);
        return part;
    }

    template <class Entry>
    [[nodiscard]] std::vector<std::string> LibrariesIn(int directory, DWORD Entry::*name) const {
        std::vector<std::string> names;
        const DWORD table = Directory(directory).VirtualAddress;
        if (table == 0)
            return names;
        for (size_t at = OffsetOf(table);; at += sizeof(Entry)) {
            const auto entry = At<Entry>(at);
            if (entry.*name == 0)
                return names;
            names.emplace_back(m_bytes.c_str() + OffsetOf(entry.*name));
        }
    }

    // Where in the file that is which is at this distance from the module's beginning in memory.
    [[nodiscard]] size_t OffsetOf(DWORD address) const {
        for (const IMAGE_SECTION_HEADER& section : m_sections) {
            if (address >= section.VirtualAddress && address - section.VirtualAddress < section.SizeOfRawData)
                return address - section.VirtualAddress + section.PointerToRawData;
        }
        throw std::runtime_error("an address is in no section");
    }

    const std::string m_bytes;
    IMAGE_FILE_HEADER m_file{};
    WORD m_traits = 0;
    IMAGE_DATA_DIRECTORY m_directories[IMAGE_NUMBEROF_DIRECTORY_ENTRIES]{};
    std::vector<IMAGE_SECTION_HEADER> m_sections;
};
