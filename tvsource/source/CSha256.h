// SHA-256 by the platform's BCrypt.
//
// Threads: one at a time.  Errors: CCommandError.
#pragma once

#include "base/CAutoDestructor.h"

#include <windows.h>

#include <bcrypt.h>

#include <array>
#include <cstdint>
#include <span>
#include <string>

namespace tvsource {

class CSha256 final {
public:
    using Digest = std::array<BYTE, 32>;

    CSha256();

    void Add(std::span<const BYTE> bytes);
    // Of all that was added. Once.
    [[nodiscard]] Digest Finish();

private:
    struct Closer {
        static BCRYPT_HASH_HANDLE Invalid() noexcept { return nullptr; }
        static bool IsValid(BCRYPT_HASH_HANDLE hash) noexcept { return hash != nullptr; }
        static void Close(BCRYPT_HASH_HANDLE hash) noexcept { ::BCryptDestroyHash(hash); }
    };

    base::CAutoDestructor<BCRYPT_HASH_HANDLE, Closer> m_hash;
};

// 64 small hexadecimal digits.
[[nodiscard]] std::string HexOf(const CSha256::Digest& digest);

// The first eight bytes of the digest, the first one highest: enough to see that bytes differ.
[[nodiscard]] std::uint64_t ShortHash(std::span<const BYTE> bytes);

// Its 16 small hexadecimal digits.
[[nodiscard]] std::string HexOf(std::uint64_t shortHash);

}  // namespace tvsource
