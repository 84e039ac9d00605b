#include "tvsource/report/CLogLines.h"

#include "TKRuntimeLogger.h"
#include "base/CDeadline.h"
#include "base/ComBoundary.h"
#include "base/FormatText.h"
#include "console/CCommandError.h"
#include "console/CConsole.h"
#include "console/CTerminal.h"
#include "console/Text.h"
#include "diagnostics/PublishedService.h"
#include "logview/CRecordLines.h"
#include "threading/CBoostThreadRunner.h"
#include "tvsource/report/CProgressLine.h"

#include <mutex>
#include <optional>
#include <vector>

namespace tvsource {

namespace {

using Microsoft::WRL::ComPtr;

constexpr std::size_t kMostWaiting = 100'000, kMostWaitingBytes = 64'000'000;
constexpr DWORD kEndMs = 2000, kCatchUpMs = 500;

// Whether a service is published, and whether its interface for records can be had. One that is gone but for its entry
// is none.
enum class Other { None, Reachable, Unreachable };

Other FindOther() {
    const ComPtr<IUnknown> service = TKRuntimeLogger::PublishedService();
    ComPtr<ITKRuntimeLogger> logger;
    if (!service)
        return Other::None;
    const HRESULT hr = service.As(&logger);
    if (SUCCEEDED(hr))
        return Other::Reachable;
    return hr == E_NOINTERFACE ? Other::Unreachable : Other::None;
}

}  // namespace

// Takes records from the queue and writes them.
class CLogLines::CWriter final {
public:
    CWriter(std::shared_ptr<logview::CRecordQueue> queue, logview::CRecordFilter filter)
        : m_queue(std::move(queue)), m_filter(std::move(filter)) {}

    // False: no thread can be had.
    [[nodiscard]] bool Start() {
        return m_thread.Start([this] {
            Run();
            return 0;
        });
    }

    // Whether the last wait was for nothing, and still would be.
    [[nodiscard]] bool IsStuck() const noexcept {
        const std::lock_guard lock(m_lock);
        return m_isStuck;
    }

    // Waits until all that has come by now is written. False: the time was too short.
    bool CatchUp(DWORD timeoutMs) noexcept {
        const std::lock_guard lock(m_lock);
        return CatchUpLocked(timeoutMs);
    }

    // The same, and the end of the thread. False: it is there still.
    [[nodiscard]] bool End(DWORD timeoutMs) noexcept {
        {
            const std::lock_guard lock(m_lock);
            m_isEnding = true;
            if (!CatchUpLocked(timeoutMs))
                return false;
        }
        return m_thread.Join(timeoutMs);
    }

private:
    bool CatchUpLocked(DWORD timeoutMs) noexcept {
        const base::CDeadline limit(timeoutMs);
        const ULONGLONG turn = ++m_wanted;
        m_queue->Wake();
        while (m_done < turn && !limit.IsOver())
            m_lock.Await(m_changed, limit.Left());
        m_isStuck = m_done < turn;
        return !m_isStuck;
    }

    void Run() noexcept {
        for (bool isLast = false; !isLast;) {
            ULONGLONG turn = 0;
            DWORD waitMs = INFINITE;
            {
                const std::lock_guard lock(m_lock);
                turn = m_wanted;
                isLast = m_isEnding;
                if (isLast || turn != m_done)
                    waitMs = 0;
            }
            base::RunQuietly([&] { Show(m_queue->Take(waitMs)); });
            const std::lock_guard lock(m_lock);
            m_done = turn;
            m_isStuck = false;
            ::WakeAllConditionVariable(&m_changed);
        }
    }

    void Show(const std::deque<logview::Arrival>& arrivals) {
        std::vector<console::TintedLine> lines;
        for (const logview::Arrival& arrival : arrivals) {
            if (m_filter.IsLine(arrival))
                lines.push_back(m_lines.Next(arrival));
        }
        if (const ULONGLONG lost = m_queue->Lost(); lost > m_lost) {
            lines.push_back({L"tvsource: " + console::CountText(static_cast<LONGLONG>(lost - m_lost), L"record") +
                                 L" of the log lost",
                             console::Tint::Note});
            m_lost = lost;
        }
        if (lines.empty() || m_isBroken)
            return;
        // Only on a screen is the progress line held off: a pipe that nobody reads shall stop nobody else.
        if (m_terminal.IsInteractive())
            return CProgressLine::Beside([&] { Write(lines); });
        CProgressLine::Wipe();
        Write(lines);
    }

    void Write(const std::vector<console::TintedLine>& lines) {
        try {
            m_terminal.Write(lines);
        } catch (const console::COutputError&) {
            m_isBroken = true;  // nobody reads it
        }
    }

    const std::shared_ptr<logview::CRecordQueue> m_queue;
    const logview::CRecordFilter m_filter;
    CBoostThreadRunner m_thread{"Log lines"};

    // The thread's alone.
    console::CTerminal m_terminal{::GetStdHandle(STD_ERROR_HANDLE)};
    logview::CRecordLines m_lines{{.ownProcess = ::GetCurrentProcessId()}};
    ULONGLONG m_lost = 0;
    bool m_isBroken = false;

    mutable base::CSlimLock m_lock;  // guards what follows; under it only the queue is woken
    CONDITION_VARIABLE m_changed = CONDITION_VARIABLE_INIT;
    ULONGLONG m_wanted = 0, m_done = 0;  // how often somebody wanted to catch up, and how many of these have
    bool m_isEnding = false, m_isStuck = false;
};

base::CSlimLock CLogLines::g_lock;
CLogLines::CWriter* CLogLines::g_current = nullptr;

CLogLines::CLogLines(logview::CRecordFilter filter) {
    const auto queue = std::make_shared<logview::CRecordQueue>(kMostWaiting, kMostWaitingBytes);
    auto writer = std::make_unique<CWriter>(queue, std::move(filter));
    if (!Publish(queue))
        return;
    if (!writer->Start()) {
        m_table->Revoke(m_entry);
        throw console::CCommandError(L"Cannot start a thread for the log");
    }
    m_writer = std::move(writer);
    const std::lock_guard lock(g_lock);
    g_current = m_writer.get();
}

CLogLines::~CLogLines() {
    if (!m_writer)
        return;
    m_table->Revoke(m_entry);
    {
        const std::lock_guard lock(g_lock);
        g_current = nullptr;
    }
    if (!m_writer->End(kEndMs))
        static_cast<void>(m_writer.release());  // it is stuck in a write; the program ends without it
}

void CLogLines::CatchUp() noexcept {
    const std::lock_guard lock(g_lock);
    if (g_current && !g_current->IsStuck())
        static_cast<void>(g_current->CatchUp(kCatchUpMs));
}

namespace {

// Whether there is a service of another program, so that we need not be one; says so.
bool TellsOfOther() {
    switch (FindOther()) {
        case Other::Reachable:
            console::Complain(L"tvsource: --log: a logging service is published already; the records go to that\n");
            return true;
        case Other::Unreachable:
            console::Complain(
                L"tvsource: --log: another program has published a logging service that can't be reached from here, "
                L"so there is no log; TKRuntimeLogger --register, as administrator, mends that\n");
            return true;
        case Other::None:
            break;
    }
    return false;
}

}  // namespace

bool CLogLines::Publish(const std::shared_ptr<logview::CRecordQueue>& queue) {
    ComPtr<IMoniker> name;
    ComPtr<logview::CLogSink> sink;
    console::Check(::GetRunningObjectTable(0, &m_table), L"Cannot publish the log");
    console::Check(::CreateFileMoniker(kTKRuntimeLoggerMoniker, &name), L"Cannot publish the log");
    if (TellsOfOther())
        return false;
    console::Check(logview::CLogSink::Create(queue, {}, &sink), L"Cannot make the log");
    ITKRuntimeLogger* const service = sink.Get();
    const HRESULT hr = m_table->Register(0, service, name.Get(), &m_entry);
    console::Check(hr, L"Cannot publish the log");
    // Writers take the first of several. Another program may have been quicker.
    if (hr == MK_S_MONIKERALREADYREGISTERED && TKRuntimeLogger::PublishedService().Get() != service && TellsOfOther()) {
        m_table->Revoke(m_entry);
        return false;
    }
    m_sink = sink;
    return true;
}

}  // namespace tvsource
