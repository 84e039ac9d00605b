// Reads a source as a whole, in several ways, and looks whether the same bytes come each time, and those of the file.
//
// Without a file to compare with, the first way is the one that others are compared with, by a hash of each block: 8
// bytes of memory for 64 KiB of the source.
//
// Threads: one.  Lifetime: must go before the source.  Errors: CCommandError where the source or the file can't be
// read.
#pragma once

#include "tvsource/source/CBareFile.h"
#include "tvsource/source/CSampleReader.h"
#include "tvsource/source/CSha256.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace tvsource {

struct ByteDifference {
    LONGLONG position = 0;  // the first byte that differs, or the block that it is in
    // Empty: one of the two ends there. Both empty: only the block is known.
    std::optional<BYTE> expected, actual;
};

class CVerification final {
public:
    enum class Way { InOrder, Backwards, AtRandom };

    // What one way gave.
    struct Outcome {
        LONGLONG bytes = 0;
        std::optional<ByteDifference> first;    // the one with the lowest position
        std::optional<CSha256::Digest> digest;  // of all bytes; only of InOrder
    };
    using Progress = std::function<void(LONGLONG bytes)>;

    // The source's data flow must be enabled. `file`: null if there is none.
    CVerification(const CSourceFilter& source, const CBareFile* file);

    // InOrder comes first, and is the only one for a source of unknown length.
    [[nodiscard]] Outcome Read(Way way, const Progress& progress);

private:
    [[nodiscard]] std::span<const BYTE> ReadBlock(LONGLONG position, LONGLONG length);
    [[nodiscard]] std::span<const BYTE> ReadInPieces(LONGLONG position, LONGLONG length, LONGLONG split);
    void ReadPiece(LONGLONG position, std::span<BYTE> bytes);
    void Compare(Way way, LONGLONG position, std::span<const BYTE> bytes, Outcome& outcome);
    [[nodiscard]] std::optional<ByteDifference> BesideFile(LONGLONG position, std::span<const BYTE> bytes);
    void ReadAllInOrder(Outcome& outcome, const Progress& progress);
    void ReadBlocks(Way way, Outcome& outcome, const Progress& progress);

    const CSourceFilter& m_source;
    const CBareFile* const m_file;
    const CSourceFilter::Length m_length;
    CSampleReader m_reader;
    std::vector<BYTE> m_block, m_expected;
    std::vector<std::uint64_t> m_hashes;
};

}  // namespace tvsource
