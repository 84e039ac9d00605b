// A source, what has come of it, and what is under way: streams read here, and two connections fill the store.
//
// Readers wait here, never on the network. So a wait can be given up at any moment, while what the network is at goes
// on behind the scenes, for the next one.
//
//   const auto source = CRangeSource::Create(makeConnection, {.storeBytes = 64 << 20});
//   HRESULT hr = source->Open(gate, timeoutMs);
//   hr = source->Read(position, target, &count, gate, timeoutMs);
//   ...
//   gate.Close();      // from any thread: the reads that go through it end with E_ABORT
//   source->Wake();
//
// A live source, one whose length its first answer doesn't tell, goes forward only: what it gave and the store has is
// read as often as one likes, and what the store has no more is gone.
//
// Units: positions and counts are bytes, times milliseconds.
// Threads: any. Each connection has a call queue of its own.
// Lifetime: shared by the streams of a source. The last to let go waits for nothing: what is under way is aborted, and
// ends by itself.
#pragma once

#include "base/CDeadline.h"
#include "dataservices/store/CFetchPolicy.h"
#include "dataservices/store/CPatience.h"
#include "dataservices/store/CReadGate.h"
#include "dataservices/store/IConnection.h"

#include <functional>
#include <iterator>
#include <memory>
#include <vector>

namespace dataservices::store {

class CRangeSource final {
public:
    using MakeConnection = std::function<std::unique_ptr<IConnection>()>;
    using Clock = ULONGLONG(WINAPI*)();

    struct Settings {
        std::size_t storeBytes = sizeof(void*) == 8 ? 64 << 20 : 32 << 20;
        std::size_t mostTries = std::size(CPatience::kPausesMs);
        Clock clock = &::GetTickCount64;  // for how long it stays failed
    };
    struct Status {
        SourceFacts facts;
        Position held = 0;    // here, of all ranges together
        Position ahead = 0;   // here, from where was read last
        Position wanted = 0;  // by those who wait
        std::uint64_t perSecond = 0, requests = 0;
        Position received = 0, receivedAgain = 0;
        std::uint64_t stalls = 0, longestWaitMs = 0;  // of reads that have ended
        std::size_t ranges = 0;
    };
    // A live source has passed the position. The framework's code of streams that can't seek.
    static constexpr HRESULT kCannotReach = static_cast<HRESULT>(0x80040003);
    // A wait that is longer counts as a stall.
    static constexpr std::uint64_t kStallMs = 300;

    // Throws std::bad_alloc.
    [[nodiscard]] static std::shared_ptr<CRangeSource> Create(MakeConnection make, const Settings& settings);
    CRangeSource(const CRangeSource&) = delete;
    CRangeSource& operator=(const CRangeSource&) = delete;
    ~CRangeSource();

    // Waits for the first answer, which is asked for once.
    // E_ABORT: the gate is closed.  E_PENDING: not within `timeoutMs`.  Otherwise the failure.
    [[nodiscard]] HRESULT Open(CReadGate::Pass pass, DWORD timeoutMs) noexcept;

    // Waits until a live source ends, which then is one of known length. Gives up as soon as more has come than half of
    // the store.
    void AwaitEnd(CReadGate::Pass pass, DWORD timeoutMs) noexcept;

    // Reads until `target` is full; `*count` has how many bytes are there, also after a failure.
    // S_FALSE: the source ends before.  E_ABORT: the gate is closed.  E_PENDING: not within `timeoutMs`.  kCannotReach:
    // a live source has passed this position, and it is no longer here.  Otherwise the failure of the source.
    [[nodiscard]] HRESULT Read(Position position, std::span<Byte> target, std::size_t* count, CReadGate::Pass pass,
                               DWORD timeoutMs) noexcept;

    // Waits until `bytes` bytes from `position` on are here, a quarter of the store at most; `*available` has how many
    // are.  S_FALSE: there will be no more; of a live source also where it has passed `position`, or is far from it.
    // Otherwise as Read.
    [[nodiscard]] HRESULT Await(Position position, Position bytes, Position* available, CReadGate::Pass pass,
                                DWORD timeoutMs) noexcept;

    // A gate has been closed.
    void Wake() noexcept;

    // False: a live source has passed this position, and it is no longer here.
    [[nodiscard]] bool CanReach(Position position) const noexcept;

    // From its beginning to its end.
    [[nodiscard]] bool IsAllHere() const noexcept;

    [[nodiscard]] SourceFacts Facts() const noexcept;
    [[nodiscard]] Status GetStatus() const;
    // Throws std::bad_alloc.
    [[nodiscard]] std::vector<Range> Ranges() const;

private:
    struct Core;

    explicit CRangeSource(std::shared_ptr<Core> core) noexcept;

    const std::shared_ptr<Core> m_core;
};

}  // namespace dataservices::store
