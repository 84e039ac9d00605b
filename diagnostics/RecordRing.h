// Records in memory that two processes share: many writers of one process, one reader in the other. Nothing is called
// on the way: a record costs its copying.
//
// The layout is the contract between programs of both bitnesses, so all fields have fixed widths. A header, then
// `capacity` bytes, a power of two up to kMostCapacity, used as a ring. Positions count bytes for ever, modulo 2^32. A
// record is a RecordHead and its four texts behind each other in UTF-16 without zeros, filled up to a multiple of 8
// bytes; it may wrap around the end of the memory.
//
// Each side keeps its own position and capacity to itself and takes the other's for a claim: whatever stands in the
// shared memory, neither reads or writes outside of it. The reader copies a record's head before it looks at it.
//
// Threads: writers take turns by a lock of their own; one thread reads.  Errors: none; no allocation, no exception.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace TKRuntimeLogger::RecordRing {

inline constexpr std::uint32_t kMagic = 0x52474B54;  // "TKGR"
inline constexpr std::uint32_t kVersion = 1;
inline constexpr std::uint32_t kNullText = 0xFFFFFFFF;
inline constexpr std::size_t kTexts = 4;  // category, file, function, message
inline constexpr std::uint32_t kMostCapacity = 4 << 20;

struct Header {
    std::uint32_t magic;
    std::uint32_t version;
    std::uint32_t capacity;
    std::atomic<std::uint32_t> writerClosed;  // nothing more will come
    alignas(64) std::atomic<std::uint32_t> written;
    alignas(64) std::atomic<std::uint32_t> taken;
    std::atomic<std::uint32_t> heartbeatMs;   // the reader's last look, by the clock of base/AwakeTime.h
    std::atomic<std::uint32_t> readerClosed;  // nothing more will be taken
    std::atomic<std::uint32_t> hasReader;     // or had one: two would take each other's records
    alignas(64) std::uint32_t end[16];
};
static_assert(sizeof(Header) == 256 && std::atomic<std::uint32_t>::is_always_lock_free);

enum Kind : std::uint32_t { Log = 1, Profile = 2, Explicit = 3 };

// What a kind doesn't have is 0.
struct RecordHead {
    std::uint32_t bytes;  // with texts and filling
    std::uint32_t kind;
    std::int32_t severity;
    std::uint32_t processId;  // Explicit: the first value
    std::uint32_t threadId;   // Explicit: the second value
    std::int32_t line;
    std::uint32_t value;            // Explicit: the third
    std::uint32_t flag;             // Explicit
    std::uint32_t time[2];          // FILETIME of the writing, low half first
    std::uint32_t count[2];         // Profile, low half first
    double first, maximum, total;   // Profile, in seconds
    std::uint32_t lengths[kTexts];  // in UTF-16 units; kNullText: null
};
static_assert(sizeof(RecordHead) == 88 && offsetof(RecordHead, first) == 48);

struct Text {
    const void* characters;  // UTF-16; null: a null text
    std::uint32_t length;
};

class CWriter final {
public:
    enum class Result { Written, Full, TooBig, Broken };

    // `memory`: zeros, of sizeof(Header) + `capacity` bytes, aligned to 64. Its reader may start once this is made.
    CWriter(void* memory, std::uint32_t capacity, std::uint32_t nowMs) noexcept
        : m_header(*static_cast<Header*>(memory)),
          m_data(static_cast<std::byte*>(memory) + sizeof(Header)),
          m_capacity(capacity) {
        m_header.heartbeatMs.store(nowMs, std::memory_order_relaxed);
        m_header.capacity = capacity;
        m_header.version = kVersion;
        m_header.magic = kMagic;
    }

    // One writer at a time. `head` needs no `bytes` and `lengths`.  Broken: the reader claims what can't be.
    [[nodiscard]] Result Write(RecordHead head, const Text (&texts)[kTexts]) noexcept {
        std::uint64_t bytes = sizeof head;
        for (std::size_t i = 0; i < kTexts; ++i) {
            head.lengths[i] = texts[i].characters ? texts[i].length : kNullText;
            bytes += texts[i].characters ? std::uint64_t{texts[i].length} * 2 : 0;
        }
        bytes = (bytes + 7) / 8 * 8;
        if (bytes > m_capacity)
            return Result::TooBig;
        std::uint32_t at = m_written.load(std::memory_order_relaxed);
        const std::uint32_t waiting = at - Taken();  // more than the capacity: the reader is broken
        if (waiting > m_capacity)
            return Result::Broken;
        if (bytes > m_capacity - waiting)
            return Result::Full;
        head.bytes = static_cast<std::uint32_t>(bytes);
        const std::uint32_t behind = at + head.bytes;
        Put(at, &head, sizeof head);
        for (const Text& text : texts) {
            if (text.characters)
                Put(at, text.characters, text.length * 2);
        }
        m_written.store(behind, std::memory_order_relaxed);
        // Before the writer looks whether the reader is there, which first says that it goes and then looks here: one
        // of the two sees the other.
        m_header.written.store(behind, std::memory_order_seq_cst);
        return Result::Written;
    }

    // All from here on: any thread.
    [[nodiscard]] std::uint32_t Written() const noexcept { return m_written.load(std::memory_order_relaxed); }
    [[nodiscard]] std::uint32_t Taken() const noexcept { return m_header.taken.load(std::memory_order_acquire); }
    // Whether the reader has taken all up to `position`, which was Written() some time ago. No more than the capacity
    // is ever left to take, so whatever seems to be more was taken long ago.
    [[nodiscard]] bool IsTaken(std::uint32_t position) const noexcept {
        const std::uint32_t left = position - Taken();
        return left == 0 || left > m_capacity;
    }
    [[nodiscard]] std::uint32_t HeartbeatMs() const noexcept {
        return m_header.heartbeatMs.load(std::memory_order_relaxed);
    }
    [[nodiscard]] bool IsReaderClosed() const noexcept {
        return m_header.readerClosed.load(std::memory_order_seq_cst) != 0;
    }
    void Close() noexcept { m_header.writerClosed.store(1, std::memory_order_release); }

private:
    void Put(std::uint32_t& at, const void* from, std::uint32_t bytes) noexcept {
        const std::uint32_t offset = at & (m_capacity - 1);
        const std::uint32_t first = std::min(bytes, m_capacity - offset);
        std::memcpy(m_data + offset, from, first);
        std::memcpy(m_data, static_cast<const std::byte*>(from) + first, bytes - first);
        at += bytes;
    }

    Header& m_header;
    std::byte* const m_data;
    const std::uint32_t m_capacity;
    std::atomic<std::uint32_t> m_written{0};
};

class CReader final {
public:
    // Whether memory of `bytes` bytes can be a ring.
    [[nodiscard]] static bool IsRing(const void* memory, std::size_t bytes) noexcept {
        if (bytes < sizeof(Header))
            return false;
        const Header& header = *static_cast<const Header*>(memory);
        return header.magic == kMagic && header.version == kVersion && IsCapacity(header.capacity, bytes);
    }

    // `memory`: see IsRing. If its writer has changed the capacity since, the reader is broken at once.
    CReader(void* memory, std::size_t bytes) noexcept
        : m_header(*static_cast<Header*>(memory)), m_data(static_cast<const std::byte*>(memory) + sizeof(Header)) {
        const std::uint32_t capacity = *const_cast<const volatile std::uint32_t*>(&m_header.capacity);
        m_capacity = IsCapacity(capacity, bytes) ? capacity : 0;
    }

    // Before anything is read. False: the ring has a reader, or had one.
    [[nodiscard]] bool Claim() noexcept { return m_header.hasReader.exchange(1, std::memory_order_relaxed) == 0; }

    // A record's head and how to get its texts, while it is being taken.
    class CRecord final {
    public:
        [[nodiscard]] const RecordHead& Head() const noexcept { return m_head; }
        // `to` has room for Length(index) units.
        void CopyText(std::size_t index, void* to) const noexcept {
            std::uint32_t at = m_at + static_cast<std::uint32_t>(sizeof m_head);
            for (std::size_t i = 0; i < index; ++i)
                at += Length(i) * 2;
            m_reader.Get(at, to, Length(index) * 2);
        }
        [[nodiscard]] std::uint32_t Length(std::size_t index) const noexcept {
            return m_head.lengths[index] == kNullText ? 0 : m_head.lengths[index];
        }

    private:
        friend CReader;
        CRecord(const CReader& reader, std::uint32_t at) noexcept : m_reader(reader), m_at(at) {
            reader.Get(at, &m_head, sizeof m_head);
        }
        const CReader& m_reader;
        const std::uint32_t m_at;
        RecordHead m_head;
    };

    // Hands what waits at the moment to `take`, a record at a time, and makes room for more. `take` must not throw.
    // False: the writer wrote what can't be; nothing more is to be had from it.
    template <class Take>
    [[nodiscard]] bool ReadAll(std::uint32_t nowMs, const Take& take) noexcept {
        m_header.heartbeatMs.store(nowMs, std::memory_order_relaxed);
        std::uint32_t left = m_header.written.load(std::memory_order_seq_cst) - m_taken;
        if (left > m_capacity)
            return false;
        while (left > 0) {
            if (left < sizeof(RecordHead))
                return false;
            const CRecord record(*this, m_taken);
            if (!IsSound(record, left))
                return false;
            take(record);
            m_taken += record.Head().bytes;
            left -= record.Head().bytes;
            m_header.taken.store(m_taken, std::memory_order_release);
        }
        return true;
    }

    [[nodiscard]] bool IsWriterClosed() const noexcept {
        return m_header.writerClosed.load(std::memory_order_acquire) != 0;
    }
    void Close() noexcept { m_header.readerClosed.store(1, std::memory_order_seq_cst); }

private:
    static bool IsCapacity(std::uint32_t capacity, std::size_t bytes) noexcept {
        return capacity >= 4096 && capacity <= kMostCapacity && (capacity & (capacity - 1)) == 0 &&
               capacity <= bytes - sizeof(Header);
    }
    static bool IsSound(const CRecord& record, std::uint32_t left) noexcept {
        const RecordHead& head = record.Head();
        std::uint64_t needed = sizeof head;
        for (std::size_t i = 0; i < kTexts; ++i)
            needed += std::uint64_t{record.Length(i)} * 2;
        return head.kind >= Log && head.kind <= Explicit && head.bytes % 8 == 0 && head.bytes <= left &&
               needed <= head.bytes;
    }
    void Get(std::uint32_t at, void* to, std::uint32_t bytes) const noexcept {
        const std::uint32_t offset = at & (m_capacity - 1);
        const std::uint32_t first = std::min(bytes, m_capacity - offset);
        std::memcpy(to, m_data + offset, first);
        std::memcpy(static_cast<std::byte*>(to) + first, m_data, bytes - first);
    }

    Header& m_header;
    const std::byte* const m_data;
    std::uint32_t m_capacity = 0;
    std::uint32_t m_taken = 0;
};

}  // namespace TKRuntimeLogger::RecordRing
