// A module stays loaded while work of its own is under way, and goes when that has ended.
#include "base/CAutoDestructor.h"
#include "base/LateLoad.h"
#include "tests/support/Await.h"
#include "tests/support/ProcessUse.h"

#include <gtest/gtest.h>

namespace {

constexpr wchar_t kModule[] = L"threading_module.dll";

bool IsLoaded() {
    return ::GetModuleHandleW(kModule) != nullptr;
}

TEST(ModuleTest, StaysLoadedWhileItsThreadsThatWereLeftBehindRun) {
    const base::CAutoHandle begun(::CreateSemaphoreW(nullptr, 0, 3, nullptr)),
        end(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    int handles = 0;
    for (int round = 0; round < 6; ++round) {
        ::ResetEvent(end.Get());
        {
            base::CAutoLibrary library{::LoadLibraryW(kModule)};
            base::ExportOf<void (*)(HANDLE, HANDLE)>(library, "WorkOn")(begun.Get(), end.Get());
        }
        EXPECT_TRUE(IsLoaded());
        ::SetEvent(end.Get());
        Await([] { return !IsLoaded(); });
        if (round == 0)
            handles = Handles();
    }
    EXPECT_GE(handles + 2, Handles());
}

TEST(ModuleTest, StaysLoadedWhileItsWatcherRunsIfThereIsOne) {
    for (const bool isHeard : {true, false}) {
        {
            base::CAutoLibrary library{::LoadLibraryW(kModule)};
            base::ExportOf<void (*)(bool)>(library, "BeWatched")(isHeard);
        }
        EXPECT_EQ(isHeard, IsLoaded());
        Await([] { return !IsLoaded(); });
    }
}

}  // namespace
