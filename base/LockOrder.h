// Records in which order the locks of a module are taken, and ends the program at the first order that could lock up,
// although nothing locks up: thread 1 waited for B while it held A, and now a thread that holds B waits for A. That may
// be the same thread, at another time. The debug presets have it (TV_LOCK_ORDER); elsewhere the locks don't call it.
//
// What it doesn't see: locks other than CSlimLock and CCriticalSection (and CCritSec over it); those of other modules,
// which have a recorder each; a wait for a thread or an event, also that of a condition to be woken. A lock is given
// back by the thread that took it.
//
// Threads: any. Works before and after the module's objects exist, in DllMain, and while threads end; records nothing
// more once the process ends.
//
// Memory: fixed tables, which end the program when they are full. A lock that nobody holds takes no place, and neither
// does an order of a lock that was destroyed.
#pragma once

// What a lock tells, on the thread that uses it.
namespace base::LockOrder {

enum class Reentry { Allowed, LocksUp };

// Before an acquisition that may block. All that the thread holds comes before `lock` from now on.
void BeforeWait(const void* lock, Reentry reentry) noexcept;
// After an acquisition of any kind. One that only tries isn't announced by BeforeWait: it can't lock up.
void Took(const void* lock) noexcept;
// Before it is given back, as often as it was taken, in any order.
void GivesBack(const void* lock) noexcept;
// When it is destroyed: what is made in its place is another lock.
void Forget(const void* lock) noexcept;

// The base of a lock, through which it tells that. Empty, and without any code, where nothing is recorded.
template <Reentry reentry>
class CTeller {
protected:
    constexpr CTeller() noexcept = default;
#ifdef TV_LOCK_ORDER
    static constexpr bool kTells = true;
    // A static lock may still be used afterwards.
    ~CTeller() {
        Forget(this);
    }
#else
    static constexpr bool kTells = false;
#endif

    void BeforeWait() const noexcept {
        if constexpr (kTells)
            LockOrder::BeforeWait(this, reentry);
    }
    void Took([[maybe_unused]] bool isTaken = true) const noexcept {
        if constexpr (kTells) {
            if (isTaken)
                LockOrder::Took(this);
        }
    }
    void GivesBack() const noexcept {
        if constexpr (kTells)
            LockOrder::GivesBack(this);
    }
};

// What is done with a report: by default, it is written to standard error and to the debugger, and the process ends
// with kExitCode. If the function returns, the order at fault is as if it had not been.
using Report = void (*)(const char* text) noexcept;
constexpr unsigned kExitCode = 86;

// Returns the former one. Null: the default.
Report SetReport(Report report) noexcept;

}  // namespace base::LockOrder
