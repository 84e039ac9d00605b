// The content that is judged: its first 64 KiB in memory, and, on a source that knows its size, everything behind them
// on demand. Leaves the source's seek pointer where it found it, whatever happens.
//
// Units: positions and sizes in bytes; positions count from Start(), which moves behind tags.
// A source whose size isn't known (Stat fails, or the size's top bit is set) is read from where it stands, and the only
// seek is back to there: a live source can't give its bytes twice, but what was just read is still in its buffer.
// A source that knows its size is read from its beginning.
//
// Errors: std::bad_alloc. A failure of the source is no exception: nothing more is read after the first one, the
// content looks empty, and Result says why. (The first exception that is thrown in a DLL takes resources of its
// run-time library that freeing the DLL doesn't give back, and sources fail often.) Threads: one.  Lifetime: the stream
// must outlive the object.
#pragma once

#include "metadata/CBytes.h"

#include <objidl.h>

#include <optional>
#include <vector>

class CContent final {
public:
    static constexpr size_t kHeadBytes = 64 * 1024;

    // Reads the head. It is empty if the source fails.
    explicit CContent(IStream* source);
    CContent(const CContent&) = delete;
    CContent& operator=(const CContent&) = delete;
    ~CContent();

    // The first 64 KiB, or less: where the content ends, or on a live source behind tags.
    [[nodiscard]] CBytes Head() const noexcept { return CBytes(m_head).From(m_headOffset); }

    // Whether the head reaches to the content's end, as the source showed it by ending.
    [[nodiscard]] bool HeadIsAll() const noexcept { return m_headIsAll; }

    // Whether bytes behind the head can be had.
    [[nodiscard]] bool KnowsSize() const noexcept { return m_size.has_value(); }

    // Where in the source position 0 is.
    [[nodiscard]] std::uint64_t Start() const noexcept { return m_start; }

    // Judges what stands `count` bytes behind the present start instead. On a live source what is behind the bytes
    // already read is out of reach, and the head is empty then.
    void MoveStart(std::uint64_t count);

    // Reads at any position; fewer bytes only where the content ends, none on a live source. One seek.
    [[nodiscard]] size_t ReadAt(std::uint64_t position, std::span<std::uint8_t> buffer);

    // Puts the seek pointer back, also after a failure.
    void PutBack();

    // S_OK, or how the source failed first: STG_E_READFAULT or STG_E_SEEKERROR where it only told what can't be.
    [[nodiscard]] HRESULT Result() const noexcept { return m_result; }

private:
    [[nodiscard]] size_t ReadOn(std::span<std::uint8_t> buffer);
    void SeekTo(std::uint64_t position);
    void ReadHead();
    void Fail(HRESULT result) noexcept;

    IStream* const m_source;
    std::uint64_t m_found = 0;  // where the source stood
    std::uint64_t m_start = 0;
    std::optional<std::uint64_t> m_size;  // of the source, as it says itself
    std::vector<std::uint8_t> m_head;
    size_t m_headOffset = 0;
    bool m_headIsAll = false;
    bool m_isPutBack = false;
    HRESULT m_result = S_OK;
};
