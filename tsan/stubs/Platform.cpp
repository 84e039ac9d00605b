#include "base/ModuleFolder.h"
#include "threading/ThreadName.h"
#include "threading/ThreadingLog.h"

#include <windows.h>

#include <process.h>
#include <sched.h>
#include <time.h>

#include <atomic>
#include <chrono>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace {

constexpr ULONGLONG kTickMs = 16;

ULONGLONG NanosecondsNow() {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<ULONGLONG>(now.tv_sec) * 1'000'000'000 + static_cast<ULONGLONG>(now.tv_nsec);
}

// True at one of `often` calls; each thread has an order of its own.
bool Happens(unsigned often) {
    static std::atomic<std::uint32_t> threads{1};
    thread_local std::uint32_t state = threads.fetch_add(1, std::memory_order_relaxed) * 2654435761u;
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    return state % often == 0;
}

// A thread, for as long as it runs or has a handle.
struct CThread {
    bool Await(DWORD ms) {
        const ULONGLONG end = NanosecondsNow() + ms * 1'000'000ull;
        ::AcquireSRWLockExclusive(&lock);
        while (!hasEnded && (ms == INFINITE || NanosecondsNow() < end))
            ::SleepConditionVariableSRW(&ended, &lock, ms, 0);
        const bool result = hasEnded;
        ::ReleaseSRWLockExclusive(&lock);
        return result;
    }
    void End(DWORD result) {
        ::AcquireSRWLockExclusive(&lock);
        hasEnded = true;
        code = result;
        ::WakeAllConditionVariable(&ended);
        ::ReleaseSRWLockExclusive(&lock);
    }

    SRWLOCK lock = SRWLOCK_INIT;
    CONDITION_VARIABLE ended = CONDITION_VARIABLE_INIT;
    bool hasEnded = false;
    DWORD code = 0;
};
using Thread = std::shared_ptr<CThread>;

}  // namespace

void AcquireSRWLockExclusive(SRWLOCK* lock) {
    if (Happens(8))
        ::sched_yield();
    ::pthread_mutex_lock(lock);
}

BOOL TryAcquireSRWLockExclusive(SRWLOCK* lock) {
    return ::pthread_mutex_trylock(lock) == 0;
}

void ReleaseSRWLockExclusive(SRWLOCK* lock) {
    ::pthread_mutex_unlock(lock);
}

BOOL SleepConditionVariableSRW(CONDITION_VARIABLE* changed, SRWLOCK* lock, DWORD ms, ULONG) {
    if (ms != 0 && Happens(8)) {
        ::pthread_mutex_unlock(lock);
        ::sched_yield();
        ::pthread_mutex_lock(lock);
        return TRUE;
    }
    if (ms == INFINITE)
        return ::pthread_cond_wait(changed, lock) == 0;
    const ULONGLONG end = NanosecondsNow() + ms * 1'000'000ull;
    const timespec until{static_cast<time_t>(end / 1'000'000'000), static_cast<long>(end % 1'000'000'000)};
    return ::pthread_cond_clockwait(changed, lock, CLOCK_MONOTONIC, &until) == 0;
}

void WakeAllConditionVariable(CONDITION_VARIABLE* changed) {
    ::pthread_cond_broadcast(changed);
}

ULONGLONG GetTickCount64() {
    return NanosecondsNow() / 1'000'000 / kTickMs * kTickMs;
}

DWORD GetCurrentThreadId() {
    static std::atomic<DWORD> last{0};
    thread_local const DWORD id = last.fetch_add(1, std::memory_order_relaxed) + 1;
    return id;
}

HANDLE CreateThread(void*, std::size_t, DWORD (*body)(void*), void* argument, DWORD, DWORD*) {
    const auto thread = std::make_shared<CThread>();
    std::thread([=] { thread->End(body(argument)); }).detach();
    return new Thread(thread);
}

std::uintptr_t _beginthreadex(void*, unsigned, unsigned (*body)(void*), void* argument, unsigned, unsigned*) {
    return reinterpret_cast<std::uintptr_t>(::CreateThread(nullptr, 0, body, argument, 0, nullptr));
}

void Sleep(DWORD ms) {
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

DWORD WaitForSingleObject(HANDLE thread, DWORD ms) {
    return (*static_cast<const Thread*>(thread))->Await(ms) ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
}

BOOL GetExitCodeThread(HANDLE thread, DWORD* code) {
    *code = (*static_cast<const Thread*>(thread))->code;
    return TRUE;
}

BOOL CloseHandle(HANDLE thread) {
    delete static_cast<const Thread*>(thread);
    return TRUE;
}

void GetSystemInfo(SYSTEM_INFO* info) {
    info->dwNumberOfProcessors = std::thread::hardware_concurrency();
}

HMODULE base::AddReferenceToOwnModule() noexcept {
    static int module;
    return &module;
}

void base::FreeModuleAfterThread(HMODULE) noexcept {}

void threading::AnnounceThreadName(const char* name) noexcept {
    ::pthread_setname_np(::pthread_self(), std::string(name).substr(0, 15).c_str());
}

void threading::LogLack(const char*, std::size_t) noexcept {}

void threading::LogThrown(const char*, const std::exception_ptr& thrown) noexcept {
    try {
        std::rethrow_exception(thrown);
    } catch (const std::exception& exception) {
        static_cast<void>(std::string(exception.what()));  // a log reads it
    } catch (...) {
    }
}
