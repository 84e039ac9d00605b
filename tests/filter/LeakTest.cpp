// The filter gives back what it takes.
#include "tests/filter/FilterTest.h"

namespace {

// Private memory that is committed in this process, in bytes. Counted by hand: not every platform reports it.
LONGLONG PrivateBytes() {
    LONGLONG total = 0;
    MEMORY_BASIC_INFORMATION region{};
    for (const BYTE* at = nullptr; ::VirtualQuery(at, &region, sizeof(region)) != 0;) {
        if (region.State == MEM_COMMIT && region.Type == MEM_PRIVATE)
            total += static_cast<LONGLONG>(region.RegionSize);
        at = static_cast<const BYTE*>(region.BaseAddress) + region.RegionSize;
        if (at <= static_cast<const BYTE*>(region.BaseAddress))
            break;  // the end of the address space
    }
    return total;
}

// The handles of this process, likewise.
int Handles() {
    int count = 0;
    DWORD flags = 0;
    for (ULONG_PTR value = 4; value < 0x8000; value += 4)
        count += ::GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags) != 0;
    return count;
}

TEST(LeakTest, HundredsOfFiltersAndReadsLeaveNothingBehind) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    const CTempFile file(std::string(5'000, 'x'));
    Stream source("xxxxxxxxxx");
    CTestSample sample(4);
    sample.SetRange(2, 6);
    CFilterHost host;
    const auto useFilters = [&](int count) {
        for (int i = 0; i < count; ++i) {
            host.Create();
            EXPECT_EQ(S_OK, i % 4 == 0 ? host.Open(&source) : host.Load(file.Path()));
            const auto reader = host.Reader();
            for (int n = 0; n < 200; ++n)
                EXPECT_EQ("xxxx", SyncRead(*reader.Get(), n % 6, 4).second);
            EXPECT_EQ(S_OK, reader->Request(&sample, 0));  // nobody fetches it
        }
        EXPECT_EQ(0u, host.Release());
        EXPECT_EQ(0u, source.References() + sample.References());
    };
    useFilters(50);
    const int handles = Handles();
    const LONGLONG bytes = PrivateBytes();
    useFilters(1000);
    // The platform may keep a handle or a page of its own; a leak shows hundreds of times.
    EXPECT_GE(handles + 10, Handles());
    EXPECT_GE(bytes + 0x20000, PrivateBytes());
}

}  // namespace
