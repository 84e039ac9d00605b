#include "diagnostics/CAutoDestructor.h"
#include "diagnostics/CDiagnosticRegistration.h"
#include "diagnostics/ComBoundary.h"
#include "tests/support/CSecondCall.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <vector>

using TKRuntimeLogger::CDiagnosticRegistration;

namespace {

std::vector<int> g_closed;

struct CNumberCloser {
    static int Invalid() noexcept { return 0; }
    static bool IsValid(int number) noexcept { return number != 0; }
    static void Close(int number) noexcept { g_closed.push_back(number), ::SetLastError(ERROR_GEN_FAILURE); }
};
using CAutoNumber = CAutoDestructor<int, CNumberCloser>;

TEST(AutoDestructorTest, ClosesWhatItOwnsExactlyOnceAndKeepsTheLastError) {
    g_closed.clear();
    ::SetLastError(ERROR_DISK_FULL);
    {
        CAutoNumber first(1), second(std::move(first)), given(5);
        second.Reset(2);
        second = CAutoNumber(3);
        *second.Put() = 4;
        EXPECT_EQ(5, given.Detach());
    }
    EXPECT_EQ((std::vector{1, 2, 3, 4}), g_closed);
    EXPECT_EQ(DWORD{ERROR_DISK_FULL}, ::GetLastError());
    EXPECT_FALSE(CAutoHandle(nullptr) || CAutoHandle(INVALID_HANDLE_VALUE));
}

TEST(ComBoundaryTest, ExceptionsBecomeResultCodes) {
    EXPECT_EQ(S_FALSE, ComBoundary([] { return S_FALSE; }));
    EXPECT_EQ(E_ABORT, ComBoundary([]() -> HRESULT { throw CAtlException(E_ABORT); }));
    EXPECT_EQ(E_OUTOFMEMORY, ComBoundary([]() -> HRESULT { throw std::bad_alloc(); }));
    EXPECT_EQ(E_OUTOFMEMORY, ComBoundary([]() -> HRESULT { throw std::length_error("too long"); }));
    EXPECT_EQ(E_UNEXPECTED, ComBoundary([]() -> HRESULT { throw 42; }));
}

TEST(DiagnosticRegistrationTest, ListsExactlyTheLiveObjectsTheNewestFirst) {
    int objects[3];
    std::optional<CDiagnosticRegistration> entries[3];
    for (std::size_t i = 0; i < 3; ++i)
        entries[i].emplace(L"TestModule", &objects[i], L"a filter");
    std::vector<const void*> expected{&objects[2], &objects[1], &objects[0]};
    const auto look = [&] {
        EXPECT_EQ(expected.size(), CDiagnosticRegistration::LiveCount());
        EXPECT_TRUE(std::ranges::equal(expected, CDiagnosticRegistration::Snapshot(), {}, {},
                                       &CDiagnosticRegistration::Entry::address));
    };
    look();
    EXPECT_FALSE(EndsBeside([] { (void)CDiagnosticRegistration::Snapshot(); },
                            [] { const CDiagnosticRegistration another(nullptr, nullptr, nullptr); }));
    for (const std::size_t gone : {1u, 2u, 0u}) {  // from the middle, from the front, and the last
        entries[gone].reset();
        std::erase(expected, &objects[gone]);
        look();
    }
}

}  // namespace
