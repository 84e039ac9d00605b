#include "bench/CBenchFile.h"

#include "base/CAutoDestructor.h"
#include "bench/BenchCheck.h"

#include <cstring>
#include <system_error>
#include <vector>

namespace bench {

namespace {

constexpr std::size_t kWordBytes = sizeof(ULONGLONG);

void RemoveQuietly(const std::filesystem::path& path) noexcept {
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
}

}  // namespace

// The output function of the SplitMix64 generator.
ULONGLONG Scrambled(ULONGLONG index) noexcept {
    ULONGLONG x = (index + 1) * 0x9E3779B97F4A7C15;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EB;
    return x ^ (x >> 31);
}

CBenchFile::CBenchFile() {
    wchar_t name[MAX_PATH] = L"";
    CheckWin32(::GetTempFileNameW(std::filesystem::temp_directory_path().c_str(), L"tvb", 0, name) != 0,
               "GetTempFileName");
    m_path = name;
    try {
        Write();
    } catch (...) {
        RemoveQuietly(m_path);
        throw;
    }
}

CBenchFile::~CBenchFile() {
    RemoveQuietly(m_path);
}

void CBenchFile::Write() const {
    const base::CAutoHandle file(::CreateFileW(Path(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    CheckWin32(static_cast<bool>(file), "CreateFile of the benchmark's file");
    std::vector<ULONGLONG> block((1 << 20) / kWordBytes);
    const auto blockBytes = static_cast<DWORD>(block.size() * kWordBytes);
    ULONGLONG index = 0;
    for (LONGLONG written = 0; written < kBenchFileBytes; written += blockBytes) {
        for (ULONGLONG& word : block)
            word = Scrambled(index++);
        DWORD count = 0;
        CheckWin32(::WriteFile(file.Get(), block.data(), blockBytes, &count, nullptr) && count == blockBytes,
                   "WriteFile");
    }
}

bool CBenchFile::Matches(LONGLONG position, std::span<const BYTE> bytes) noexcept {
    ULONGLONG index = static_cast<ULONGLONG>(position) / kWordBytes;
    for (std::size_t i = 0; i < bytes.size(); i += kWordBytes) {
        const ULONGLONG wanted = Scrambled(index++);
        if (std::memcmp(&bytes[i], &wanted, kWordBytes) != 0)
            return false;
    }
    return true;
}

}  // namespace bench
