// The file that every contender reads: 256 MiB of pseudo-random bytes in the temporary folder, removed at the end.
//
// Each byte follows from its position, so any part can be checked without keeping a copy. It is written out in full (no
// sparse file: its holes would be read without a disk or a page cache).
#pragma once

#include <windows.h>

#include <filesystem>
#include <span>

namespace bench {

inline constexpr LONGLONG kBenchFileBytes = 256LL << 20;

class CBenchFile final {
public:
    // Throws std::runtime_error when the file can't be made; nothing is left behind then.
    CBenchFile();
    CBenchFile(const CBenchFile&) = delete;
    CBenchFile& operator=(const CBenchFile&) = delete;
    ~CBenchFile();

    [[nodiscard]] const wchar_t* Path() const noexcept { return m_path.c_str(); }

    // Whether `bytes` are those of the file at `position`; both the position and the length are multiples of 8.
    [[nodiscard]] static bool Matches(LONGLONG position, std::span<const BYTE> bytes) noexcept;

private:
    void Write() const;

    std::filesystem::path m_path;
};

// A pseudo-random number for each `index`.
[[nodiscard]] ULONGLONG Scrambled(ULONGLONG index) noexcept;

}  // namespace bench
