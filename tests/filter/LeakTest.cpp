// The filter gives back what it takes.
#include "tests/support/FilterTest.h"
#include "tests/support/ProcessUse.h"

namespace {

TEST(LeakTest, HundredsOfFiltersAndReadsLeaveNothingBehind) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    const CTempFile file(std::string(5'000, 'x'));
    Stream source("xxxxxxxxxx");
    source.SetName(std::wstring(2'000, L'n'));
    source.TellNameAlways();
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
            EXPECT_EQ(S_OK, reader->Request(&sample, 0));  // nobody fetches this sample
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
