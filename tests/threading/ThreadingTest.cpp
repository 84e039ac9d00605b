#include "base/CAutoDestructor.h"
#include "tests/support/Await.h"
#include "tests/support/CImportHook.h"
#include "tests/support/CRecordingLogger.h"
#include "tests/support/CTestApartment.h"
#include "tests/support/ProcessUse.h"
#include "tests/threading/CGate.h"
#include "threading/CBoostThreadRunner.h"
#include "threading/CCallQueue.h"
#include "threading/CComThreadRunnableAdapter.h"
#include "threading/CTaskGroup.h"

#include <atomic>
#include <functional>
#include <future>
#include <stdexcept>

namespace {

const char* g_name;  // the last that a debugger would have seen
int g_removals = 0;
ULONG(WINAPI* g_remove)(PVOID);

LONG CALLBACK WatchThreadNames(EXCEPTION_POINTERS* exception) {
    const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
    const ULONG_PTR* const words = record.ExceptionInformation;
    if (record.ExceptionCode == 0x406D1388 && record.NumberParameters == 4 && words[0] == 0x1000 &&
        words[2] == 0xFFFFFFFF && words[3] == 0)
        g_name = reinterpret_cast<const char*>(words[1]);
    return EXCEPTION_CONTINUE_SEARCH;
}
ULONG WINAPI CountRemoval(PVOID handler) {
    return ++g_removals, g_remove(handler);
}

uintptr_t __cdecl NoThread(void*, unsigned, unsigned(__stdcall*)(void*), void*, unsigned, unsigned*) {
    return ::SetLastError(ERROR_NOT_ENOUGH_MEMORY), 0;
}
DWORD WINAPI NoWait(HANDLE, DWORD) {
    return ::SetLastError(ERROR_ACCESS_DENIED), WAIT_FAILED;
}

// Needs more stack than threads have by default.
struct CWaitingRunnable final : IThreadRunnable {
    int Run() override {
        volatile char frame[4 << 20];
        for (size_t i = 0; i < sizeof frame; i += 4096)
            frame[i] = 1;
        ::SignalObjectAndWait(begun.Get(), end.Get(), INFINITE, FALSE);
        return E_UNEXPECTED;
    }
    base::CAutoHandle begun{::CreateEventW(nullptr, FALSE, FALSE, nullptr)},
        end{::CreateEventW(nullptr, FALSE, FALSE, nullptr)};
};

TEST(CRunnableThreadTest, RunsOneBodyAfterAnother) {
    g_removals = 0;
    void* const watch = ::AddVectoredExceptionHandler(1, WatchThreadNames);
    const CImportHook removals("RemoveVectoredExceptionHandler", &CountRemoval, &g_remove);
    CWaitingRunnable runnable;
    CRunnableThread thread;
    DWORD exitCode = 99;
    EXPECT_TRUE(thread.GetExitCode(&exitCode) && exitCode == 0 && thread.GetLastError() == 0) << "none was joined";
    thread.Init(&runnable, "MTA worker", 8 << 20);
    for (const bool fails : {true, false}) {
        if (fails) {
            const CImportHook hook("_beginthreadex", &NoThread);
            EXPECT_FALSE(thread.Start() || thread.IsRunning() || thread.Join(0));
            EXPECT_EQ(DWORD{ERROR_NOT_ENOUGH_MEMORY}, thread.GetLastError());
        }
        ASSERT_TRUE(thread.Start());
        ::WaitForSingleObject(runnable.begun.Get(), INFINITE);
        const HANDLE handle = thread.GetHandle();
        EXPECT_STREQ("MTA worker", g_name);
        EXPECT_FALSE(thread.Start() || thread.Join(0) || thread.GetExitCode(&exitCode));
        ::SetEvent(runnable.end.Get());
        if (fails) {
            const CImportHook hook("WaitForSingleObject", &NoWait);
            EXPECT_FALSE(thread.Join(INFINITE) || thread.GetExitCode(&exitCode));
            EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, thread.GetLastError());
        }
        EXPECT_EQ(handle, thread.GetHandle());
        EXPECT_TRUE(thread.Join(INFINITE) && !thread.IsRunning() && thread.GetExitCode(&exitCode));
        EXPECT_EQ(static_cast<DWORD>(E_UNEXPECTED), exitCode);
        DWORD flags = 0;
        EXPECT_FALSE(::GetHandleInformation(handle, &flags)) << "the handle stays open";
    }
    EXPECT_EQ(2, g_removals) << "no thread leaves the handler of its name's exception";
    thread.Init(&runnable, nullptr, 0);
    EXPECT_TRUE(thread.GetExitCode(&exitCode) && exitCode == 0 && thread.GetLastError() == 0);
    ::RemoveVectoredExceptionHandler(watch);
}

TEST(CBoostThreadRunnerTest, RunsItsCallableThoughASecondStartIsRefused) {
    std::promise<int> result;
    const auto answer = result.get_future().share();
    CBoostThreadRunner runner(nullptr);
    EXPECT_THROW(runner.Run(), std::exception);
    ASSERT_TRUE(runner.Start([&] { return answer.get(); }));
    EXPECT_FALSE(runner.Start([] { return 2; }) || runner.Join(0));
    EXPECT_EQ(WAIT_TIMEOUT, ::WaitForSingleObject(runner.GetHandle(), 0));
    result.set_value(-5);
    ASSERT_TRUE(runner.Join(10'000));
    DWORD exitCode = 99;
    EXPECT_TRUE(runner.GetExitCode(&exitCode));
    EXPECT_EQ(-5, static_cast<int>(exitCode));
    EXPECT_EQ(-5, runner.Run()) << "the refused callable has not come in its place";
}

// The kind of apartment that the calling thread is in; APTTYPE_CURRENT: in none. All single-threaded ones are alike.
APTTYPE Apartment() {
    APTTYPE type{};
    APTTYPEQUALIFIER qualifier{};
    if (FAILED(::CoGetApartmentType(&type, &qualifier)) || qualifier == APTTYPEQUALIFIER_IMPLICIT_MTA)
        return APTTYPE_CURRENT;
    return type == APTTYPE_MAINSTA ? APTTYPE_STA : type;
}

struct CBody {
    HRESULT Work() { return apartment = Apartment(), S_FALSE; }
    HRESULT Throw() { throw std::runtime_error("body"); }

    APTTYPE apartment = APTTYPE_NA;
};
using Adapter = CComThreadRunnableAdapter<CBody>;

TEST(CComThreadRunnableAdapterTest, OnlyTheBodyRunsInTheRequestedApartment) {
    for (const auto& [flags, kind] :
         {std::pair{COINIT_MULTITHREADED, APTTYPE_MTA}, {COINIT_APARTMENTTHREADED, APTTYPE_STA}}) {
        CBody body;
        EXPECT_EQ(S_FALSE, Adapter(&body, &CBody::Work, flags).Run());
        EXPECT_EQ(kind, body.apartment);
        EXPECT_THROW(Adapter(&body, &CBody::Throw, flags).Run(), std::runtime_error);
        EXPECT_EQ(APTTYPE_CURRENT, Apartment());
    }
    const CTestApartment other(COINIT_APARTMENTTHREADED);
    CBody body;
    EXPECT_EQ(RPC_E_CHANGED_MODE, Adapter(&body, &CBody::Work, COINIT_MULTITHREADED).Run());
    EXPECT_EQ(APTTYPE_NA, body.apartment) << "ran in another kind of apartment";
}

TEST(CWorkerThreadTest, CallsAndTasksRunInTheirApartment) {
    for (const auto& [flags, kind] :
         {std::pair{COINIT_MULTITHREADED, APTTYPE_MTA}, {COINIT_APARTMENTTHREADED, APTTYPE_STA}})
        EXPECT_EQ(kind, threading::CCallQueue("Apartment", flags).Call(&Apartment, kLongMs));
    threading::CParallelManager manager("Apartment", 1);
    APTTYPE kind = APTTYPE_NA;
    EXPECT_EQ(threading::CParallelManager::Posted::Taken, manager.Post([&] { kind = Apartment(); }, kLongMs));
    EXPECT_TRUE(manager.Stop(threading::Rest::Drain, kLongMs));
    EXPECT_EQ(APTTYPE_MTA, kind);
}

std::atomic<bool> g_isDispatched;

LRESULT CALLBACK NoteMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    g_isDispatched = g_isDispatched || message == WM_APP;
    return ::DefWindowProcW(window, message, wParam, lParam);
}

TEST(CWorkerThreadTest, AQueueInASingleThreadedApartmentDispatchesMessages) {
    threading::CCallQueue queue("Window", COINIT_APARTMENTTHREADED);
    const auto window = queue.Call(
        [] {
            const HWND made =
                ::CreateWindowExW(0, L"STATIC", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
            ::SetWindowLongPtrW(made, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(NoteMessage));
            return made;
        },
        kLongMs);
    g_isDispatched = false;
    EXPECT_TRUE(::PostMessageW(window.value(), WM_APP, 0, 0));
    Await([] { return g_isDispatched.load(); });
    // Also where one call follows the other, and none is waited for.
    g_isDispatched = false;
    const std::function<void()> again = [&] {
        if (!g_isDispatched)
            queue.Post(again);
    };
    queue.Post(again);
    EXPECT_TRUE(::PostMessageW(*window, WM_APP, 0, 0));
    Await([] { return g_isDispatched.load(); });
    EXPECT_EQ(TRUE, queue.Call([&] { return ::DestroyWindow(*window); }, kLongMs));
}

HRESULT WINAPI NoApartment(void*, DWORD) {
    return E_OUTOFMEMORY;
}

TEST(CWorkerThreadTest, WithoutAThreadOrItsApartmentNothingIsTakenOrLost) {
    using Posted = threading::CParallelManager::Posted;
    const auto failing = [] { ADD_FAILURE() << "ran"; };
    {
        const CImportHook hook("_beginthreadex", &NoThread);
        threading::CCallQueue queue("None", COINIT_MULTITHREADED);
        EXPECT_EQ(0u, queue.Post(failing));
        EXPECT_FALSE(queue.Call(failing, kLongMs));
        EXPECT_TRUE(queue.Stop(threading::Rest::Drain, kLongMs));
        threading::CParallelManager manager("None", 2);
        EXPECT_EQ(Posted::Refused, manager.Post(failing, 0));
        threading::CTaskGroup group(manager);
        group.Run([&](const threading::CCancelToken&) { failing(); });
        EXPECT_FALSE(group.Wait(0)) << "a thread may come";
        group.Cancel();
        EXPECT_TRUE(group.Wait(0) && manager.Stop(threading::Rest::Drain, kLongMs));
    }
    const CImportHook hook("CoInitializeEx", &NoApartment);
    threading::CCallQueue queue("None", COINIT_MULTITHREADED);
    EXPECT_FALSE(queue.Call(failing, kLongMs));
    threading::CParallelManager manager("None", 2);
    threading::CTaskGroup group(manager);
    group.Run([&](const threading::CCancelToken&) { failing(); });
    EXPECT_TRUE(group.Wait(kLongMs)) << "it is cancelled";
    EXPECT_EQ(1u, group.Count().cancelled);
    EXPECT_TRUE(manager.Stop(threading::Rest::Drain, kLongMs));
}

TEST(CWorkerThreadTest, WhatNobodyHearsIsLogged) {
    CPublishedLogger logger;
    const auto fail = [](auto&&...) { throw std::runtime_error("\xC3\xA4"); };
    {
        threading::CCallQueue queue("Queue", COINIT_MULTITHREADED);
        EXPECT_NE(0u, queue.Post(fail));
        EXPECT_THROW(static_cast<void>(queue.Call(fail, kLongMs)), std::runtime_error);
        // The waiter has gone, though the call had begun.
        CGate gate;
        std::atomic<bool> hasBegun = false;
        const auto failLate = [&] {
            hasBegun = true;
            gate.Pass();
            fail();
        };
        Await([&] { return !queue.Call(failLate, 1) && hasBegun; });
        gate.Open();
        EXPECT_TRUE(queue.Stop(threading::Rest::Drain, kLongMs));
        threading::CParallelManager manager("Tasks", 1);
        EXPECT_EQ(threading::CParallelManager::Posted::Taken, manager.Post(fail, 0));
        threading::CTaskGroup group(manager);
        for (int i = 0; i < 2; ++i)
            group.Run(fail);
        EXPECT_THROW(static_cast<void>(group.Wait(kLongMs)), std::runtime_error);
        EXPECT_TRUE(manager.Stop(threading::Rest::Drain, kLongMs));
    }
    const auto line = [](const wchar_t* name) {
        return L"Nobody hears what was thrown in \"" + std::wstring(name) + L"\": hr=0x8000FFFF (\"\u00E4\")";
    };
    EXPECT_EQ((std::vector{line(L"Queue"), line(L"Queue"), line(L"Tasks"), line(L"Tasks")}), logger->Messages());
}

TEST(CWorkerThreadTest, LeavesNothingBehindInAThousandRounds) {
    const auto round = [] {
        threading::CCallQueue queue("Round", COINIT_MULTITHREADED);
        queue.Post([] {});
        EXPECT_EQ(1, queue.Call([] { return 1; }, kLongMs));
        EXPECT_TRUE(queue.Stop(threading::Rest::Discard, kLongMs));
        threading::CParallelManager manager("Round", 2);
        threading::CTaskGroup group(manager);
        for (int i = 0; i < 4; ++i)
            group.Run([](const threading::CCancelToken&) {});
        EXPECT_TRUE(group.Wait(kLongMs));
        EXPECT_TRUE(manager.Stop(threading::Rest::Discard, kLongMs));
    };
    for (int i = 0; i < 50; ++i)
        round();
    const int handles = Handles();
    const int blocks = HeapBlocks();
    const LONGLONG bytes = PrivateBytes();
    for (int i = 0; i < 1000; ++i)
        round();
    EXPECT_GE(handles + 2, Handles());
    EXPECT_GE(blocks + 100, HeapBlocks());
    EXPECT_GE(bytes + 1'000'000, PrivateBytes()) << "stacks of threads";
}

}  // namespace
