#include "base/LockOrder.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <string_view>

namespace base::LockOrder {
namespace {

struct Holding {
    const void* lock;
    DWORD thread;
};

// `thread` held `first` when it waited for `second`.
struct Order {
    const void* first;
    const void* second;
    DWORD thread;
    WORD frameCount;
    std::array<void*, 16> frames;
};

// How the search for a cycle came to an order.
struct Step {
    bool isReached;
    size_t previous;  // itself: the search began here
};

template <class T, size_t size>
struct Table {
    std::array<T, size> rows;
    size_t count = 0;

    const T* begin() const noexcept { return rows.data(); }
    const T* end() const noexcept { return rows.data() + count; }
    [[nodiscard]] bool IsFull() const noexcept { return count == size; }
    void Add(const T& row) noexcept { rows[count++] = row; }
    void RemoveAt(size_t index) noexcept { rows[index] = rows[--count]; }
};

constexpr size_t kMaxHoldings = 1024;
constexpr size_t kMaxOrders = 2048;
constexpr size_t kMaxCycle = 8;  // orders of a cycle that a report shows

constinit SRWLOCK g_lock = SRWLOCK_INIT;  // guards the tables; nothing is called while it is held
constinit Table<Holding, kMaxHoldings> g_holdings{};
constinit Table<Order, kMaxOrders> g_orders{};
constinit std::array<Step, kMaxOrders> g_steps{};
constinit std::array<size_t, kMaxOrders> g_reached{};
constinit std::atomic<Report> g_report = nullptr;

// Whether the process ends: its other threads were ended wherever they were, one of them perhaps with g_lock held.
// Looked up at the first use, when the thread holds no lock yet; the import library would replace C functions by
// ntdll's.
bool IsProcessEnding() noexcept {
    using Function = BOOLEAN(NTAPI*)();
    static constinit std::atomic<Function> known = nullptr;
    Function function = known;
    if (!function) {
        const HMODULE ntdll = ::GetModuleHandleW(L"ntdll.dll");
        function =
            reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(ntdll, "RtlDllShutdownInProgress")));
        known = function;
    }
    return function();
}

using Cycle = Table<Order, kMaxCycle>;

// The tables, locked. False when the process ends: the one thread that is left can't lock up by an order.
class CRecord final {
public:
    CRecord() noexcept : m_isOpen(!IsProcessEnding()) {
        if (m_isOpen)
            ::AcquireSRWLockExclusive(&g_lock);
    }
    CRecord(const CRecord&) = delete;
    CRecord& operator=(const CRecord&) = delete;
    ~CRecord() {
        if (m_isOpen)
            ::ReleaseSRWLockExclusive(&g_lock);
    }
    explicit operator bool() const noexcept { return m_isOpen; }

private:
    const bool m_isOpen;
};

bool Holds(DWORD thread, const void* lock) noexcept {
    for (const Holding& held : g_holdings) {
        if (held.thread == thread && held.lock == lock)
            return true;
    }
    return false;
}

bool IsKnown(const void* first, const void* second) noexcept {
    for (const Order& order : g_orders) {
        if (order.first == first && order.second == second)
            return true;
    }
    return false;
}

bool AreAllKnown(DWORD thread, const void* second) noexcept {
    for (const Holding& held : g_holdings) {
        if (held.thread == thread && !IsKnown(held.lock, second))
            return false;
    }
    return true;
}

// The shortest way of orders from `start` to a lock that `thread` holds, its end first; empty when there is none.
Cycle FindWayBack(DWORD thread, const void* start) noexcept {
    size_t count = 0;
    const auto reachFrom = [&](const void* lock, const size_t* previous) {
        for (size_t i = 0; i < g_orders.count; ++i) {
            if (g_orders.rows[i].first == lock && !g_steps[i].isReached) {
                g_steps[i] = {true, previous ? *previous : i};
                g_reached[count++] = i;
            }
        }
    };
    g_steps.fill({});
    reachFrom(start, nullptr);
    Cycle way{};
    for (size_t next = 0; next < count; ++next) {
        size_t at = g_reached[next];
        if (!Holds(thread, g_orders.rows[at].second)) {
            reachFrom(g_orders.rows[at].second, &at);
            continue;
        }
        way.Add(g_orders.rows[at]);
        while (g_steps[at].previous != at && !way.IsFull()) {
            at = g_steps[at].previous;
            way.Add(g_orders.rows[at]);
        }
        break;
    }
    return way;
}

// Text of limited length; what doesn't fit is left out.
class CText final {
public:
    [[gnu::format(printf, 2, 3)]] void Add(const char* format, ...) noexcept {
        va_list arguments;
        va_start(arguments, format);
        const int length = std::vsnprintf(m_text.data() + m_length, m_text.size() - m_length, format, arguments);
        va_end(arguments);
        if (length > 0)
            m_length = std::min(m_length + static_cast<size_t>(length), m_text.size() - 1);
    }
    void AddPlaces(const Order& order) noexcept {
        for (size_t i = 0; i < order.frameCount && order.frames[i]; ++i) {  // null: a thread begins
            HMODULE module = nullptr;
            std::array<char, MAX_PATH> path{};
            constexpr DWORD kFlags =
                GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
            if (::GetModuleHandleExA(kFlags, static_cast<const char*>(order.frames[i]), &module))
                ::GetModuleFileNameA(module, path.data(), static_cast<DWORD>(path.size() - 1));
            const std::string_view name(path.data());
            Add("    %p %s\n", order.frames[i], path.data() + (name.find_last_of('\\') + 1));
        }
    }
    [[nodiscard]] const char* Get() const noexcept { return m_text.data(); }

private:
    std::array<char, 16384> m_text{};
    size_t m_length = 0;
};

void WriteAndEnd(const char* text) noexcept {
    DWORD written = 0;
    ::WriteFile(::GetStdHandle(STD_ERROR_HANDLE), text, static_cast<DWORD>(std::string_view(text).size()), &written,
                nullptr);
    ::OutputDebugStringA(text);
    if (::IsDebuggerPresent())
        ::DebugBreak();
    ::TerminateProcess(::GetCurrentProcess(), kExitCode);
}

void Say(const CText& text) noexcept {
    const Report report = g_report;
    (report ? report : WriteAndEnd)(text.Get());
}

// `wanted`: `first` is not used.
void SayCycle(const Order& wanted, const Cycle& cycle) noexcept {
    CText text;
    text.Add("Lock order: a cycle. Thread %lu holds %p and would wait for %p:\n", wanted.thread, cycle.rows[0].second,
             wanted.second);
    text.AddPlaces(wanted);
    for (size_t i = cycle.count; i-- > 0;) {
        const Order& order = cycle.rows[i];
        text.Add("  Before, thread %lu held %p and waited for %p:\n", order.thread, order.first, order.second);
        text.AddPlaces(order);
    }
    Say(text);
}

void SaySelf(const Order& wanted) noexcept {
    CText text;
    text.Add("Lock order: thread %lu would wait for %p, which it holds and can't take twice:\n", wanted.thread,
             wanted.second);
    text.AddPlaces(wanted);
    Say(text);
}

void SayFull() noexcept {
    CText text;
    text.Add("Lock order: the tables are full. What is kept so long? Or make them larger.\n");
    Say(text);
}

// From all that the thread holds to the lock that it wants; none when that would close a cycle.
void AddOrders(Order wanted) noexcept {
    bool isFull = false;
    Cycle cycle{};
    if (const CRecord record; record) {
        cycle = FindWayBack(wanted.thread, wanted.second);
        for (const Holding& held : g_holdings) {
            if (cycle.count > 0 || held.thread != wanted.thread || IsKnown(held.lock, wanted.second))
                continue;
            isFull = g_orders.IsFull();
            if (isFull)
                break;
            wanted.first = held.lock;
            g_orders.Add(wanted);
        }
    }
    if (cycle.count > 0)
        SayCycle(wanted, cycle);
    if (isFull)
        SayFull();
}

}  // namespace

void BeforeWait(const void* lock, Reentry reentry) noexcept {
    const DWORD thread = ::GetCurrentThreadId();
    bool isHeld = false;
    {
        const CRecord record;
        if (!record)
            return;
        isHeld = Holds(thread, lock);
        if (isHeld ? reentry == Reentry::Allowed : AreAllKnown(thread, lock))
            return;
    }
    // Not under g_lock, since the system is called.
    Order wanted{nullptr, lock, thread, 0, {}};
    wanted.frameCount =
        ::RtlCaptureStackBackTrace(1, static_cast<DWORD>(wanted.frames.size()), wanted.frames.data(), nullptr);
    if (isHeld)
        SaySelf(wanted);
    else
        AddOrders(wanted);
}

void Took(const void* lock) noexcept {
    bool isFull = false;
    if (const CRecord record; record) {
        isFull = g_holdings.IsFull();
        if (!isFull)
            g_holdings.Add({lock, ::GetCurrentThreadId()});
    }
    if (isFull)
        SayFull();
}

void GivesBack(const void* lock) noexcept {
    const CRecord record;
    if (!record)
        return;
    const DWORD thread = ::GetCurrentThreadId();
    for (size_t i = g_holdings.count; i-- > 0;) {
        if (g_holdings.rows[i].thread == thread && g_holdings.rows[i].lock == lock)
            return g_holdings.RemoveAt(i);
    }
}

void Forget(const void* lock) noexcept {
    const CRecord record;
    if (!record)
        return;
    for (size_t i = g_holdings.count; i-- > 0;) {
        if (g_holdings.rows[i].lock == lock)
            g_holdings.RemoveAt(i);
    }
    for (size_t i = g_orders.count; i-- > 0;) {
        if (g_orders.rows[i].first == lock || g_orders.rows[i].second == lock)
            g_orders.RemoveAt(i);
    }
}

Report SetReport(Report report) noexcept {
    return g_report.exchange(report);
}

}  // namespace base::LockOrder
