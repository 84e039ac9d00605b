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

// How many handles are left behind by some rounds of loading, using and unloading the module.
template <class UseModule>
int HandlesLeftBy(UseModule&& use) {
    const int before = Handles();
    for (int round = 0; round < 5; ++round) {
        {
            base::CAutoLibrary library{::LoadLibraryW(kModule)};
            use(library);
        }
        Await([] { return !IsLoaded(); });
    }
    return Handles() - before;
}

TEST(ModuleTest, StaysLoadedWhileItsThreadsThatWereLeftBehindRun) {
    const base::CAutoHandle begun(::CreateSemaphoreW(nullptr, 0, 3, nullptr)),
        end(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const auto work = [&](const base::CAutoLibrary& library) {
        base::ExportOf<void (*)(HANDLE, HANDLE)>(library, "WorkOn")(begun.Get(), end.Get());
    };
    {
        base::CAutoLibrary library{::LoadLibraryW(kModule)};
        work(library);
    }
    EXPECT_TRUE(IsLoaded());
    ::SetEvent(end.Get());
    Await([] { return !IsLoaded(); });
    // On some bitnesses the compiler's library leaves some behind in each load.
    EXPECT_GE(HandlesLeftBy([](auto&) {}) + 2, HandlesLeftBy(work));
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
