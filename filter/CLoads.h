// The loads that are under way in a filter, of names and of streams, and how they are given up.
//
// A load can be given up while it waits: for another load, for its name to be opened, or for the bytes by which its
// type is told, if its stream has ITKDSSourceControl. It can't any more when it begins to change the filter, nor while
// it reads a stream without that interface, nor ever if it waits for no network (a local file, a host's stream without
// the interface): such a load goes on as if nothing had been said.
//
// Threads: any; a load is its own thread's.  Lifetime: the filter's; a load's is that of the call.
#pragma once

#include "TKDataServices.h"
#include "baseclasses/CCritSec.h"

#include <windows.h>

#include <wrl/client.h>

#include <atomic>

namespace filter {

class CLoads final {
public:
    using Control = Microsoft::WRL::ComPtr<ITKDSSourceControl>;

    class CLoad final {
    public:
        // From now on it is the newest one.
        CLoad(CLoads& loads, bool canBeGivenUp) noexcept;
        CLoad(const CLoad&) = delete;
        CLoad& operator=(const CLoad&) = delete;
        ~CLoad();

        [[nodiscard]] const std::atomic<bool>& IsGivenUp() const noexcept { return m_isGivenUp; }

        // It reads a stream of this control next; null: of none, and so it can't be given up from now on.
        // E_ABORT: it has been given up.
        [[nodiscard]] HRESULT BeginReading(Control control) noexcept;
        // It changes the filter next. E_ABORT: it has been given up.
        [[nodiscard]] HRESULT BeginChanging() noexcept { return BeginReading(nullptr); }

        // To be asked under the lock: whether name and results of this load are to be told, as they are unless it was
        // given up for a newer one.
        [[nodiscard]] bool IsToBeTold() const noexcept { return !m_isGivenUp || m_number == m_loads.m_newest; }

    private:
        friend CLoads;

        // Guarded by the loads' lock; m_isGivenUp is read without it.
        CLoads& m_loads;
        CLoad* m_next = nullptr;
        unsigned m_number = 0;
        bool m_canBeGivenUp;
        std::atomic<bool> m_isGivenUp{false};
        Control m_control;
    };

    // `lock` outlives this object; it is never held while a stream is called.
    explicit CLoads(CCritSec& lock) noexcept : m_lock(lock) {}
    CLoads(const CLoads&) = delete;
    CLoads& operator=(const CLoads&) = delete;

    // All that can be and are older than `newer`; null: all that can be. Waits for none of them.
    void GiveUp(const CLoad* newer = nullptr) noexcept;

    // Whether there is a load that can be given up. `*control`: that of the stream which the newest of these reads;
    // null while it doesn't read one.
    [[nodiscard]] bool IsWaiting(Control* control) const noexcept;

private:
    [[nodiscard]] CLoad* NextToGiveUp(const CLoad* newer) const noexcept;

    CCritSec& m_lock;  // guards the following
    CLoad* m_first = nullptr;
    unsigned m_newest = 0;
};

}  // namespace filter
