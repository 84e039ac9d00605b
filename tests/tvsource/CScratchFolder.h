// A folder for a test's own files, which goes with this object.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

class CScratchFolder final {
public:
    CScratchFolder();
    CScratchFolder(const CScratchFolder&) = delete;
    CScratchFolder& operator=(const CScratchFolder&) = delete;
    ~CScratchFolder();

    [[nodiscard]] std::wstring Path() const { return m_path.wstring(); }
    [[nodiscard]] std::wstring PathOf(const std::wstring& name) const { return (m_path / name).wstring(); }

    // Both make the folders that `name` asks for and give the file's path.
    std::wstring Write(const std::wstring& name, std::string_view contents);
    std::wstring Copy(const std::wstring& file, const std::wstring& name);

private:
    void MakeFolder(const std::filesystem::path& folder);

    std::filesystem::path m_path;
    std::vector<std::filesystem::path> m_made;  // files and folders in the order of their making
};
