// Opens names on a thread of its own, in the multithreaded apartment, and hands each stream over to whoever asked for
// it. So an opened stream belongs to no caller's apartment.
//
//   CAutoLock loadLock(&opener.LoadLock());
//   if (const HRESULT hr = opener.Open(std::move(name), isGivenUp, &result); FAILED(hr)) return hr;
//   return opener.Take(&stream);
//
// An opening that is given up is left to itself: its thread goes on alone, says in the log how it ended, lets go of the
// stream and ends. The next name is opened by a new thread. The module stays loaded while there is such a thread.
//
// Why a name could not be opened, or its stream not be handed over, is said once, as a checked call. Giving up is no
// such failure.
//
// Its records name the filter's functions, Load and CreateStreamThread: readers of the log look for these names.
//
// Threads: Start and Stop are for the owner, LookAgain and IsRunning for any thread. Any thread may load; it holds the
// load lock from before Open until its load is over.  Lifetime: the owner stops it before it goes.
#pragma once

#include "base/CSlimLock.h"
#include "baseclasses/CCritSec.h"
#include "framework/uri/CParsedName.h"

#include <windows.h>

#include <objidl.h>

#include <atomic>
#include <memory>
#include <optional>

namespace filter {

class CStreamOpener final {
public:
    CStreamOpener() noexcept = default;
    CStreamOpener(const CStreamOpener&) = delete;
    CStreamOpener& operator=(const CStreamOpener&) = delete;

    // Starts the thread. It isn't there afterwards when the system had no thread or not all of its events.
    void Start() noexcept;

    // Ends the thread, and waits for a name that is being opened, unless that was given up.
    void Stop() noexcept;

    // Whether there is a thread, or Open would start one.
    [[nodiscard]] bool IsRunning() const noexcept;

    // One load at a time, from Open until the filter uses the new source.
    [[nodiscard]] CCritSec& LoadLock() noexcept { return m_loadLock; }

    // Has the thread open `name` and waits for it without time limit, but only until LookAgain finds `isGivenUp` set.
    // `*result` is what opening the name gave, S_OK for any success; empty when the thread has ended meanwhile.
    // S_OK: the name has been tried.  E_ABORT, also in `*result`: it was given up.  E_UNEXPECTED: no new thread could
    // be started.  Otherwise an earlier stream could not be revoked, and nothing was tried.
    [[nodiscard]] HRESULT Open(framework::CParsedName name, const std::atomic<bool>& isGivenUp,
                               std::optional<HRESULT>* result) noexcept;

    // Has the Open that waits look whether it is given up. Takes no lock that Open waits with.
    void LookAgain() const noexcept;

    // Hands out the stream that the last Open made, for the calling apartment. Fails when there is none.
    [[nodiscard]] HRESULT Take(IStream** stream) noexcept;

private:
    struct Work;
    struct Crew;

    [[nodiscard]] static std::shared_ptr<Crew> MakeCrew() noexcept;
    [[nodiscard]] std::shared_ptr<Crew> CurrentCrew() const noexcept;
    void Employ(std::shared_ptr<Crew> crew) noexcept;

    CCritSec m_loadLock;
    std::atomic<bool> m_startsAnew{false};  // the former thread was left to itself, and Open is to start another
    mutable base::CSlimLock m_crewLock;     // guards m_crew; a leaf
    std::shared_ptr<Crew> m_crew;           // null: there is no thread
};

}  // namespace filter
