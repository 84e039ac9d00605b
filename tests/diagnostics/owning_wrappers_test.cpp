#include "diagnostics/CAutoDestructor.h"
#include "diagnostics/CBstr.h"
#include "diagnostics/ComBoundary.h"

#include <gtest/gtest.h>

#include <vector>

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
        CAutoNumber first(1);
        CAutoNumber second(std::move(first));
        second.Reset(2);
        second.Reset(2);
        EXPECT_EQ(std::vector{1}, g_closed);
        second = CAutoNumber(3);
        *second.Put() = 4;
        CAutoNumber given(5);
        EXPECT_EQ(5, given.Detach());
        const CAutoNumber nothing;
    }
    EXPECT_EQ((std::vector{1, 2, 3, 4}), g_closed);
    EXPECT_EQ(DWORD{ERROR_DISK_FULL}, ::GetLastError());
    EXPECT_FALSE(CAutoHandle(nullptr));
    EXPECT_FALSE(CAutoHandle(INVALID_HANDLE_VALUE));
}

TEST(BstrTest, NullEmptyAndEmbeddedZerosAreKeptApartAndOwnershipMoves) {
    EXPECT_FALSE(CBstr(static_cast<const wchar_t*>(nullptr)));
    EXPECT_TRUE(CBstr(L""));
    const std::wstring_view text(L"a\0b", 3);
    CBstr first(text), second(std::move(first));
    EXPECT_EQ(text, second.View());
    ::SysFreeString(second.Detach());
    *first.Put() = ::SysAllocString(L"put");
    EXPECT_EQ(L"put", first.View());
}

TEST(ComBoundaryTest, ExceptionsBecomeResultCodes) {
    EXPECT_EQ(S_FALSE, ComBoundary([] { return S_FALSE; }));
    EXPECT_EQ(E_ABORT, ComBoundary([]() -> HRESULT { throw CAtlException(E_ABORT); }));
    EXPECT_EQ(E_OUTOFMEMORY, ComBoundary([]() -> HRESULT { throw std::bad_alloc(); }));
    EXPECT_EQ(E_OUTOFMEMORY, ComBoundary([]() -> HRESULT { throw std::length_error("too long"); }));
    EXPECT_EQ(E_UNEXPECTED, ComBoundary([]() -> HRESULT { throw 42; }));
}

}  // namespace
