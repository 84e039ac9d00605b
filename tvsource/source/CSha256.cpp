#include "tvsource/source/CSha256.h"

#include "console/CCommandError.h"

#include <limits>

namespace tvsource {

namespace {

void CheckStatus(NTSTATUS status) {
    if (status < 0)
        throw console::CCommandError(L"Cannot make a hash", HRESULT_FROM_NT(status));
}

// Opened once, and never closed: other threads may hash to the very end.
BCRYPT_ALG_HANDLE Algorithm() {
    static const BCRYPT_ALG_HANDLE algorithm = [] {
        BCRYPT_ALG_HANDLE opened = nullptr;
        CheckStatus(::BCryptOpenAlgorithmProvider(&opened, BCRYPT_SHA256_ALGORITHM, nullptr, 0));
        return opened;
    }();
    return algorithm;
}

std::string Hex(std::span<const BYTE> bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const BYTE byte : bytes)
        text.append({kDigits[byte >> 4], kDigits[byte & 15]});
    return text;
}

}  // namespace

CSha256::CSha256() {
    CheckStatus(::BCryptCreateHash(Algorithm(), m_hash.Put(), nullptr, 0, nullptr, 0, 0));
}

void CSha256::Add(std::span<const BYTE> bytes) {
    constexpr size_t kMost = std::numeric_limits<LONG>::max();
    for (; !bytes.empty(); bytes = bytes.subspan(std::min(kMost, bytes.size())))
        CheckStatus(::BCryptHashData(m_hash.Get(), const_cast<BYTE*>(bytes.data()),
                                     static_cast<ULONG>(std::min(kMost, bytes.size())), 0));
}

CSha256::Digest CSha256::Finish() {
    Digest digest{};
    CheckStatus(::BCryptFinishHash(m_hash.Get(), digest.data(), static_cast<ULONG>(digest.size()), 0));
    return digest;
}

std::string HexOf(const CSha256::Digest& digest) {
    return Hex(digest);
}

std::uint64_t ShortHash(std::span<const BYTE> bytes) {
    CSha256 hash;
    hash.Add(bytes);
    const CSha256::Digest digest = hash.Finish();
    std::uint64_t value = 0;
    for (size_t i = 0; i < sizeof value; ++i)
        value = value << 8 | digest[i];
    return value;
}

std::string HexOf(std::uint64_t shortHash) {
    std::array<BYTE, sizeof shortHash> bytes{};
    for (size_t i = bytes.size(); i-- > 0; shortHash >>= 8)
        bytes[i] = static_cast<BYTE>(shortHash & 0xFF);
    return Hex(bytes);
}

}  // namespace tvsource
