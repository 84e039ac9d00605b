// A bounded walk over the structure of a source's content: reads anywhere, within a budget.
//
// Reads in the head cost nothing. Behind it a walk may take 32 reads of 32 KiB, 1 MiB in all: a walk over headers up to
// 256 KiB into the content, a walk over boxes anywhere. The bytes end where the budget, the content or a live source's
// head ends. Each rule has a budget of its own, and only a rule that has seen its signature walks.
//
// Units: bytes, positions as in CContent.  Errors: as CContent's.  Threads: one.
#pragma once

#include "metadata/CContent.h"

namespace metadata {

class CWalk final {
public:
    enum class Kind { Headers, Boxes };

    // The most that one call of At gives.
    static constexpr size_t kMostBytes = 4096;

    // Where headers end at the latest.
    static constexpr std::uint64_t kHeadersEnd = 256 * 1024;

    // How far into the content a walk over boxes gets if it skips nothing.
    static constexpr std::uint64_t kReach = 1024 * 1024;

    CWalk(CContent& content, Kind kind);

    // The `count` bytes at `position`, or fewer; at most kMostBytes. Valid until the next call.
    [[nodiscard]] CBytes At(std::uint64_t position, size_t count);

private:
    CContent& m_content;
    const Kind m_kind;
    std::vector<std::uint8_t> m_window;  // what was read last from behind the head
    std::uint64_t m_windowPosition = 0;
    bool m_windowIsLast = false;  // nothing can be read behind it
    int m_readsLeft;
};

}  // namespace metadata
