#include "tvsource/source/CVerification.h"

#include "base/FormatText.h"
#include "console/CCommandError.h"
#include "console/Text.h"

#include <algorithm>
#include <numeric>
#include <random>

namespace tvsource {

namespace {

constexpr LONGLONG kBlockBytes = CSampleReader::kBlockBytes;
constexpr unsigned kSeed = 20'240'229;

// Visits the numbers below `count`, each once, far from the one before.
LONGLONG StepThrough(LONGLONG count) {
    LONGLONG step = count / 21 * 13 + 1;
    while (std::gcd(step, count) != 1)
        ++step;
    return step;
}

}  // namespace

CVerification::CVerification(const CSourceFilter& source, const CBareFile* file)
    : m_source(source), m_file(file), m_length(source.SourceLength()), m_reader(source) {}

CVerification::Outcome CVerification::Read(Way way, const Progress& progress) {
    Outcome outcome;
    if (way == Way::InOrder)
        ReadAllInOrder(outcome, progress);
    else
        ReadBlocks(way, outcome, progress);
    return outcome;
}

void CVerification::ReadAllInOrder(Outcome& outcome, const Progress& progress) {
    CSha256 hash;
    LONGLONG position = 0;
    while (position < m_length.total) {
        const auto block = ReadBlock(position, std::min(kBlockBytes, m_length.total - position));
        if (block.empty())
            break;
        hash.Add(block);
        Compare(Way::InOrder, position, block, outcome);
        position += std::ssize(block);
        progress(position);
    }
    outcome.digest = hash.Finish();
    BYTE next = 0;
    if (!outcome.first && m_file && m_file->Read(position, {&next, 1}) == 1)
        outcome.first = ByteDifference{position, next, std::nullopt};
}

void CVerification::ReadBlocks(Way way, Outcome& outcome, const Progress& progress) {
    const LONGLONG count = m_length.total / kBlockBytes + (m_length.total % kBlockBytes > 0 ? 1 : 0);
    const LONGLONG step = way == Way::Backwards ? count - 1 : StepThrough(count);
    std::minstd_rand random(kSeed);
    LONGLONG block = count - 1;
    for (LONGLONG i = 0; i < count; ++i, block = (block + step) % count) {
        const LONGLONG position = block * kBlockBytes;
        const LONGLONG length = std::min(kBlockBytes, m_length.total - position);
        const auto bytes = way == Way::Backwards
                               ? ReadBlock(position, length)
                               : ReadInPieces(position, length, static_cast<LONGLONG>(random()) % length);
        Compare(way, position, bytes, outcome);
        progress(outcome.bytes);
    }
}

// All of the block; less only where a source of unknown length ends.
std::span<const BYTE> CVerification::ReadBlock(LONGLONG position, LONGLONG length) {
    m_block.clear();
    while (std::ssize(m_block) < length) {
        const auto got = m_reader.Read(position + std::ssize(m_block), length - std::ssize(m_block));
        if (got.empty())
            break;
        m_block.insert(m_block.end(), got.begin(), got.end());
    }
    return m_block;
}

// By the plain SyncRead, the second piece first.
std::span<const BYTE> CVerification::ReadInPieces(LONGLONG position, LONGLONG length, LONGLONG split) {
    m_block.assign(static_cast<size_t>(length), 0);
    const std::span<BYTE> all = m_block;
    ReadPiece(position + split, all.subspan(static_cast<size_t>(split)));
    ReadPiece(position, all.first(static_cast<size_t>(split)));
    return m_block;
}

void CVerification::ReadPiece(LONGLONG position, std::span<BYTE> bytes) {
    if (bytes.empty())
        return;
    const HRESULT hr = m_source.Reader()->SyncRead(position, static_cast<LONG>(bytes.size()), bytes.data());
    console::Check(hr, L"Cannot read");
    if (hr == S_OK)
        return;
    const std::wstring words = L"A read of " + console::CountText(std::ssize(bytes), L"byte") +
                               base::FormatText(L" at %I64d came short", position);
    const HRESULT why = m_source.TryByteAt(position);
    throw FAILED(why) ? console::CCommandError(words, why) : console::CCommandError(words);
}

void CVerification::Compare(Way way, LONGLONG position, std::span<const BYTE> bytes, Outcome& outcome) {
    outcome.bytes += std::ssize(bytes);
    std::optional<ByteDifference> found;
    if (m_file) {
        found = BesideFile(position, bytes);
    } else if (way == Way::InOrder) {
        m_hashes.push_back(ShortHash(bytes));
    } else if (m_hashes.at(static_cast<size_t>(position / kBlockBytes)) != ShortHash(bytes)) {
        found = ByteDifference{position, std::nullopt, std::nullopt};
    }
    if (found && (!outcome.first || found->position < outcome.first->position))
        outcome.first = found;
}

std::optional<ByteDifference> CVerification::BesideFile(LONGLONG position, std::span<const BYTE> bytes) {
    m_expected.resize(bytes.size());
    const size_t there = m_file->Read(position, m_expected);
    const auto expected = std::span<const BYTE>(m_expected).first(there);
    const auto [mine, its] = std::ranges::mismatch(bytes, expected);
    if (mine == bytes.end())
        return std::nullopt;
    return ByteDifference{position + std::distance(bytes.begin(), mine),
                          its == expected.end() ? std::nullopt : std::optional(*its), *mine};
}

}  // namespace tvsource
