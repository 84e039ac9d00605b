// The content that is judged: its first 64 KiB in memory, and everything behind them on demand where that is cheap.
// Leaves the source's seek pointer where it found it, whatever happens.
//
// Units: positions and sizes in bytes; positions count from Start(), which moves behind tags. Times in milliseconds.
//
// A source whose size isn't known may be live: it is read from where it stands, and the only seek is back to there.
// Nothing is lost where that seek succeeds, as it does within the bytes that a buffer in front of the source still has;
// CReplayStream is a buffer that has them all. A source that knows its size is read from its beginning. If it says that
// its seeks are expensive, only tags of up to 1 MiB are stepped over, and nothing behind the head is read. A seek that
// fails shows that the source can't be walked: it counts as a live one from then on.
//
// Of a source that is awaited, over a slow network say, and can be walked, the head is only its first 16 KiB at first:
// formats that are known by these need not wait for more.
//
// Ten seconds after the first byte nothing more is asked of the source but the seek back, and what has come by then is
// judged. The wait for that byte doesn't count: in that time a buffer in front of a slow source fills itself, and then
// has the next bytes at once. A call that has begun isn't broken off. So the first read asks for one byte, and later
// ones for more only as fast as the source answers; even a source of one byte a second is left in time.
//
// Errors: std::bad_alloc. A failure of the source is no exception: nothing more is read after the first one, the
// content looks empty, and Result says why. (The first exception that is thrown in a DLL takes resources of its
// run-time library that freeing the DLL doesn't give back, and sources fail often.) Threads: one.  Lifetime: the source
// must outlive the object.
#pragma once

#include "metadata/CBytes.h"
#include "metadata/IByteSource.h"

#include <optional>
#include <vector>

namespace metadata {

class CContent final {
public:
    static constexpr size_t kHeadBytes = 64 * 1024;
    static constexpr size_t kFirstHeadBytes = 16 * 1024;
    static constexpr std::uint64_t kMostMs = 10'000;

    // The milliseconds since a fixed start.
    using Clock = std::uint64_t (*)();

    // Reads the head. It is empty if the source fails.
    CContent(IByteSource& source, Clock clock);
    CContent(const CContent&) = delete;
    CContent& operator=(const CContent&) = delete;
    ~CContent();

    // The first 64 KiB, or less: where the content ends, or on a live source behind tags.
    [[nodiscard]] CBytes Head() const noexcept { return CBytes(m_head).From(m_headOffset); }

    // Whether the head isn't all that it could be, and CompleteHead makes it so.
    [[nodiscard]] bool IsHeadPart() const noexcept { return m_isHeadPart; }
    void CompleteHead();

    // Whether the head reaches to the content's end, as the source showed it by ending.
    [[nodiscard]] bool HeadIsAll() const noexcept { return m_headIsAll; }

    // Whether bytes behind the head can be had, and cheaply.
    [[nodiscard]] bool CanWalk() const noexcept { return m_size && !m_areSeeksExpensive && !m_isOutOfTime; }

    // Whether the source was so slow that less was read than usual.
    [[nodiscard]] bool IsOutOfTime() const noexcept { return m_isOutOfTime; }

    // Where in the source position 0 is.
    [[nodiscard]] std::uint64_t Start() const noexcept { return m_start; }

    // Judges what stands `count` bytes behind the present start instead. On a live source what is behind the bytes
    // already read is out of reach, and so is what stands far away where seeks are expensive. The head is what is left
    // of the bytes already read then.
    void MoveStart(std::uint64_t count);

    // Reads at any position; fewer bytes only where the content or the time ends, none where CanWalk is false. One
    // seek.
    [[nodiscard]] size_t ReadAt(std::uint64_t position, std::span<std::uint8_t> buffer);

    // Puts the seek pointer back, also after a failure.
    void PutBack();

    // 0, or how the source failed first. A failed seek counts only if it was to put the source back.
    [[nodiscard]] IByteSource::Result Result() const noexcept { return m_result; }
    [[nodiscard]] bool HasFailed() const noexcept { return m_result < 0; }

private:
    [[nodiscard]] size_t ReadOn(std::span<std::uint8_t> buffer);
    [[nodiscard]] size_t NextReadBytes(size_t wanted);
    [[nodiscard]] bool CanSeekTo(std::uint64_t position);
    void ReadHead(size_t most = kHeadBytes);
    void Fail(IByteSource::Result result) noexcept;

    IByteSource& m_source;
    const Clock m_clock;
    std::optional<std::uint64_t> m_deadline;  // from the first byte on
    std::uint64_t m_found = 0;                // where the source stood
    std::uint64_t m_start = 0;
    std::optional<std::uint64_t> m_size;  // of the source, as it says itself
    bool m_areSeeksExpensive = false;
    bool m_isOutOfTime = false;
    size_t m_lastReadBytes = 0;
    std::uint64_t m_lastReadMs = 0;
    std::vector<std::uint8_t> m_head;
    size_t m_headOffset = 0;
    bool m_headIsAll = false;
    bool m_isHeadPart = false;
    bool m_isPutBack = false;
    IByteSource::Result m_result = 0;
};

}  // namespace metadata
