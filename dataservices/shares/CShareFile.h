// The handle of one connection to a file on a share. Its calls may wait for the network for as long as the platform
// does; Abort breaks them off where the platform lets it.
//
// Threads: Run by one at a time; all else by any.  Errors: those of the calls.
#pragma once

#include "base/CAutoDestructor.h"
#include "base/CSlimLock.h"
#include "framework/streams/CLocalFileSystemStream.h"

#include <wrl/client.h>

#include <mutex>
#include <utility>

namespace dataservices::shares {

class CShareFile final {
public:
    using File = Microsoft::WRL::ComPtr<CLocalFileSystemStream>;

    // `file` may be null, and stands at its start.
    explicit CShareFile(File file) noexcept : m_file(std::move(file)) {}

    // Runs `call`, which takes a File& that it may open or let go, and gives its result.
    // E_ABORT: Abort was called since the last Run, or Release was.
    template <class Call>
    [[nodiscard]] HRESULT Run(Call&& call) {
        if (!Enter())
            return E_ABORT;
        const CLeaving leaving{*this};
        return call(m_file);
    }

    // The call that runs is to end, or else the next one ends at once.
    void Abort() noexcept;

    // Nothing runs any more. The file is closed now, or when the call that runs has ended.
    void Release() noexcept;

private:
    struct CLeaving {
        CShareFile& file;
        ~CLeaving() { file.Leave(); }
    };

    [[nodiscard]] bool Enter() noexcept;
    void Leave() noexcept;
    void BreakOff() noexcept;

    base::CSlimLock m_lock;  // guards all below, but m_file while a call runs; a leaf
    File m_file;
    base::CAutoHandle m_thread;  // which runs the calls
    DWORD m_threadId = 0;
    bool m_isRunning = false;
    bool m_isAborted = false;
    bool m_isReleased = false;
};

}  // namespace dataservices::shares
