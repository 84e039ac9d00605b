#include "diagnostics/CHangDetector.h"

#include "base/CApartment.h"
#include "base/CAutoDestructor.h"
#include "base/CDeadline.h"
#include "base/CLastErrorKeeper.h"
#include "base/CSlimLock.h"
#include "base/ModuleFolder.h"
#include "diagnostics/CSilence.h"
#include "diagnostics/CTKRuntimeLoggerAPI.h"

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

namespace TKRuntimeLogger {

struct CHangDetector::Activity {
    explicit Activity(const Description& given) : description(given), silence(given.limitMs) {}

    // Through `logger`, which is the calling thread's.
    void Tell(ITKRuntimeLoggerAPI* logger, LONG severity, const std::wstring& message) const {
        if (logger)
            logger->Log(severity, description.source.category, description.source.file, description.line,
                        description.function, message.c_str());
        if (description.listener)
            description.listener(message);
    }
    void TellThatItHangs(ITKRuntimeLoggerAPI* logger, ULONGLONG ms) const {
        std::wstring scope;
        if (const CProfile* const profile = innermostScope ? innermostScope->load(std::memory_order_acquire) : nullptr)
            scope = L", in " + profile->function + (profile->message.empty() ? L"" : L" (" + profile->message + L")");
        Tell(logger, kWarn,
             base::FormatText(L"Hangs for %I64u ms: %s (thread %u%s)", ms, description.words.c_str(), threadId,
                              scope.c_str()));
    }
    void TellThatItGoesOn(ITKRuntimeLoggerAPI* logger, ULONGLONG ms) const {
        Tell(logger, kInfo,
             base::FormatText(L"Goes on after %I64u ms: %s (thread %u)", ms, description.words.c_str(), threadId));
    }

    const Description description;
    const DWORD threadId = ::GetCurrentThreadId();
    // The thread's, which lives as long as the module; null: it has no logger, so nothing is logged.
    CTKRuntimeLoggerAPI* const frontEnd = static_cast<CTKRuntimeLoggerAPI*>(ThreadLogger());
    const std::atomic<const CProfile*>* innermostScope = frontEnd ? &frontEnd->InnermostScope() : nullptr;
    std::atomic<unsigned> signs{0};

    // What follows is guarded by the lock of all activities.
    CSilence silence;
    CSilence::News news = CSilence::News::None;  // to be told
    bool isBeingTold = false;                    // by the watcher, without the lock
    bool isKnownToHang = false;                  // that was told
    bool hasEnded = false;                       // while it was being told, which the watcher goes on with
};

namespace {

constexpr int kIdleLooks = 8;      // so many without an activity, and the thread ends
constexpr DWORD kTellingMs = 200;  // for which the end of an activity waits for a message about it

// A static that isn't destroyed: in a program, the watcher may run until the very end.
template <class T>
union Undying {
    constexpr Undying() noexcept : value() {}
    ~Undying() {}

    T value;
};

}  // namespace

// The module's one thread, while there are activities.
struct CHangDetector::Watcher {
    static std::vector<std::shared_ptr<Activity>>& Activities() noexcept { return g_activities.value; }

    [[nodiscard]] static bool Start() noexcept {
        base::CAutoLibrary module(base::AddReferenceToOwnModule());
        if (!module)
            return false;
        const base::CAutoHandle thread(::CreateThread(nullptr, 0, Run, module.Get(), 0, nullptr));
        if (thread)
            static_cast<void>(module.Detach());  // the thread's
        return static_cast<bool>(thread);
    }

    static DWORD WINAPI Run(void* module) {
        {
            const base::CApartment apartment(COINIT_MULTITHREADED);  // a logging service is called
            ULONGLONG lastLook = ::GetTickCount64();
            for (int idle = 0; idle < kIdleLooks;) {
                ::Sleep(CSilence::kIntervalMs);
                const ULONGLONG now = ::GetTickCount64();
                idle = LookAtAll(now - lastLook) ? 0 : idle + 1;
                lastLook = now;
                while (TellNext()) {
                }
                if (idle == kIdleLooks && !MayEnd())
                    idle = 0;
            }
        }
        base::FreeModuleAfterThread(static_cast<HMODULE>(module));
        return 0;
    }

    // False: there are no activities.
    static bool LookAtAll(ULONGLONG sinceMs) noexcept {
        const std::lock_guard guard(g_lock);
        for (const auto& activity : Activities())
            activity->news = activity->silence.Look(activity->signs.load(std::memory_order_relaxed), sinceMs);
        return !Activities().empty();
    }

    // Tells of one activity, without the lock.
    static bool TellNext() noexcept {
        std::unique_lock guard(g_lock);
        const auto found = std::find_if(Activities().begin(), Activities().end(),
                                        [](const auto& each) { return each->news != CSilence::News::None; });
        if (found == Activities().end())
            return false;
        const std::shared_ptr<Activity> activity = *found;
        const ULONGLONG ms = activity->silence.Ms();
        const bool hangs = std::exchange(activity->news, CSilence::News::None) == CSilence::News::Hangs;
        activity->isBeingTold = true;
        guard.unlock();
        // Each time anew: the loggers of today's activities may not be those of yesterday's.
        std::unique_ptr<CTKRuntimeLoggerAPI> logger;
        base::RunQuietly([&] {
            if (activity->frontEnd)
                logger = MakeFrontEnd();
            hangs ? activity->TellThatItHangs(logger.get(), ms) : activity->TellThatItGoesOn(logger.get(), ms);
        });
        guard.lock();
        activity->isBeingTold = false;
        ::WakeAllConditionVariable(&g_told);
        activity->isKnownToHang = hangs;
        const bool hasEndedMeanwhile = activity->hasEnded;
        guard.unlock();
        if (hangs && hasEndedMeanwhile)
            base::RunQuietly([&] { activity->TellThatItGoesOn(logger.get(), ms); });
        return true;
    }

    static bool MayEnd() noexcept {
        const std::lock_guard guard(g_lock);
        g_isRunning = !Activities().empty();
        if (!g_isRunning)
            Activities().shrink_to_fit();  // nobody destroys it
        return !g_isRunning;
    }

    static constinit base::CSlimLock g_lock;  // guards all below and the activities; a leaf
    static constinit Undying<std::vector<std::shared_ptr<Activity>>> g_activities;
    static constinit CONDITION_VARIABLE g_told;
    static constinit bool g_isRunning;
};

constinit base::CSlimLock CHangDetector::Watcher::g_lock;
constinit Undying<std::vector<std::shared_ptr<CHangDetector::Activity>>> CHangDetector::Watcher::g_activities;
constinit CONDITION_VARIABLE CHangDetector::Watcher::g_told = CONDITION_VARIABLE_INIT;
constinit bool CHangDetector::Watcher::g_isRunning = false;

void CHangDetector::Begin(const Description& description) {
    auto activity = std::make_shared<Activity>(description);
    bool starts = false;
    {
        const std::lock_guard guard(Watcher::g_lock);
        Watcher::Activities().push_back(activity);
        starts = !std::exchange(Watcher::g_isRunning, true);
    }
    m_signs = &activity->signs;
    m_activity = std::move(activity);
    if (starts && !Watcher::Start()) {
        const std::lock_guard guard(Watcher::g_lock);
        Watcher::g_isRunning = false;  // the next activity tries again
    }
}

void CHangDetector::End() noexcept {
    bool isOurNews = false;
    {
        const std::lock_guard guard(Watcher::g_lock);
        std::erase(Watcher::Activities(), m_activity);
        for (const base::CDeadline limit(kTellingMs);
             m_activity->isBeingTold && Watcher::g_lock.Await(Watcher::g_told, limit.Left());) {
        }
        m_activity->hasEnded = m_activity->isBeingTold;
        isOurNews = m_activity->isKnownToHang && !m_activity->isBeingTold;
    }
    const base::CLastErrorKeeper lastError;
    if (isOurNews)
        base::RunQuietly([&] { m_activity->TellThatItGoesOn(m_activity->frontEnd, m_activity->silence.Ms()); });
}

}  // namespace TKRuntimeLogger
