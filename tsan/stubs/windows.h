// What the code under test asks of the platform, on POSIX threads, whose every step ThreadSanitizer sees. Names and
// results are the platform's. Where it leaves something open, it is as bad as it may be: locks are taken late, waits
// return for no reason, and the clock moves in steps.
#pragma once

#include <pthread.h>

#include <cstddef>
#include <cstdint>

#define CALLBACK
#define WINAPI
#define __stdcall

using BOOL = int;
using BYTE = std::uint8_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using DWORD = std::uint32_t;
using LONGLONG = long long;
using ULONGLONG = unsigned long long;
using HANDLE = void*;
using HMODULE = void*;
using HKEY = void*;

constexpr BOOL FALSE = 0, TRUE = 1;
constexpr DWORD INFINITE = 0xFFFFFFFF, WAIT_OBJECT_0 = 0, WAIT_TIMEOUT = 258;
const HANDLE INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(-1);

using HRESULT = std::int32_t;
constexpr HRESULT S_OK = 0, S_FALSE = 1, E_OUTOFMEMORY = -2, E_UNEXPECTED = -3, E_ABORT = -4, E_PENDING = -5,
                  E_FAIL = -6, E_ACCESSDENIED = -7, STG_E_REVERTED = -8;
constexpr bool SUCCEEDED(HRESULT hr) {
    return hr >= 0;
}
constexpr bool FAILED(HRESULT hr) {
    return hr < 0;
}

using SRWLOCK = pthread_mutex_t;
using CONDITION_VARIABLE = pthread_cond_t;
#define SRWLOCK_INIT PTHREAD_MUTEX_INITIALIZER
#define CONDITION_VARIABLE_INIT PTHREAD_COND_INITIALIZER
void AcquireSRWLockExclusive(SRWLOCK* lock);
BOOL TryAcquireSRWLockExclusive(SRWLOCK* lock);
void ReleaseSRWLockExclusive(SRWLOCK* lock);
BOOL SleepConditionVariableSRW(CONDITION_VARIABLE* changed, SRWLOCK* lock, DWORD ms, ULONG flags);
void WakeAllConditionVariable(CONDITION_VARIABLE* changed);

ULONGLONG GetTickCount64();

// The only handles are threads'.
DWORD GetCurrentThreadId();
DWORD WaitForSingleObject(HANDLE thread, DWORD ms);
BOOL GetExitCodeThread(HANDLE thread, DWORD* code);
BOOL CloseHandle(HANDLE thread);

struct SYSTEM_INFO {
    DWORD dwNumberOfProcessors;
};
HANDLE CreateThread(void* security, std::size_t stackSize, DWORD (*body)(void*), void* argument, DWORD flags,
                    DWORD* id);
void Sleep(DWORD ms);

void GetSystemInfo(SYSTEM_INFO* info);

// No apartments, modules and last errors here.
constexpr DWORD COINIT_APARTMENTTHREADED = 2, COINIT_MULTITHREADED = 0;
inline HRESULT CoInitializeEx(void*, DWORD) {
    return S_OK;
}
inline void CoUninitialize() {}
inline void FreeLibrary(HMODULE) {}
inline void RegCloseKey(HKEY) {}
inline void FindClose(HANDLE) {}
inline DWORD GetLastError() {
    return 0;
}
inline void SetLastError(DWORD) {}
