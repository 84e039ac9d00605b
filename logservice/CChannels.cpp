#include "logservice/CChannels.h"

#include "base/CAutoDestructor.h"

#include <mutex>
#include <new>
#include <utility>

namespace logservice {

namespace {

constexpr DWORD kLookEveryMs = 25;
constexpr DWORD kStartsMs = 10'000;
constexpr DWORD kEndsMs = 2000;

}  // namespace

// What the thread uses; it keeps it alive when it is left behind.
struct CChannels::State {
    explicit State(std::shared_ptr<logview::CRecordQueue> records)
        : readers(std::make_shared<logview::CRingReaders>(std::move(records))) {
        if (!ending)
            throw std::bad_alloc();
    }

    void Run() noexcept {
        while (::WaitForSingleObject(ending.Get(), kLookEveryMs) == WAIT_TIMEOUT)
            readers->Poll();
        std::shared_ptr<logview::CRingReaders> last;  // its end takes what is there
        const std::lock_guard guard(lock);
        last.swap(readers);
    }

    [[nodiscard]] std::shared_ptr<logview::CRingReaders> Readers() noexcept {
        const std::lock_guard guard(lock);
        return readers;
    }

    const base::CAutoHandle ending{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    base::CSlimLock lock;  // guards the pointer against its end
    std::shared_ptr<logview::CRingReaders> readers;
};

CChannels::CChannels(std::shared_ptr<logview::CRecordQueue> records)
    : m_state(std::make_shared<State>(std::move(records))), m_thread("Channels", COINIT_MULTITHREADED) {
    // A writer must not be given a channel that nobody looks into.
    if (!m_thread.Call([] { return true; }, kStartsMs) || m_thread.Post([state = m_state] { state->Run(); }) == 0)
        throw std::bad_alloc();
}

CChannels::~CChannels() {
    Stop(kEndsMs);
}

HRESULT CChannels::Open(ULONG processId, const std::wstring& name) noexcept {
    const std::shared_ptr<logview::CRingReaders> readers = m_state->Readers();
    return readers ? readers->Open(processId, name) : RPC_E_DISCONNECTED;
}

bool CChannels::Stop(DWORD limitMs) noexcept {
    ::SetEvent(m_state->ending.Get());
    return m_thread.Stop(threading::Rest::Drain, limitMs);
}

}  // namespace logservice
