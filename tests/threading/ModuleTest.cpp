// A module stays loaded while work of its own is under way, and goes when that has ended.
#include "base/CAutoDestructor.h"
#include "base/CDeadline.h"
#include "base/LateLoad.h"
#include "tests/support/ProcessUse.h"

#include <gtest/gtest.h>

namespace {

constexpr wchar_t kModule[] = L"threading_module.dll";

bool IsLoaded() {
    return ::GetModuleHandleW(kModule) != nullptr;
}

void AwaitUnload() {
    const base::CDeadline deadline(60'000);
    while (IsLoaded() && !deadline.IsOver())
        ::SwitchToThread();
    EXPECT_FALSE(IsLoaded());
}

TEST(ModuleTest, StaysLoadedWhileItsThreadsThatWereLeftBehindRun) {
    const base::CAutoHandle begun(::CreateSemaphoreW(nullptr, 0, 3, nullptr)),
        end(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    int handles = 0;
    for (int round = 0; round < 3; ++round) {
        ::ResetEvent(end.Get());
        {
            base::CAutoLibrary library{::LoadLibraryW(kModule)};
            base::ExportOf<void (*)(HANDLE, HANDLE)>(library, "WorkOn")(begun.Get(), end.Get());
        }
        EXPECT_TRUE(IsLoaded());
        ::SetEvent(end.Get());
        AwaitUnload();
        if (round == 0)
            handles = Handles();
    }
    EXPECT_GE(handles + 2, Handles());
}

TEST(ModuleTest, StaysLoadedWhileItsWatcherRuns) {
    {
        base::CAutoLibrary library{::LoadLibraryW(kModule)};
        base::ExportOf<void (*)()>(library, "BeWatched")();
    }
    EXPECT_TRUE(IsLoaded());
    AwaitUnload();
}

}  // namespace
