// After each test of this program all heaps are looked at for what was written outside of their blocks. How much that
// shows is up to the platform: CTest switches on the marks at the ends of the blocks.
#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>

namespace {

[[nodiscard]] bool HeapsAreIntact() {
    HANDLE heaps[64];
    const DWORD count = std::min<DWORD>(::GetProcessHeaps(ARRAYSIZE(heaps), heaps), ARRAYSIZE(heaps));
    return std::all_of(heaps, heaps + count, [](HANDLE heap) { return ::HeapValidate(heap, 0, nullptr); });
}

class CHeapCheck final : public ::testing::EmptyTestEventListener {
    void OnTestEnd(const ::testing::TestInfo&) override { EXPECT_TRUE(HeapsAreIntact()); }
};

[[maybe_unused]] const bool g_registered = [] {
    ::testing::UnitTest::GetInstance()->listeners().Append(new CHeapCheck);
    return true;
}();

TEST(HeapCheckTest, AByteBehindABlockIsNoticed) {
    volatile BYTE* const block = new BYTE[13];
    const BYTE mark = block[13];
    block[13] = static_cast<BYTE>(~mark);
    const bool noticed = !HeapsAreIntact();
    block[13] = mark;
    delete[] block;
    if (!noticed)
        GTEST_SKIP() << "the blocks of this process have no marks: run the tests by CTest";
}

}  // namespace
