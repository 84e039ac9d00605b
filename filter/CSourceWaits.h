// The waits for the bytes of the pin's source, and how they are given up: where the source has ITKDSSourceControl. A
// source without it is taken as being all here, and nothing of its reads can be given up.
//
// A reader takes a wait, holding no lock, waits, and then takes the locks of the pin. If the source is another one by
// then, it begins anew.
//
// Reads are given up as long as a flush lasts, after Abort, and while a new source takes the place of the old one,
// whose reads stay given up.
//
// Threads: any. No operation but CWait::For waits, or needs a lock that a reader holds. Lifetime: the pin's.
#pragma once

#include "TKDataServices.h"
#include "base/CSlimLock.h"
#include "baseclasses/CCritSec.h"

#include <windows.h>

#include <wrl/client.h>

#include <atomic>
#include <mutex>
#include <optional>
#include <utility>

namespace filter {

class CSourceWaits final {
public:
    using Control = Microsoft::WRL::ComPtr<ITKDSSourceControl>;

    // One read's wait for its bytes; as if all were here, until it has waited.
    struct Wait {
        Control control;  // null: the source has none
        unsigned source = 0;
        HRESULT result = S_OK;                        // as of ITKDSSourceControl::Await
        MIDL_uhyper available = 0;                    // unless the result is S_OK
        const std::atomic<unsigned>* ends = nullptr;  // how often waits were ended; of the pin
        unsigned endsBefore = 0;                      // when this one began

        // Waits for `length` bytes from `position` on, as long as any come: it ends with ERROR_TIMEOUT when nothing has
        // come for a minute, and with E_ABORT when waits were ended since Begin, however soon reads were allowed again.
        // `tellBuffering` is called with true when that takes longer than 300 ms, and then with false when it is over.
        // Negative positions are nowhere, and nothing is waited for then.
        template <class TellBuffering>
        void For(LONGLONG position, LONG length, TellBuffering&& tellBuffering) noexcept {
            if (!control || length <= 0 || Ask(position, length, kUntilBufferingMs) != E_PENDING)
                return;
            tellBuffering(true);
            GoOn(position, length);
            tellBuffering(false);
        }

        // How many of `length` bytes can be read without waiting for more.
        [[nodiscard]] ULONG Readable(ULONG length) const noexcept;
        // Whether `hr`, of a read of this source, says that reads are given up.
        [[nodiscard]] bool IsGivenUp(HRESULT hr) const noexcept { return control && hr == E_ABORT; }

    private:
        HRESULT Ask(LONGLONG position, LONG length, DWORD milliseconds) noexcept;
        void GoOn(LONGLONG position, LONG length) noexcept;
    };

    CSourceWaits() noexcept = default;
    CSourceWaits(const CSourceWaits&) = delete;
    CSourceWaits& operator=(const CSourceWaits&) = delete;

    [[nodiscard]] Wait Begin() const noexcept;
    // To be asked with the lock under which sources are replaced.  False: the source is another one now, and has to be
    // waited for in its turn. What was given up stays so: nothing of the new source can be read then.
    [[nodiscard]] bool IsOver(Wait& wait) const noexcept;

    [[nodiscard]] Control SourceControl() const noexcept;

    // A reader begins to wait for long, or has ended that. `tell` is called with whether any does, in the order of the
    // changes, without a lock, and perhaps by another thread that has come first.
    template <class Tell>
    void CountLongWait(bool begins, Tell&& tell) {
        {
            const std::lock_guard lock(m_longWaitsLock);
            m_longWaits += begins ? 1 : -1;
            if (std::exchange(m_isTelling, true))
                return;
        }
        while (const std::optional<bool> news = NextToTell())
            tell(*news);
    }

    // The reads that wait now end; later ones wait as before.
    void EndWaits() noexcept;
    // Reads are given up from now on, until Resume or a new source.
    void Abort() noexcept;
    void Resume() noexcept;
    void SetFlushing(bool isFlushing) noexcept;
    [[nodiscard]] bool IsFlushing() noexcept;

    // A new source is to come: the reads of the old one are given up. Each call is followed by one of the next two.
    void Leave() noexcept;
    // It has come, with `control` or, null, without.
    void Arrive(Control control) noexcept;
    // It has not come.
    void Stay() noexcept;

private:
    static constexpr DWORD kUntilBufferingMs = 300;
    // A wait is asked for in pieces: when waits are ended just before the source is asked, it looks after this one.
    static constexpr DWORD kPieceMs = 1000;
    static constexpr int kMostPiecesWithoutBytes = 60;

    void Apply() noexcept;
    void GiveUp(ITKDSSourceControl& control) noexcept;
    [[nodiscard]] std::optional<bool> NextToTell() noexcept;

    // Keeps the calls that give up and allow reads in the order of what they follow from; held while they are made,
    // since they don't wait. Guards what follows it.
    CCritSec m_orderLock;
    bool m_isFlushing = false;
    bool m_isAborted = false;
    int m_leaving = 0;  // threads that replace the source

    mutable base::CSlimLock m_sourceLock;  // guards what follows; a leaf, held to copy and to replace
    Control m_control;
    unsigned m_source = 0;  // sources so far
    std::atomic<unsigned> m_ends{0};

    base::CSlimLock m_longWaitsLock;  // guards what follows; a leaf
    int m_longWaits = 0;              // readers that have waited for long
    bool m_areTold = false;           // what was told last
    bool m_isTelling = false;         // a thread tells, or is about to
};

}  // namespace filter
