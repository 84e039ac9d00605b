// Where in the benchmark's file the reads go. Each contender goes its own way (`lane`): what another one has just read
// is still in the processor's cache, and would be read too fast.
#pragma once

#include "bench/CBenchFile.h"

namespace bench {

// One read after the other, and from the start of the file again where it ends.
class CSequentialPositions final {
public:
    CSequentialPositions(int lane, LONG bytes) noexcept : m_bytes(bytes), m_position(kBenchFileBytes / kLanes * lane) {}

    [[nodiscard]] LONGLONG Next() noexcept {
        if (m_position + m_bytes > kBenchFileBytes)
            m_position = 0;
        const LONGLONG position = m_position;
        m_position += m_bytes;
        return position;
    }

private:
    static constexpr int kLanes = 4;

    const LONG m_bytes;
    LONGLONG m_position;
};

// Anywhere in the file, in steps of 4 KiB.
class CRandomPositions final {
public:
    // `bytes` are to be read at each position.
    CRandomPositions(int lane, LONG bytes) noexcept
        : m_index(static_cast<ULONGLONG>(lane) << 32),
          m_places(static_cast<ULONGLONG>((kBenchFileBytes - bytes) / kStep + 1)) {}

    [[nodiscard]] LONGLONG Next() noexcept { return static_cast<LONGLONG>(Scrambled(m_index++) % m_places) * kStep; }

private:
    static constexpr LONGLONG kStep = 4096;

    ULONGLONG m_index;
    const ULONGLONG m_places;
};

}  // namespace bench
